// Files, accounts and the effective identity.
//
// Results are 1 or true for success and 0 or false for failure unless a function says otherwise.
// Reasons are reported through the Logging object, or left in system_res.
#pragma once

#include <cstdio>

class Logging;
struct Config;

// Readable reasons of the latest failures, each ended by "<br>\n"; null until there was one.
extern char* system_res;

// Whether the process runs in a changed root; has_chrooted() tells. The daemon never sets it.
extern bool is_in_chroot;
bool has_chrooted();

// --- Reading ---

// Reads one line into `buffer`, an array of `size` bytes from newString() that is replaced by
// larger ones as the line requires: doubled whenever fewer than 32 bytes would stay free.
// Returns the number of bytes stored, or -1 when none are left to read. The text is terminated
// and every byte behind it zero. A carriage return before the newline is counted and then
// removed, the newline is neither stored nor counted, and a last line without one is delivered.
// With maxLength > 0 a line that has passed it when the buffer would have to grow is chopped: the
// rest is the next line. So is, at 1 GiB, what no buffer can hold.
int readLine(Logging* log, FILE* in, char*& buffer, int& size, int maxLength);

// The same for a caller that reads many lines into one buffer. `in_use` is how many bytes at its
// start may not be zero: `size` before the first call, then what the last call left.
int readLine(Logging* log, FILE* in, char*& buffer, int& size, int maxLength, int& in_use);

// Whether `path` exists, links followed. With use_cache an earlier answer is given again, also
// after the file has come or gone. With clear_result system_res is emptied first; with explain
// it then says why the path cannot be reached.
int pathExists(const char* path, int use_cache, bool clear_result, bool explain);

// The contents of a file as a new text, or null if it cannot be had or, with `limits`, is larger
// than these allow. save_in_cache 1 keeps a copy and answers from it the next time; 2 does so
// too, but then returns the kept text itself, which stays the cache's. proc_style reads up to
// 32760 bytes of files that report size 0, and turns NUL bytes into newlines.
char* getDataFromFile(Logging* log, Config* limits, const char* path, int save_in_cache,
                      bool proc_style);

// The size of an open file in bytes, 0 on failure.
long long fileSize(Logging* log, FILE* file);

// --- Accounts and the effective identity ---

// The id, or 9999 for an unknown or null name. "root" is 0 without a lookup. getGID: the group of
// that name, or, unless is_group, the primary group of the user of that name.
int getUID(const char* user);
int getGID(const char* name, int is_group);

// Makes `user` and its primary group the effective identity, or leaves the one it found. With
// report an unknown user is an error message.
int setUserPriv(Logging* log, const char* user, int report);

// Makes root the effective user and group.
int setRootPriv();
