// What scans save by calendars, sorted runs and short cuts must change nothing: the same damaged
// logs go through the daemon and through its rules put as plainly as can be. An input is a zone, a
// time to be around, how many lines there are, and what seeds the damage.

#include <climits>
#include <filesystem>
#include <map>
#include <random>
#include <regex>

#include "daemon/log_follower.h"
#include "daemon/login.h"
#include "daemon/state.h"
#include "fake_time.h"
#include "fuzz.h"
#include "support/cv_string.h"
#include "test_files.h"

namespace {

using std::string;

struct PlainDaemon {
  Table hosts, users, processes, logins;
  std::smatch fields;
  long when = 0;

  bool is(const string& text, const string& pattern) {
    static std::map<string, std::regex> known;
    return std::regex_match(text, fields, known.try_emplace(pattern, pattern).first->second);
  }

  void scan(const string& log) {
    logins.clear();
    for (const auto& [ip, then] : Table(hosts))
      if (std::stol(then) + lifetime_s() < time(nullptr)) hosts.erase(ip), users.erase(ip);
    for (const string& line : linesOf(log))
      parse(line.substr(0, line.size() - line.ends_with('\r')).c_str());  // up to a NUL
  }

  void parse(const string& line) {
    const string head = "[^][ \t\r\n]*[^ \t\r\n][^ ]*(?: [ \t\r\n]*[^ \t\r\n][^ ]*){3} ";
    if (is(line, head + "dovecot[^ ]* (?:pop3|imap)-login: Login:[^]*")) {
      if (isFresh(line) && is(line, "[^<]*<([^>]{0,256})>(?:(?!rip=)[^])*rip=([^,]{0,20}),[^]*"))
        admit(fields[2], fields[1], true);
    } else if (is(line, head + "(?:vm-pop3d|imapd)[^ []*\\[([^ ]* ([^]*))")) {
      const long pid = std::clamp(atol(fields[1].str().c_str()), long{INT_MIN}, long{INT_MAX});
      parseClassic(line, processes, std::to_string(pid), fields[2]);
    }
  }

  void parseClassic(const string& line, Table& known, const string& pid, const string& message) {
    if (is(message, "(?:Connect|imap service init)[^ ]* [^ ]* ([^]*)")) known[pid] = fields[1];
    if (is(message,
           "(Session|Socket|Logout|Command stream end of file|Fatal error|IMAP toolkit "
           "crash)[^]*"))
      known.erase(pid);
    const bool quoted = message.starts_with("User");
    if (!is(message,
            "(User|Login(?! failed| disabled| excessive login failures| SYSTEM BREAK-IN "
            "ATTEMPT))[^]*") ||
        !isFresh(line))
      return;
    // The quote that ends a name is searched from the second character behind the first on.
    if (!is(line, quoted
                      ? "[^']*(?:'(?:([^']{1,100})'|'[^']*(?:'|()$))[^']*(?:'([^']{0,100})'[^]*)?)?"
                      : "[^=]*(?:=([^ ]{0,100}) [^]*)?()()"))
      return;
    const string user = fields.str(1) + (quoted && fields[3].matched ? "@" : "") + fields.str(3);
    const auto [process, is_new] = known.try_emplace(pid, "");
    if (is_new && !is(line, "[^\\]]*\\](?:[^ ]* ){6}(?:(?!in)|in[^ ]* [^ ]* )(([^,]*)[^]*)"))
      known.erase(pid);
    else if (is_new && fields.length(1) > fields.length(2) && fields.length(2) <= 16)
      process->second = fields[2];
    if (known.contains(pid) && known[pid] != "127.0.0.1") admit(known[pid], user, !user.empty());
  }

  void admit(const string& ip, const string& user, bool named) {
    if (!isIP(ip.c_str())) return;
    if (!user.empty()) logins[user] = "when=" + std::to_string(when) + "&ip=" + ip;
    if (ip == "127.0.0.1") return;
    hosts[ip] = std::to_string(static_cast<int>(when));
    if (named) users[ip] = user;
  }

