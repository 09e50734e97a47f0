// The tables and the list at several sizes, and what walks through all of them: sweep and files.

#include <benchmark/benchmark.h>

#include "benchmarks/samples.h"
#include "daemon/host_files.h"
#include "daemon/state.h"

namespace {

// While a scan runs, tables may gather what is new.
template <typename Table>
void gather(Table& table, bool on) {
  if constexpr (requires { table.gather(on); }) table.gather(on);
}

void fill(ConfigFile& table, const std::vector<std::string>& names, const char* value) {
  gather(table, true);
  for (const std::string& name : names) table.setParam(name.c_str(), value, true, 1, false);
  gather(table, false);
}

void done(benchmark::State& state, long each) {
  state.SetItemsProcessed(state.iterations() * each);
}

void insertInAnyOrder(benchmark::State& state) {
  const auto names = addresses(state.range(0));
  for (auto _ : state) {
    ConfigFile table(nullptr, nullptr, 16);
    fill(table, names, "1700000000");
  }
  done(state, state.range(0));
}

void lookUp(benchmark::State& state) {
  const auto names = addresses(state.range(0));
  ConfigFile table(nullptr, nullptr, 16);
  fill(table, names, "1700000000");
  for (auto _ : state)
    for (const std::string& name : names) benchmark::DoNotOptimize(table.getValue(name.c_str()));
  done(state, state.range(0));
}

void deleteAndInsert(benchmark::State& state) {
  const auto names = addresses(state.range(0));
  ConfigFile table(nullptr, nullptr, 16);
  fill(table, names, "1700000000");
  size_t i = 0;
  for (auto _ : state) {
    const char* name = names[i++ % names.size()].c_str();
    table.deleteParam(name, nullptr);
    table.setParam(name, "1700000000", true, 1, false);
  }
  done(state, 1);
}

void walk(benchmark::State& state) {
  ConfigFile table(nullptr, nullptr, 16);
  fill(table, addresses(state.range(0)), "1700000000");
  for (auto _ : state)
    for (long long i = 0; i < table.param; ++i) {
      benchmark::DoNotOptimize(table.getNameAt(i));
      benchmark::DoNotOptimize(table.getValueAt(i));
    }
  done(state, state.range(0));
}

void listInOrder(benchmark::State& state) {
  auto names = addresses(state.range(0));
  std::sort(names.begin(), names.end());
  for (auto _ : state) {
    ListFile list(nullptr, static_cast<const char*>(nullptr));
    for (const std::string& name : names) list.addElement(name.c_str(), true, false);
    for (const std::string& name : names)
      benchmark::DoNotOptimize(list.getIndex(name.c_str(), false));
  }
  done(state, state.range(0));
}

void admit(long count, time_t when) {
  const auto names = addresses(count);
  host_list.empty();
  user_list.empty();
  fill(host_list, names, std::to_string(when).c_str());
  fill(user_list, names, "bob@dom1.example");
}

void hostFiles(benchmark::State& state) {
  admit(state.range(0), time(nullptr));
  for (auto _ : state) {
    writeHostFile();
    writeUserFile();
  }
  done(state, state.range(0));
}

void sweepOfNobody(benchmark::State& state) {
  admit(state.range(0), time(nullptr));
  for (auto _ : state) clearOldIps();
  done(state, state.range(0));
}

void sweepOfAll(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    admit(state.range(0), 0);
    state.ResumeTiming();
    clearOldIps();
  }
  done(state, state.range(0));
}

void sizes(benchmark::internal::Benchmark* each) {
  for (const long count : {100, 1000, 10000, 100000, 200000}) each->Arg(count);
}

}  // namespace

BENCHMARK(insertInAnyOrder)->Apply(sizes);
BENCHMARK(lookUp)->Apply(sizes);
BENCHMARK(deleteAndInsert)->Apply(sizes);
BENCHMARK(walk)->Apply(sizes);
BENCHMARK(listInOrder)->Apply(sizes);
BENCHMARK(hostFiles)->Apply(sizes);
BENCHMARK(sweepOfNobody)->Apply(sizes);
BENCHMARK(sweepOfAll)->Apply(sizes);
