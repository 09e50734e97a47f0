#include "why/set_up.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "daemon/paths.h"
#include "daemon/state.h"
#include "support/stream.h"
#include "support/text_helpers.h"

namespace {

using std::string;
using Words = std::vector<string>;

constexpr char kDefaults[] = "/etc/default/cv-popb4smtp";
constexpr char kProgram[] = "cv-popb4smtp";

string joined(const Words& words) {
  string text;
  for (const string& word : words) text += (text.empty() ? "" : " ") + word;
  return shown(text);
}

// --- The running daemon ---

string baseName(const string& path) {
  return path.substr(path.rfind('/') + 1);
}

// The words of a process's command line; none if we may not see it.
Words commandLine(int pid) {
  string content;
  readFile("/proc/" + std::to_string(pid) + "/cmdline", content);
  Words words;
  std::istringstream stream(content);
  for (string word; std::getline(stream, word, '\0');) words.push_back(word);
  return words;
}

string sinceWhen() {
  struct stat status = {};
  if (stat(kHostFile, &status) != 0) return "";
  return formatted("; %s has not changed since %s", kHostFile, clockTime(status.st_mtime).c_str());
}

// Finds out whether the daemon runs, and its arguments if we may see them.
bool findDaemon(Report& report, Words& arguments, bool& seen) {
  string content;
  const bool readable = readFile(kPidFile, content);
  if (!readable && errno == EACCES) {
    report.say(Found::kUnknown,
               "%s may not be read, so whether the daemon runs is not known: run this as root",
               kPidFile);
    return false;
  }
  const char* digits = content.c_str();
  int pid = 0;
  readInt(digits, pid);
  string reason = readable ? "the process of its pid file has gone" : "there is no pid file";
  if (pid > 0 && (kill(pid, 0) == 0 || errno == EPERM)) {
    const Words command = commandLine(pid);
    seen = !command.empty();
    if (!seen) {
      report.say(Found::kFine, "the daemon is running, process %d; its arguments may not be seen",
                 pid);
      return true;
    }
    if (baseName(command[0]) == kProgram) {
      arguments.assign(command.begin() + 1, command.end());
      report.say(Found::kFine, "the daemon is running, process %d: cv-popb4smtp %s", pid,
                 joined(arguments).c_str());
      return true;
    }
    reason = formatted("process %d of its pid file is %s", pid, shown(command[0]).c_str());
  }
  report.say(Found::kWrong, "the daemon is not running (%s): systemctl start cv-popb4smtp%s",
             reason.c_str(), sinceWhen().c_str());
  return false;
}

// --- Its arguments ---

// The words of OPTIONS in /etc/default/cv-popb4smtp, split as systemd does.
bool readDefaults(Report& report, Words& words) {
  string content;
  if (!readFile(kDefaults, content)) {
    if (errno != ENOENT) report.say(Found::kUnknown, "%s: %s", kDefaults, strerror(errno));
    return false;
  }
  std::istringstream lines(content);
  bool found = false;
  for (string line; std::getline(lines, line);) {
    if (!line.starts_with("OPTIONS=")) continue;
    string value = line.substr(strlen("OPTIONS="));
    std::erase(value, '"');
    std::erase(value, '\'');
    std::istringstream stream(value);
    words.clear();
    for (string word; stream >> word;) words.push_back(word);
    found = true;
  }
  return found;
}

// Takes the words as the daemon does. `number` gets the word behind `t`.
void takeArguments(Report& report, const Words& words, SetUp& set_up, string& number) {
  for (size_t i = 0; i < words.size(); ++i) {
    const char option = words[i].c_str()[0];
    if (option == 's') continue;
    if ((option != 't' && option != 'f') || i + 1 == words.size()) {
      report.say(
          Found::kWrong,
          "the daemon does not start with \"%s\": options are words without a dash, t MINUTES and "
          "f MAIL_LOG; mend OPTIONS in %s",
          shown(words[i]).c_str(), kDefaults);
      return;
    }
    string& value = option == 't' ? number : set_up.mail_log;
    value = words[++i];
  }
}

void judgeMinutes(Report& report, const string& number, SetUp& set_up) {
  constexpr int kMonth_min = 31 * 24 * 60;
  static constexpr char kRemedy[] =
      "put a number of minutes behind t in /etc/default/cv-popb4smtp, and restart the daemon";
  const char* text = number.c_str();
  char* end = nullptr;
  const long long value = strtoll(text, &end, 10);
  set_up.minutes = static_cast<int>(value);  // as the daemon reads it
  minutes = set_up.minutes;
  const bool wraps = value != minutes || 60LL * minutes != lifetime_s();
  const char* what = end == text ? "is no number and counts as" : wraps ? "wraps round to" : "is";
  if (lifetime_s() <= 0)
    report.say(Found::kWrong, "t %s %s %d seconds: authorizations end at once; %s",
               shown(number).c_str(), what, lifetime_s(), kRemedy);
  else if (wraps || minutes > kMonth_min)
    report.say(Found::kWrong, "t %s %s %d seconds: authorizations %s; %s", shown(number).c_str(),
               what, lifetime_s(), wraps ? "end when nobody expects it" : "as good as never end",
               kRemedy);
}

}  // namespace

bool readFile(const string& path, string& content) {
  const OwnedFile file(openStream(path.c_str(), "r"));
  if (!file) return false;
  char block[4096];
  constexpr size_t kMost = 1 << 20;
  errno = 0;
  for (size_t n; content.size() < kMost && (n = fread(block, 1, sizeof block, file.get())) > 0;)
    content.append(block, n);
  return ferror(file.get()) == 0;
}

SetUp readSetUp(Report& report, const string& given_minutes, const string& given_log) {
  SetUp set_up;
  Words running;
  Words defaults;
  bool seen = false;
  set_up.running = findDaemon(report, running, seen);
  const bool has_defaults = readDefaults(report, defaults);
  if (set_up.running && seen && has_defaults && running != defaults)
    report.say(Found::kWrong,
               "the daemon runs with \"%s\", but %s says \"%s\": systemctl restart cv-popb4smtp",
               joined(running).c_str(), kDefaults, joined(defaults).c_str());

  string number;
  takeArguments(report, set_up.running && seen ? running : defaults, set_up, number);
  const string followed = set_up.mail_log;
  if (!given_minutes.empty()) number = given_minutes;
  if (!given_log.empty()) set_up.mail_log = given_log;
  if (!number.empty()) judgeMinutes(report, number, set_up);
  set_up.names_mail_log = !set_up.mail_log.empty();
  if (set_up.mail_log.empty()) set_up.mail_log = exists(kMailLog) ? kMailLog : kMailLogOtherwise;
  if (set_up.running && seen && !given_log.empty() && followed != given_log)
    report.say(Found::kNote, "the daemon follows %s, not this log",
               followed.empty() ? "the default log" : shown(followed).c_str());
  minutes = set_up.minutes;
  set_up.follows = set_up.running && seen && given_minutes.empty() && given_log.empty();
  return set_up;
}