  bool isFresh(const string& line) {
    const time_t now = time(nullptr);
    tm date = *localtime(&now);
    char month[32] = "";
    if (sscanf(line.c_str(), "%31s %d %d:%d:%d", month, &date.tm_mday, &date.tm_hour, &date.tm_min,
               &date.tm_sec) < 5)
      return false;
    for (date.tm_mon = 0; months[date.tm_mon] != string(month); ++date.tm_mon)
      if (date.tm_mon == 11) return false;
    when = mktime(&date);
    return when + lifetime_s() >= now;
  }
};

// A log around `now` of the sample lines in any order, of many clients, every third one damaged.
string damagedLog(time_t now, size_t lines, std::mt19937& random) {
  const auto any = [&random](size_t below) { return random() % below; };
  const string damage("0123456789<>'=,. []:\0\r\t-x@\xe9", 27);
  std::vector<string> samples;
  for (const auto& file : std::filesystem::directory_iterator(SAMPLE_LINES))
    for (const string& line : linesOf(contentOf(file.path())))
      if (!line.empty() && islower(line[0])) samples.push_back(line);
  string log;
  for (size_t i = 0; i < lines; ++i) {
    const time_t edges[] = {now, now - 1800, now - 1801, now + 86400 - time_t(any(172800))};
    const time_t when = any(3) ? now + 1000 - time_t(any(5000)) : edges[any(4)];
    char stamp[32];
    strftime(stamp, sizeof stamp, "%b %e %H:%M:%S mail ", localtime(&when));
    string line = stamp + samples[any(samples.size())];
    if (const size_t pid = line.find('['); pid < line.find(' ', 21))
      line.insert(pid + 1, std::to_string(any(lines / 20 + 1)));
    if (const size_t client = line.find("192.0.2."); client != string::npos)
      line.replace(client + 4, 3, std::to_string(any(3)) + "." + std::to_string(any(250)));
    for (size_t hits = any(3) ? 0 : 1 + any(3); hits > 0; --hits)
      line.replace(any(line.size()), any(3), any(3), damage[any(damage.size())]);
    log += line + (any(9) ? "\n" : "\r\n");
  }
  return log;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Zones whose clock changes at night, by half an hour, for a month of fasting, at midnight, once
  // by law, and never.
  static constexpr const char* kZones[] = {"Europe/Berlin",     "Australia/Lord_Howe",
                                           "Africa/Casablanca", "America/Santiago",
                                           "America/Caracas",   "Asia/Kolkata"};
  constexpr unsigned kYears_s = 12 * 365 * 86400;
  Input input(data, size);
  setenv("TZ", kZones[input.byte() % std::size(kZones)], 1);
  tzset();
  const time_t middle = 1451606400 + input.word() % kYears_s;  // from 2016 on
  const size_t lines = size_t{1} << input.byte() % 14;
  std::mt19937 random(input.word());

  FakeTime clock(middle);
  PlainDaemon plain;
  minutes = 30;
  for (ConfigFile* table : {&host_list, &user_list, &process_ips}) table->empty();
  if (!buffer) buffer = newString(nullptr, buff_size);
  if (!log_file) log_file = newString(kMailLogOtherwise);
  for (const int seconds_on : {-1, 900, 2700, 90000}) {
    clock.set(middle + seconds_on);
    const string log = damagedLog(time(nullptr), lines, random);
    write(log_file, log);
    last_pos = 0;
    updateHosts();
    plain.scan(log);
    string ips, ips_with_users;
    for (const auto& [ip, when] : plain.hosts) ips += ip + "\n";
    for (const auto& [ip, user] : plain.users) ips_with_users += ip + ": " + user + "\n";
    CHECK(entriesOf(host_list) == plain.hosts, std::to_string(seconds_on));
    CHECK(entriesOf(process_ips) == plain.processes, std::to_string(seconds_on));
    CHECK(entriesOf(last_login) == plain.logins, std::to_string(seconds_on));
    CHECK(contentOf(kHostFile) == ips, std::to_string(seconds_on));
    CHECK(contentOf(kUserFile) == ips_with_users, std::to_string(seconds_on));
  }
  return 0;
}
