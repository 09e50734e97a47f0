// Records of users: what writing a thousand of each kind costs.

#include <benchmark/benchmark.h>

#include <filesystem>

#include "benchmarks/samples.h"
#include "daemon/bandwidth.h"
#include "daemon/last_login.h"
#include "daemon/paths.h"
#include "daemon/state.h"

namespace {

constexpr int kUsers = 1000;

std::vector<std::string> users() {
  std::filesystem::create_directories(std::string(kDomains) + "/dom1.example/last_login");
  std::vector<std::string> names;
  for (int i = 0; i < kUsers; ++i) names.push_back("user" + std::to_string(i) + "@dom1.example");
  return names;
}

void lastLogins(benchmark::State& state) {
  const auto names = users();
  for (auto _ : state) {
    last_login.empty();
    for (const std::string& name : names) log_last_login(name.c_str(), "192.0.2.7", 1700000000);
    write_last_logins();
  }
  state.SetItemsProcessed(state.iterations() * kUsers);
}

void traffic(benchmark::State& state) {
  std::vector<std::string> messages;
  for (const std::string& name : users())
    messages.push_back("imap(" + name + ")<38><x>: Disconnected: Logged out in=80 out=2583");
  for (auto _ : state)
    for (const std::string& message : messages) log_dovecot_bandwidth(message.c_str(), 1700000000);
  state.SetItemsProcessed(state.iterations() * kUsers);
}

}  // namespace

BENCHMARK(lastLogins);
BENCHMARK(traffic);
