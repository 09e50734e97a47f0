// What a line of the mail log means: which login, connection or end it reports, if any.
//
// A line reads "Mon DD HH:MM:SS host program[pid]: message". Programs whose names begin with
// vm-pop3d or imapd ("classic" servers) announce the client's address when a process connects and
// the login later; Dovecot reports both in one line. Whatever is not recognised is passed over.
#pragma once

// Recognises one line, without its line end, and acts on it.
void parseLine(const char* line);

// Keeps the client address of a process from its connect line. `at` is the blank that ends the
// program field. For "Connect from ADDRESS" and "imap service init from ADDRESS".
void getConnectData(int pid, const char* at);
void getImapConnectData(int pid, const char* at);

// Forgets the address of a process that has ended.
void removePid(int pid);
