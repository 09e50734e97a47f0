#include "why/kinds.h"

#include <arpa/inet.h>

#include <cstring>
#include <string_view>

#include "daemon/line_date.h"
#include "support/cv_string.h"
#include "support/text_helpers.h"
#include "why/judgement.h"

namespace {

using std::string;
using std::string_view;

constexpr KindText kTexts[kKinds] = {
    {"line of another program", "", false},
    {"line of the servers", "", false},
    {"login", "it counts", false},
    {"login without a password (ANONYMOUS)",
     "it counts, so that everybody may relay: take ANONYMOUS out of Dovecot's auth_mechanisms",
     true},
    {"login from the server itself", "loopback is never listed: allow 127.0.0.1 in the mail server",
     false},
    {"login over IPv6",
     "IPv6 is never admitted: give the name of the IMAP and POP3 server no AAAA record, or have "
     "these clients authenticate when they send",
     false},
    {"login of another program",
     "it does not count: only those of imap-login, pop3-login, imapd and vm-pop3d do", false},
    {"refused login", "it does not count: wrong password, or see the reason in the line", false},
    {"nearly a login",
     "\"Logged in:\" are Dovecot 2.4's words: the rsyslog snippet is not active (restart rsyslog, "
     "follow /var/log/mail-logins.log), or set login_log_format",
     true},
    {"nearly a login",
     "\"Info:\" or no program stands before the login words: Dovecot logs to a file of its own; "
     "set log_path = syslog",
     true},
    {"nearly a login",
     "the message does not begin with \"Login:\": leave Dovecot's login_log_format alone", true},
    {"nearly a login",
     "its fifth word, the program, is not dovecot, imapd or vm-pop3d: leave Dovecot's "
     "instance_name alone",
     true},
    {"nearly a login",
     "the user does not stand between '<' and '>': leave Dovecot's login_log_format_elements alone "
     "(user=<%u> first)",
     true},
    {"nearly a login",
     "no \"rip=ADDRESS,\" stands behind the user: leave Dovecot's login_log_format_elements alone "
     "(rip=%r behind user=<%u>, and not last)",
     true},
    {"nearly a login",
     "the address of the client, or the end of the user, is missing: the process's connect line "
     "has priority debug, so have syslog write mail.debug too",
     true},
    {"nearly a login",
     "imapd writes \"Authenticated\" where a client uses AUTHENTICATE, and \"Login\" only for "
     "LOGIN: set the client to a plain password",
     true},
    {"nearly a login",
     "its date is none that is read (Mon DD HH:MM:SS): follow /var/log/mail-logins.log, which the "
     "rsyslog snippet writes",
     true},
};

struct Message {
  string_view program;    // without its colon, with its process id
  const char* text = "";  // behind it
};

// The program is the first word that ends with a colon, whatever date comes before it.
Message messageOf(const char* line) {
  const char* end = strstr(line, ": ");
  if (!end) return {};
  const char* start = end;
  while (start > line && start[-1] != ' ') --start;
  return {{start, end}, end + 1 + strspn(end + 1, " ")};
}

bool isOfServer(string_view program) {
  return program.starts_with("dovecot") || program.starts_with("imapd") ||
         program.starts_with("vm-pop3d");
}

bool has(string_view text, string_view part) {
  return text.find(part) != text.npos;
}

bool saysNo(string_view words) {
  static constexpr string_view kNoes[] = {"fail",      "bort",     "Disconnected", "isallow",
                                          "Maximum",   "proxy(",   "no auth",      "Too many",
                                          "nactivity", "rejected", "denied",       "refused",
                                          "disabled",  "BREAK-IN", "Error: ",      "Warning: "};
  // Strangers choose names: only the words before the name are looked at.
  if (const size_t user = words.find("user="); user != words.npos && user > 0)
    words = words.substr(0, user);
  for (const string_view no : kNoes)
    if (has(words, no)) return true;
  return false;
}

bool isIPv6(const string& address) {
  in6_addr bytes;
  return inet_pton(AF_INET6, address.substr(0, address.find('%')).c_str(), &bytes) == 1;
}

// What is missing in the words of a login behind "imap-login:". The daemon takes an address of at
// most 20 characters, so that it never sees most IPv6 addresses.
Kind lackOf(const Message& message, const char* words, Line& found) {
  constexpr size_t kLongestName = 256;
  constexpr size_t kLongestAddress = 20;
  if (startsWith(words, "Logged in:")) return Kind::kLoggedIn;
  if (!startsWith(words, "Login:")) return Kind::kWords;
  if (!message.program.starts_with("dovecot")) return Kind::kProgram;
  const string_view text = words;
  const size_t open = text.find('<');
  const size_t close = text.find('>', open);
  if (close == text.npos || close - open > kLongestName + 1) return Kind::kUser;
  const size_t field = text.find("user=");
  if (field != text.npos && field + strlen("user=") != open) return Kind::kUser;
  const size_t address = text.find("rip=", close);
  const size_t comma = text.find(',', address);
  if (comma == text.npos) return Kind::kAddress;
  const size_t start = address + strlen("rip=");
  const string client(text.substr(start, comma - start));
  if (isIPv6(client)) {
    found.user = text.substr(open + 1, close - open - 1);
    found.address = client;
    return Kind::kIPv6;
  }
  if (client.size() > kLongestAddress) return Kind::kAddress;
  return found.when == 0 ? Kind::kDate : Kind::kProgram;
}

Kind kindOfLoginProcess(const Message& message, string_view process, const char* text,
                        Line& found) {
  if (saysNo(text)) return Kind::kRefused;
  const bool has_level = startsWith(text, "Info: ");
  const char* words = has_level ? text + strlen("Info: ") : text;
  // Other formats may order the words in any way, but only logins name the process of the mailbox.
  const bool names_login = has(words, "ogin") || has(words, "ogged in") || has(words, "mpid=");
  const bool is_login = startsWith(words, "Login:") || startsWith(words, "Logged in:") ||
                        (names_login && has(words, "user=") && has(words, "rip="));
  if (!is_login) return isOfServer(message.program) ? Kind::kServerLine : Kind::kOther;
  if (process != "imap-login" && process != "pop3-login") return Kind::kOtherService;
  if (has_level || message.program == process) return Kind::kLevel;
  return lackOf(message, words, found);
}

Kind kindOfClassic(const Message& message, bool is_dated) {
  const bool known = isOfServer(message.program) && !message.program.starts_with("dovecot");
  if (startsWith(message.text, "LOGIN, user=")) return Kind::kOtherService;  // Courier's
  const bool is_login = startsWith(message.text, "Login ") || startsWith(message.text, "User ");
  if (known && is_login && saysNo(message.text)) return Kind::kRefused;
  if (known && startsWith(message.text, "Authenticated user=")) return Kind::kAuthenticated;
  if (known && is_login) return is_dated ? Kind::kConnect : Kind::kDate;
  if (startsWith(message.text, "Login user=")) return Kind::kOtherService;
  return isOfServer(message.program) ? Kind::kServerLine : Kind::kOther;
}

Kind kindOfPassedOver(const char* line, Line& found) {
  const Message message = messageOf(line);
  if (message.program.ends_with("-login"))
    return kindOfLoginProcess(message, message.program, message.text, found);
  const char* end = findChar(message.text, ':');
  const string_view first(message.text, end);
  if (!first.ends_with("-login") || has(first, " ")) return kindOfClassic(message, found.when != 0);
  return kindOfLoginProcess(message, first, end + strspn(end, ": "), found);
}

Kind kindOfNoAddress(const char* line, const string& address) {
  if (address == "::1") return Kind::kLoopback;
  if (isIPv6(address) || has(line, "[NON-IPv4]")) return Kind::kIPv6;
  return messageOf(line).program.starts_with("dovecot") ? Kind::kAddress : Kind::kConnect;
}

}  // namespace

const KindText& textOf(Kind kind) {
  return kTexts[static_cast<int>(kind)];
}

const Line& kindOf(const char* line) {
  static Line found;
  const Judgement& judgement = judge(line);
  found.kind = Kind::kServerLine;
  found.when = getTimeFromString(line);
  found.user = judgement.user;
  found.address = judgement.address;
  switch (judgement.made) {
    case Made::kNothing:
      found.kind = kindOfPassedOver(line, found);
      break;
    case Made::kConnection:
      break;
    case Made::kAdmission:
      found.kind = has(line, ">, method=ANONYMOUS,") ? Kind::kAnonymous : Kind::kCounts;
      break;
    case Made::kLoopback:
      found.kind = Kind::kLoopback;
      break;
    case Made::kNoAddress:
      found.kind = kindOfNoAddress(line, found.address);
      break;
    case Made::kNoDate:
      found.kind = Kind::kDate;
      break;
  }
  return found;
}
