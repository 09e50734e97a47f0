#include "why/judge_log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "daemon/paths.h"
#include "daemon/state.h"
#include "support/stream.h"

namespace {

using std::string;

constexpr long kTolerance_s = 120;
constexpr char kPackagedLog[] = "/var/log/mail-logins.log";
constexpr char kElsewhere[] =
    "put the right log behind f in /etc/default/cv-popb4smtp (/var/log/mail-logins.log is the "
    "rsyslog snippet's), and restart";

// Another log that is written while this one is not, "" if there is none.
string liveLog(const string& but, time_t after) {
  for (const char* path : {kPackagedLog, kMailLogOtherwise, kMailLog}) {
    struct stat status = {};
    if (but != path && stat(path, &status) == 0 && status.st_mtime > after && status.st_size > 0)
      return formatted("; %s is", path);
  }
  return "";
}

// Whether this file can be a log that somebody writes.
bool judgeFile(Report& report, const SetUp& set_up, struct stat& status, bool& readable) {
  const string path = shown(set_up.mail_log);
  const char* named = set_up.names_mail_log ? "that f names" : "that is followed without f";
  if (stat(set_up.mail_log.c_str(), &status) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) {
      report.say(Found::kWrong,
                 "the log %s, %s, is missing: does rsyslog run, and write it? Else %s", named,
                 path.c_str(), kElsewhere);
    } else {
      readable = false;
      report.say(Found::kUnknown, "%s: %s; run this as root", path.c_str(), strerror(errno));
    }
    return false;
  }
  if (!S_ISREG(status.st_mode)) {
    report.say(Found::kWrong, "the log %s, %s, is no ordinary file: %s", named, path.c_str(),
               kElsewhere);
    return false;
  }
  return true;
}

// Dates that are wrong by this belong to another time zone.
bool isZone(long long shift) {
  constexpr long kHalfHour_s = 1800;
  constexpr long kLargestShift_s = 26L * 3600;
  const long long size = std::abs(shift);
  return size > kTolerance_s && size < kLargestShift_s &&
         (size + kTolerance_s) % kHalfHour_s <= 2 * kTolerance_s;
}

// By how much the dates in the log are ahead of the time at which it was written.
long long shiftOf(const Survey& survey, time_t changed) {
  if (survey.heartbeat_sent != 0) return survey.heartbeat_stamp - survey.heartbeat_sent;
  return survey.last_stamp - std::min(changed, time(nullptr));
}

// When the last line was written. The time of the file does not tell: the heartbeat sets it where
// its line does not come.
time_t lastWritten(const Survey& survey, time_t changed) {
  const long long shift = shiftOf(survey, changed);
  if (survey.heartbeat_sent != 0) return survey.last_stamp - shift;
  const bool tells = survey.last_stamp != 0 && shift < 0 && !isZone(shift);
  return tells ? survey.last_stamp : changed;
}

void judgeWriting(Report& report, const string& path, const struct stat& status,
                  const Survey& survey) {
  constexpr long kLong_s = 6 * 3600L;
  constexpr long kBehind_s = 600;  // two heartbeats
  if (status.st_size == 0) {
    report.say(Found::kWrong,
               "%s is empty since %s%s: right after a rotation that is no fault; else: does "
               "rsyslog run, and write it? Or %s",
               shown(path).c_str(), clockTime(status.st_mtime).c_str(),
               liveLog(path, status.st_mtime - 1).c_str(), kElsewhere);
    return;
  }
  const time_t written = lastWritten(survey, status.st_mtime);
  const long long age = time(nullptr) - written;
  const string live = liveLog(path, written + kBehind_s);
  const bool is_missed = survey.heartbeat_sent != 0 || !live.empty();
  if (age > kLong_s || (age > kBehind_s && is_missed))
    report.say(Found::kWrong, "%s is not written any more since %s%s: restart rsyslog; else %s",
               shown(path).c_str(), clockTime(written).c_str(), live.c_str(), kElsewhere);
}

