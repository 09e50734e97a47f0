// Following a log: the date of a line, and a scan of lines of one kind.

#include "daemon/line_date.h"
#include "daemon/log_follower.h"
#include "daemon/login.h"
#include "daemon/state.h"
#include "support/cv_string.h"

#include <benchmark/benchmark.h>

#include "benchmarks/samples.h"

namespace {

void date(benchmark::State& state) {
  const std::string line = stampOf(time(nullptr)) + "dovecot: x";
  for (auto _ : state) benchmark::DoNotOptimize(getTimeFromString(line.c_str()));
}

// Old lines are of the first second of the year: then their stamp is this year's.
void scanOf(benchmark::State& state, const std::string& message, bool young) {
  constexpr long kLines = 20000;
  const time_t now = time(nullptr);
  fillFile((young ? stampOf(now) : "Jan  1 00:00:00 mail ") + message + "\n", kLines);
  delString(log_file, buffer);
  log_file = newString(kSampleFile);
  buffer = newString(nullptr, buff_size);
  for (auto _ : state) {
    openLog();
    parseLogFrom(0);
    fclose(maillog);
  }
  maillog = nullptr;
  for (ConfigFile* table : {&host_list, &user_list, &process_ips, &last_login}) table->empty();
  state.SetItemsProcessed(state.iterations() * kLines);
}

const std::string kLogin =
    "dovecot: imap-login: Login: user=<bob@dom1.example>, method=PLAIN, rip=192.0.2.7, "
    "lip=192.0.2.1, mpid=38, TLS, session=</GUi98Fg5q4KTQAL>";

}  // namespace

BENCHMARK(date);
BENCHMARK_CAPTURE(scanOf, other_program,
                  "postfix/smtpd[812]: 4F3A2B1C: client=mx1.example[192.0.2.9], sasl_method=PLAIN, "
                  "sasl_username=bob@dom1.example",
                  false);
BENCHMARK_CAPTURE(scanOf, old_login, kLogin, false);
BENCHMARK_CAPTURE(scanOf, young_login, kLogin, true);
BENCHMARK_CAPTURE(scanOf, old_end,
                  "dovecot: imap(bob@dom1.example)<38></GUi98Fg5q4KTQAL>: Disconnected: Logged out "
                  "in=80 out=2583 deleted=0 expunged=0 trashed=0 hdr_count=0",
                  false);
BENCHMARK_CAPTURE(scanOf, connect, "vm-pop3d[812]: Connect from 192.0.2.7", false);
BENCHMARK_CAPTURE(scanOf, old_classic_login,
                  "vm-pop3d[812]: User 'bob' of 'dom1.example' logged in with mailbox", false);
