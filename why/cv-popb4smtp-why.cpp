// cv-popb4smtp-why: why may this address or user relay, or not?
//
// It reads what the daemon reads, and the host files, and says what it finds. It changes nothing.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "why/judge_log.h"
#include "why/report.h"
#include "why/set_up.h"
#include "why/subject.h"
#include "why/verdict.h"

namespace {

constexpr int kStatusUsage = 5;  // as the daemon's

constexpr char kUsage[] =
    "Usage: cv-popb4smtp-why [ADDRESS | USER] [t MINUTES] [f MAIL_LOG]\n"
    "Says why a client or a user may relay, or not; without one, what is wrong with the set-up.\n"
    "\tt MINUTES: how long a login counts, instead of what the daemon was started with\n"
    "\tf MAIL_LOG: the log to read, instead of the one that it follows\n"
    "\t-h, --help: this text\n"
    "\t--version: the version\n"
    "Options are words without a dash. It only reads. Status: 0 may relay, or nothing is wrong;\n"
    "1 may not, or something is wrong; 2 it could not find out; 5 it was called in another way.\n";

struct Question {
  Subject subject;
  std::string minutes;
  std::string mail_log;
};

// False if the arguments are none of ours.
bool readArguments(int argc, char** argv, Question& question) {
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const bool has_value = i + 1 < argc;  // a `t` or `f` that comes last is a user
    if (word == "t" && has_value)
      question.minutes = argv[++i];
    else if (word == "f" && has_value)
      question.mail_log = argv[++i];
    else if (word.empty() || word[0] == '-' || question.subject.type() != Subject::kNobody)
      return false;
    else
      question.subject = Subject(word);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string first = argc > 1 ? argv[1] : "";
  if (first == "-h" || first == "--help") {
    fputs(kUsage, stdout);
    return 0;
  }
  if (first == "--version") {
    puts("cv-popb4smtp-why " VERSION);
    return 0;
  }
  Question question;
  if (!readArguments(argc, argv, question)) {
    fputs(kUsage, stderr);
    return kStatusUsage;
  }
  Report report(question.subject.type() != Subject::kNobody);
  const SetUp set_up = readSetUp(report, question.minutes, question.mail_log);
  Survey survey;
  const bool has_log = judgeLog(report, set_up, question.subject, survey);
  Listed listed =
      readHostFiles(report, question.subject, survey.counted.address, survey.authorized);
  if (question.subject.type() == Subject::kNobody) return judgeAll(report, set_up, survey, listed);
  return judgeSubject(report, set_up, question.subject, has_log, survey, listed);
}
