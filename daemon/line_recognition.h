// What a line of the mail log means: which login, connection or end it reports, if any.
//
// A line reads "Mon DD HH:MM:SS host program[pid]: message". Programs whose names begin with
// vm-pop3d or imapd ("classic" servers) report the client's address when a process connects, and
// the login later. Dovecot reports both in one line. A line that is not recognised is ignored.
#pragma once

// Recognises one line, without its line end, and acts on it.
void parseLine(const char* line);

// Keep the client address of a process from its connect line, "Connect from ADDRESS" or "imap
// service init from ADDRESS". `at` is the blank that ends the program field. A line that is too
// short keeps nothing.
void getConnectData(int pid, const char* at);
void getImapConnectData(int pid, const char* at);

// Forgets the address of a process that has ended.
void removePid(int pid);
