#include "why/mail_server.h"

#include <sys/wait.h>
#include <unistd.h>

#include <initializer_list>

#include "daemon/paths.h"
#include "support/stream.h"

namespace {

using std::string;

// The first of the programs that is installed, "" if none is.
string present(std::initializer_list<const char*> paths) {
  for (const char* path : paths)
    if (access(path, X_OK) == 0) return path;
  return "";
}

// In a child process: becomes the program, with a time limit and without the caller's settings.
[[noreturn]] void become(const string& program, const char* option, const char* what, int output) {
  static constexpr char kTimeout[] = "/usr/bin/timeout";
  static constexpr char kPath[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
  close(STDIN_FILENO);
  close(STDERR_FILENO);
  dup2(output, STDOUT_FILENO);
  execle(kTimeout, kTimeout, "-k", "1", "5", program.c_str(), option, what, nullptr,
         std::initializer_list<const char*>{kPath, nullptr}.begin());
  _exit(1);
}

// What the program prints when it is called with this option and this question. No shell is
// involved.
string answerOf(const string& program, const char* option, const char* what) {
  constexpr size_t kMost = 4 << 20;
  int pipes[2];
  if (pipe(pipes) != 0) return "";
  const pid_t child = fork();
  if (child == 0) become(program, option, what, pipes[1]);
  close(pipes[1]);
  string answer;
  char block[4096];
  for (ssize_t n; answer.size() < kMost && (n = read(pipes[0], block, sizeof block)) > 0;)
    answer.append(block, static_cast<size_t>(n));
  close(pipes[0]);
  if (child > 0) waitpid(child, nullptr, 0);
  return answer;
}

void judge(Report& report, const char* server, const string& settings, const string& question) {
  if (settings.empty())
    report.say(Found::kUnknown, "%s does not tell its settings; ask it: %s", server,
               question.c_str());
  else if (settings.find(kHostFile) != settings.npos)
    report.say(Found::kNote, "%s has %s in its settings; ask it about this address: %s", server,
               kHostFile, question.c_str());
  else
    report.say(Found::kWrong,
               "%s does not name %s in its settings: see the examples in "
               "/usr/share/doc/cv-popb4smtp; then ask it: %s",
               server, kHostFile, question.c_str());
}

}  // namespace

void askMailServers(Report& report, const string& address) {
  const string exim = present({"/usr/sbin/exim4", "/usr/sbin/exim"});
  const string postconf = present({"/usr/sbin/postconf", "/usr/bin/postconf"});
  const string ask_exim = "exim -bh " + address;
  const string ask_postfix =
      string("postconf mynetworks, which has to name ") + kHostFile +
      " (of a table made from it: postmap -q " + address +
      " hash:TABLE); an smtpd that runs already keeps what it has read: postfix reload";
  if (!exim.empty()) judge(report, "Exim", answerOf(exim, "-bP", "config"), ask_exim);
  if (!postconf.empty())
    judge(report, "Postfix", answerOf(postconf, "-n", "mynetworks"), ask_postfix);
  if (exim.empty() && postconf.empty())
    report.say(Found::kNote, "listed, but refused? Ask the mail server: %s, or %s",
               ask_exim.c_str(), ask_postfix.c_str());
}
