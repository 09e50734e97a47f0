// The companion's survey of any bytes: every line is looked at once, and only IPv4 is authorized.

#include <algorithm>

#include "daemon/login.h"
#include "daemon/state.h"
#include "fuzz.h"
#include "support/stream.h"
#include "why/log_survey.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::string log(reinterpret_cast<const char*>(data), size);
  setenv("TZ", "UTC", 1);
  const FakeTime clock(1795236060);  // 2026-11-21 04:41:00 UTC
  process_ips.empty();
  const OwnedFile in(fmemopen(log.data(), size, "r"));
  Survey survey;
  CHECK(surveyLog(
            in.get(), Subject("bob"), 1800, [](long long) {}, survey),
        log);
  CHECK(survey.lines == std::count(log.begin(), log.end(), '\n') + (log.back() != '\n'), log);
  for (const auto& [address, when] : survey.authorized) CHECK(isIP(address.c_str()) == 1, address);
  return 0;
}
