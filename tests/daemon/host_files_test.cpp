#include "daemon/host_files.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "daemon/state.h"
#include "fake_time.h"
#include "test_files.h"

namespace {

constexpr time_t kNow = 1700000000;

class HostFiles : public testing::Test {
 protected:
  HostFiles() {
    for (ConfigFile* table : {&host_list, &user_list, &process_ips}) table->empty();
    oldest_host = 0x7fffffff;
    std::filesystem::remove_all("/etc/virtual");
    std::filesystem::create_directory("/etc/virtual");
    newActivity();
  }

  static void admit(const std::string& ip, const std::string& when, const char* user) {
    host_list.setParam(ip.c_str(), when.c_str(), true, 1, false);
    if (user) user_list.setParam(ip.c_str(), user, true, 1, false);
  }

  FakeTime clock_{kNow};
};

}  // namespace

TEST_F(HostFiles, AHostAgesOutASecondAfterItsLifetime) {
  admit("10.0.0.1", std::to_string(kNow - 1800), "stays");
  admit("10.0.0.2", std::to_string(kNow - 1801), nullptr);
  admit("10.0.0.3", "no number", "goes");
  admit("10.0.0.4", std::to_string(kNow - 5), "stays");
  admit("10.0.0.6", "4294967296", "goes: the 32 bits hold a 0");
  clearOldIps();
  EXPECT_EQ(oldest_host, kNow - 1800);
  const Table stay = {{"10.0.0.1", "stays"}, {"10.0.0.4", "stays"}};
  EXPECT_EQ(entriesOf(user_list), stay);
  clock_.set(kNow + 3600);
  is_daemon = 0;
  testing::internal::CaptureStdout();
  clearOldIps();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "10.0.0.1 is too old at 1699998200 (1700003600 > 1699998200 + (30*60)\n"
            "10.0.0.4 is too old at 1699999995 (1700003600 > 1699999995 + (30*60)\n");
  is_daemon = 1;
  EXPECT_EQ(host_list.param, 0);
  EXPECT_EQ(oldest_host, 0x7fffffff) << "nobody is left";
}

TEST_F(HostFiles, AnIdleCycleSweepsOnlyWhenTheOldestHostIsDue) {
  const auto swept = [](long oldest) {
    write(kHostFile, "untouched");
    oldest_host = oldest;
    removeOldHosts();
    return contentOf(kHostFile) != "untouched";
  };
  EXPECT_FALSE(swept(0)) << "no hosts";
  admit("10.0.0.1", std::to_string(kNow - 4000), "bob");
  EXPECT_FALSE(swept(0x7fffffff)) << "admitted after the sweep: not looked at";
  EXPECT_FALSE(swept(kNow - 1800)) << "exactly its lifetime old";
  EXPECT_TRUE(swept(kNow - 1801));
  admit("10.0.0.2", std::to_string(kNow), "carol");
  EXPECT_TRUE(swept(kNow - 1801)) << "a login again has left oldest_host behind";
  EXPECT_EQ(contentOf(kHostFile), "10.0.0.2\n");
  EXPECT_EQ(oldest_host, kNow);
}

TEST_F(HostFiles, AThousandProcessesAreKeptAndNotOneMore) {
  for (int pid = 1; pid <= 1000; ++pid) process_ips.setParam(std::to_string(pid).c_str(), pid);
  removeOldHosts();
  EXPECT_EQ(process_ips.param, 1000);
  process_ips.setParam("1001", 1001);
  removeOldHosts();
  EXPECT_EQ(process_ips.param, 0);
  EXPECT_EQ(newActivity(),
            std::vector<std::string>{"process_ips has more than 1000 id's, emptying it."});
}
