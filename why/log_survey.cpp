#include "why/log_survey.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

#include "daemon/line_date.h"
#include "support/text_helpers.h"
#include "why/bounded_lines.h"

namespace {

using std::string_view;

constexpr size_t kShownBytes = 300;
constexpr long kDay_s = 86400;
constexpr size_t kMostAuthorized = 100000;

bool isLogin(Kind kind) {
  return kind != Kind::kOther && kind != Kind::kServerLine;
}

bool counts(Kind kind) {
  return kind == Kind::kCounts || kind == Kind::kAnonymous;
}

void note(Latest& latest, const Line& found, const char* line) {
  ++latest.times;
  latest.kind = found.kind;
  latest.when = found.when;
  latest.user = found.user;
  latest.address = found.address;
  latest.line.assign(line, strnlen(line, kShownBytes));
}

// As in the daemon, a login that is too old when it is read changes nothing.
void authorize(Survey& survey, const Line& found, int lifetime, long long now) {
  if (found.when + lifetime < now) return;
  survey.authorized[found.address] = found.when;
  if (survey.authorized.size() <= kMostAuthorized) return;
  survey.authorized.clear();
  survey.has_all_authorized = false;
}

// Is it a line of the daemon's unit? Heartbeats come every five minutes, if the log is written.
void noteOwn(Survey& survey, const char* line, long long stamp) {
  const char* text = strstr(line, ": ");
  if (!text) return;
  const char* program = text;
  while (program > line && program[-1] != ' ') --program;
  if (!startsWith(program, "cv-popb4smtp")) return;
  ++survey.own;
  static constexpr string_view kHeartbeat = ": heartbeat ";
  constexpr long long kLatest = 1LL << 40;  // a time that can be calculated with
  if (!startsWith(text, kHeartbeat)) return;
  const long long sent = strtoll(text + kHeartbeat.size(), nullptr, 10);
  if (sent <= 0 || sent > kLatest) return;
  survey.heartbeat_stamp = stamp;
  survey.heartbeat_sent = sent;
}

void take(Survey& survey, const char* line, const Subject& subject, int lifetime, long long now) {
  const Line& found = kindOf(line);
  ++survey.lines;
  if (found.when == 0)
    ++survey.undated;
  else
    survey.last_stamp = found.when;
  if (survey.first_stamp == 0) survey.first_stamp = found.when;
  if (found.when > now + kDay_s) ++survey.ahead;
  if (found.kind != Kind::kOther)
    ++survey.of_servers;
  else if (found.when != 0)
    noteOwn(survey, line, found.when);
  if (!isLogin(found.kind)) return;
  note(survey.kinds[static_cast<int>(found.kind)], found, line);
  if (counts(found.kind)) {
    authorize(survey, found, lifetime, now);
    if (subject.is(found.user, found.address) && found.when >= survey.counted.when)
      note(survey.counted, found, line);
  } else if (subject.is(found.user, found.address) || subject.isIn(line)) {
    note(survey.other, found, line);
  }
}

}  // namespace

bool surveyLog(FILE* in, const Subject& subject, int lifetime,
               const std::function<void(long long)>& progress, Survey& survey) {
  constexpr long long kProgressLines = 1 << 16;
  holdCalendar(true);
  const long long now = time(nullptr);
  BoundedLines lines(in);
  errno = 0;
  while (const char* line = lines.next()) {
    take(survey, line, subject, lifetime, now);
    if (survey.lines % kProgressLines == 0) progress(lines.bytes());
  }
  survey.cut = lines.cut();
  return ferror(in) == 0;
}
