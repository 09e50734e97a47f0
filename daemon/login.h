// Logins: who logged in from where and when, and whether that admits the address.
//
// A login admits its IPv4 address, except the loopback address, unless it is more than `minutes`
// minutes old. A line that does not fit admits nobody; nothing here reports failure to its caller.
#pragma once

// 1 if `text` is an IPv4 address: digits and dots only, four numbers up to 255, the first of them
// at least 1. What follows the fourth number is not looked at. Else 0, also for null.
int isIP(const char* text);

// A login line of a classic server process: "User 'name' of 'domain' ..." (isImap 0) or
// "Login user=name ..." (isImap 1). The address is the one the process connected from, or else
// the one on the line, which is then kept for the process. If no address could be cut out, an empty
// one is kept: the next logins of the process then admit nobody either, until it connects again.
void verifyPid(int pid, const char* line, int isImap);

// A login line of Dovecot: "...-login: Login: user=<name>, ..., rip=ADDRESS, ...".
void add_dovecot(const char* line);