// If dates do not agree with the time at which they were written, a clock is wrong.
void judgeClock(Report& report, const Survey& survey, time_t changed) {
  if (survey.last_stamp == 0) return;
  const long long now = time(nullptr);
  const long long shift = shiftOf(survey, changed);
  const string stamp = clockTime(survey.last_stamp);
  if (isZone(shift)) {
    report.say(Found::kWrong,
               "the last line is dated %s, %.1f hours %s the time it was written: another time "
               "zone; after a change of zone: systemctl restart rsyslog cv-popb4smtp",
               stamp.c_str(), static_cast<double>(std::abs(shift)) / 3600,
               shift > 0 ? "ahead of" : "behind");
  } else if (survey.ahead > 0) {
    report.say(Found::kWrong,
               "%lld lines are dated days ahead: dates have no year, and those of last December "
               "count as of the next; logrotate -f /etc/logrotate.d/cv-popb4smtp, then restart the "
               "daemon (or the clock is wrong)",
               survey.ahead);
  } else if (survey.last_stamp > now + kTolerance_s) {
    report.say(Found::kWrong,
               "the last line is dated %s, in the future: set the clock of the host that wrote it",
               stamp.c_str());
  }
}

void judgeContent(Report& report, const string& path, const Survey& survey) {
  if (survey.lines == 0) return;
  if (survey.undated == survey.lines) {
    report.say(Found::kWrong,
               "%lld lines in %s, none with a date that is read (Mon DD HH:MM:SS): follow %s, or "
               "install the rsyslog snippet that writes it",
               survey.lines, path.c_str(), kPackagedLog);
  } else if (survey.of_servers == 0) {
    constexpr long kHour_s = 3600;
    const bool is_new = survey.own == survey.lines && survey.first_stamp > time(nullptr) - kHour_s;
    report.say(is_new ? Found::kNote : Found::kWrong,
               "no line of dovecot, imapd or vm-pop3d in %s, which begins at %s: if somebody has "
               "logged in since, they log elsewhere; see doveadm log find, journalctl -t dovecot, "
               "and have log_path = syslog and the facility mail",
               path.c_str(), clockTime(survey.first_stamp).c_str());
  } else if (survey.undated > 0) {
    report.say(Found::kNote, "%lld of the lines have a date that is not read", survey.undated);
  }
  if (survey.cut > 0)
    report.say(Found::kNote, "%lld lines are so long that only their start was read", survey.cut);
}

void reportProgress(long long done, long long size) {
  static const bool is_watched = isatty(STDERR_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
  if (!is_watched) return;
  if (done < 0)
    fputs("\r\033[K", stderr);
  else
    fprintf(stderr, "\rreading the log: %lld %%", size > 0 ? done * 100 / size : 100);
}

}  // namespace

bool judgeLog(Report& report, const SetUp& set_up, const Subject& subject, Survey& survey) {
  struct stat status = {};
  bool readable = true;
  if (!judgeFile(report, set_up, status, readable)) return readable;
  const string path = shown(set_up.mail_log);
  const OwnedFile log(openStream(set_up.mail_log.c_str(), "r"));
  const int lifetime = lifetime_s();
  const auto progress = [&status](long long done) { reportProgress(done, status.st_size); };
  if (!log || !surveyLog(log.get(), subject, lifetime, progress, survey)) {
    report.say(Found::kUnknown,
               "%s may not be read: %s; run this as root, or as a member of the file's group",
               path.c_str(), strerror(errno));
    return false;
  }
  reportProgress(-1, 0);
  if (status.st_size > 0)
    report.say(Found::kFine,
               "%s has %lld lines, the last written %s; %lld of dovecot, imapd and vm-pop3d",
               path.c_str(), survey.lines, clockTime(lastWritten(survey, status.st_mtime)).c_str(),
               survey.of_servers);
  judgeWriting(report, set_up.mail_log, status, survey);
  judgeContent(report, path, survey);
  judgeClock(report, survey, status.st_mtime);
  return true;
}
