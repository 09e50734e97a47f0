#include "why/mail_server.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <initializer_list>
#include <vector>

#include "daemon/paths.h"

namespace {

using std::string;

constexpr int kPatience_ms = 5000;
constexpr size_t kMostOutput = 4 << 20;

// The first of the programs that is here, "" if none is.
string present(std::initializer_list<const char*> paths) {
  for (const char* path : paths)
    if (access(path, X_OK) == 0) return path;
  return "";
}

// What comes out of the pipe until it ends or our patience does.
string drain(int pipe) {
  string output;
  char block[4096];
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const auto milliseconds = [](const timespec& t) {
    return t.tv_sec * 1000L + t.tv_nsec / 1000000;
  };
  const long deadline = milliseconds(now) + kPatience_ms;
  pollfd ready = {pipe, POLLIN, 0};
  while (output.size() < kMostOutput) {
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int left = static_cast<int>(std::max(deadline - milliseconds(now), 0L));
    if (poll(&ready, 1, left) <= 0) break;
    const ssize_t n = read(pipe, block, sizeof block);
    if (n <= 0) break;
    output.append(block, static_cast<size_t>(n));
  }
  return output;
}

// Runs a program without a shell, input and settings of ours; what it prints.
string outputOf(const string& program, std::initializer_list<const char*> arguments) {
  int pipes[2];
  if (pipe2(pipes, O_CLOEXEC) != 0) return "";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, pipes[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::vector<string> words = {program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
  char* environment[] = {path, nullptr};
  pid_t child = 0;
  const int failure =
      posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environment);
  posix_spawn_file_actions_destroy(&actions);
  close(pipes[1]);
  string output = failure == 0 ? drain(pipes[0]) : "";
  close(pipes[0]);
  if (failure == 0) {
    kill(child, SIGKILL);  // it has ended, or is past our patience
    waitpid(child, nullptr, 0);
  }
  return output;
}

void judge(Report& report, const char* server, const string& output, const string& question) {
  if (output.empty())
    report.unknown("%s does not tell its settings; ask it: %s", server, question.c_str());
  else if (output.find(kHostFile) != output.npos)
    report.note("%s has %s in its settings; whether it lets this address relay: %s", server,
                kHostFile, question.c_str());
  else
    report.wrong(
        "%s does not read %s, so that listing admits nobody there: see "
        "/usr/share/doc/cv-popb4smtp/examples; then ask it: %s",
        server, kHostFile, question.c_str());
}

}  // namespace

void askMailServers(Report& report, const string& address) {
  const string exim = present({"/usr/sbin/exim4", "/usr/sbin/exim", "/usr/exim/bin/exim"});
  const string postconf = present({"/usr/sbin/postconf", "/usr/bin/postconf"});
  const string ask_exim = "exim -bh " + address;
  const string ask_postfix = "postconf mynetworks smtpd_relay_restrictions";
  if (!exim.empty()) judge(report, "Exim", outputOf(exim, {"-bP", "config"}), ask_exim);
  if (!postconf.empty())
    judge(report, "Postfix", outputOf(postconf, {"-h", "mynetworks", "smtpd_relay_restrictions"}),
          ask_postfix + "; an smtpd that runs already keeps the file it has read");
  if (exim.empty() && postconf.empty())
    report.note("listed, but refused? Ask the mail server: %s, or %s", ask_exim.c_str(),
                ask_postfix.c_str());
}
