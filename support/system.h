// Files, accounts and the effective identity.
//
// Results are 1 or true for success and 0 or false for failure unless a function says otherwise.
// Reasons are reported through the Logging object, where null counts as a default-constructed one,
// or left in system_res.
#pragma once

#include <sys/stat.h>

#include <cstdio>

#include "support/config.h"
#include "support/configfile.h"

// Readable reasons of the latest failures, each ended by "<br>\n"; owned here. Null until a
// function below has set or emptied it.
extern char* system_res;

// Whether the process runs in a changed root; has_chrooted() tells. The daemon never sets it.
extern bool is_in_chroot;
bool has_chrooted();

// --- Reading ---

// What pathExists() has found with use_cache: path -> "1" or "0".
extern ConfigFile sys_path_exists_cache;

// Whether `path` exists, links followed. With use_cache an earlier answer is given again, also
// after the file has come or gone. With clear_result system_res is emptied first; with explain
// it then says why the path cannot be reached.
int pathExists(const char* path, int use_cache, bool clear_result, bool explain);

// The contents of a file as a new text. Null if it cannot be read or, with `limits`, is larger than
// these allow. save_in_cache 1 keeps a copy and answers from it the next time. 2 does so too, but
// an answer from the cache is then the kept text itself, which the cache owns. proc_style reads up
// to 32760 bytes of files that report size 0, and turns NUL bytes into newlines.
char* getDataFromFile(Logging* log, Config* limits, const char* path, int save_in_cache,
                      bool proc_style);

// The size of an open file in bytes, 0 on failure.
long long fileSize(Logging* log, FILE* file);

// --- Accounts and the effective identity ---

// The id, or 9999 for an unknown or null name. "root" is 0 without a lookup. getGID: the group of
// that name, or, unless is_group, the primary group of the user of that name.
int getUID(const char* user);
int getGID(const char* name, int is_group);

// Makes `user` and its primary group the effective identity. It first takes the identity of root.
// If that fails, nothing changes. If the user is unknown, the process stays root, and with `report`
// an error message says so. Returns 1 if the user was taken, whatever became of the group.
int setUserPriv(Logging* log, const char* user, int report);

// Makes root the effective user and group. Returns 1 if the user was taken.
int setRootPriv();

// --- Folders and owners ---

// Makes a folder with just this mode, whatever the umask. Returns 1 if it was made, 2 if something
// was there before (system_res then says so), and 0 if it failed. The reason is then in errno and
// system_res; for a null or empty path only in system_res. With `owner` the folder then gets this
// owner, even if it was there before. With clear_result system_res is emptied first.
int createDir(Logging* log, const char* path, const char* owner, unsigned int mode,
              bool clear_result);

// Gives a file or folder another owner and group; -1 leaves the one it has. Of a link it changes
// the owner of the link itself. Returns 1 if the owner is then as asked, and 0 if it was refused or
// failed, also for a null path. refuse_hard_links: a file of several links is refused. required_uid
// and required_gid: the owner and group it must have before, -1 for any. secure: it is renamed for
// the moment of the change, so that nobody can exchange it between the check and the change.
int setOwner(Logging* log, const char* path, int uid, int gid, int refuse_hard_links, bool secure,
             int required_uid, int required_gid);

// The same by names: the user's own id and primary group (an unknown user is refused), or a user
// and a group, where an unknown or null name counts as 9999; null required names are any.
int setOwner(Logging* log, const char* path, const char* user, int refuse_hard_links, bool secure);
int setOwner(Logging* log, const char* path, const char* user, const char* group,
             int refuse_hard_links, bool secure, const char* required_user,
             const char* required_group);

// Whether owner and group match; -1 is any. By path, links followed, at least one must be asked
// for.
int isOwner(struct stat& status, unsigned int uid, unsigned int gid);
int isOwner(Logging* log, const char* path, unsigned int uid, unsigned int gid);

// How many links a file has if it has several, else 0; of a folder 0.
int isHardLink(struct stat& status);

// --- Random names ---
//
// All come from rand() and are not secret: whoever knows the time of a call can guess them.

// Seeds rand() from the time of day.
void randseed();

// A letter or digit; with `special` any printable ASCII but blank, '/' and '\'.
char getRandChar(bool special);

// Calls randseed(). Returns `length` such characters as a new text.
char* getRandString(int length, bool special);

// `path`, a dot and eight letters or digits, as a new text that names no file yet. If nineteen
// tries find none, null, with an error message.
char* get_random_temp_file(Logging* log, const char* path);
