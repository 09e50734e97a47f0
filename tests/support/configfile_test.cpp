// The table: its order, its growth, and what it owns. The leak checker sees what is not released.
#include "support/configfile.h"

#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "support/cv_string.h"
#include "support/listfile.h"

namespace {

const auto shown = [](const char* text) { return std::string(text ? text : "-"); };

std::string contents(ConfigFile& table) {
  std::string all;
  for (long long i = 0; i < table.param; ++i)
    all += (i ? " " : "") + shown(table.getNameAt(i)) + "=" + shown(table.getValueAt(i));
  return all;
}

// One word of a script: name=value stores, +name=value as JSON, #name=value as a number,
// *name=value as no known type, -name and -name=value delete, ?name and @slot ask for a value and a
// type, ! changes a setting. Returns the answer.
std::string act(ConfigFile& table, const std::string& word) {
  const size_t kind = std::string("+#*-?@!").find(word[0]), equals = word.find('=');
  const size_t start = kind < 7;
  const std::string name = word.substr(start, equals - start);
  const char* value = equals == std::string::npos ? nullptr : word.c_str() + equals + 1;
  if (word[0] == '?') return shown(table.getValue(name.c_str())) + ", ";
  if (word[0] == '@') return std::to_string(table.get_type_at(name[0] - '0')) + ", ";
  if (word[0] == '-') return table.deleteParam(name.c_str(), value), "";
  const int type = kind == 0 ? 6 : kind == 1 ? 3 : kind == 2 ? 9 : 1;
  if (word[0] != '!') return table.setParam(name.c_str(), value, true, type, true), "";
  if (name == "empty") return table.empty(), "";
  if (name == "part") return table.quickSort(1, 2), "";
  if (name < "a") return table.sort_type = static_cast<short>(name[0] - '0'), "";
  bool& setting = name == "case"    ? table.char_case
                  : name == "dup"   ? table.duplicate
                  : name == "multi" ? table.multi_type
                                    : table.wait_to_sort;
  return setting = !setting, "";
}

// Script > answers and entries; they are the same from whichever word on the table gathers.
TEST(ConfigFile, EntriesStandInTheOrderOfTheSettings) {
  std::istringstream scripts(
      "b=1 a=2 B=3 > B=3 a=2 b=1|a=1 =2 \xff=3 \x80=4 ~=5 - > \x80=4 \xff=3 a=1 ~=5 =2|"
      "8bytes__i=1 8bytes__\x80=2 8bytes__=3 8bytes_=4 > "
      "8bytes_=4 8bytes__=3 8bytes__\x80=2 8bytes__i=1|"
      "=1 \x7f\x7f\x7f\x7f\x7f\x7f\x7f\x7f=2 > \x7f\x7f\x7f\x7f\x7f\x7f\x7f\x7f=2 =1|"
      "a=1 b=2 a=3 ?a ?A > 3, -, a=3 b=2|a=1 b=2 a > a=1 b=2|"
      "!case b=1 A=2 a=3 B=4 ?B ?a > 4, 3, A=3 b=4|d=4 c=3 b=2 a=1 -b -c=4 -d=4 -x > a=1 c=3|"
      "!dup a=2 a=1 b=0 a=2 a=10 > a=1 a=10 a=2 b=0|!dup a=1 a=2 a=3 ?a -a > 2, a=1 a=3|"
      "!dup a=2 a=1 a=3 a=4 -a=2 -a=9 > a=1 a=3 a=4|!wait b=1 a=2 b=3 ?b > 1, b=1 a=2 b=3|"
      "!wait b=1 a=2 b=3 a=2 -b -a=3 > a=2 b=3 a=2|c=1 a=2 d=3 !wait b=4 > a=2 c=1 d=3 b=4|"
      "!wait bb=1 a=2 ccc=3 !wait d=4 > a=2 bb=1 ccc=3 d=4|!1 10=a 9=b 11=c -11 > 9=b 10=a|"
      "!2 a=1 ccc=2 bb=3 -bb dd=4 > ccc=2 dd=4 a=1|!3 bb=1 ccc=2 a=3 ab=4 -bb > a=3 ab=4 ccc=2|"
      "!9 bb=1 ccc=2 a=3 > a=3 bb=1 ccc=2|bb=1 a=2 !2 ccc=3 > ccc=3 bb=1 a=2|"
      "bb=1 a=2 ccc=3 !2 -a > ccc=3 bb=1|bb=1 ccc=2 a=3 !2 > a=3 bb=1 ccc=2|"
      "m=1 n=2 a=3 b=4 !part c=5 > a=3 b=4 c=5 m=1 n=2|a=1 !empty c=1 b=2 > b=2 c=1|"
      "!multi a=1 c=2 +b=3 @0 @1 @2 > 1, 6, 1, a=1 b=3 c=2|"
      "!multi !dup #a=5 #a=05 @0 > 3, a=05|!dup #a=5 #a=05 @0 > 1, a=05 a=5|"
      "!multi !dup !wait x=1 #a=5 -x -a=05 > a=5|*a=1 ?a a=2 > -, a=2");
  for (std::string script; std::getline(scripts, script, '|');)
    for (int gather_at = 0; gather_at < 9; ++gather_at) {
      ConfigFile table(nullptr, nullptr, 1);
      std::istringstream words(script);
      std::string answers = "> ", word;
      for (int i = 1; words >> word && word != ">"; ++i) {
        answers += act(table, word);
        if (i == gather_at) table.gather(true);
      }
      EXPECT_EQ(answers + contents(table), script.substr(script.find('>')))
          << script << ", gathering at " << gather_at;
    }
}

TEST(ConfigFile, GrowsFourfoldBelow64SlotsAndTwofoldFromThere) {
  for (const auto& [size, entries, want] : std::vector<std::tuple<int, int, int>>{
           {16, 16, 16}, {16, 17, 64}, {16, 65, 128}, {0, 0, 0}, {0, 1, 64}, {63, 64, 252}}) {
    ConfigFile table(nullptr, nullptr, size);
    for (int i = 0; i < entries; ++i) table.setParam(std::to_string(1000 + i).c_str(), i);
    EXPECT_EQ(table.size, want) << size << " slots, " << entries << " entries";
    for (int i = 0; i < want; ++i)
      EXPECT_EQ(shown(table.getValueAt(i)), i < entries ? std::to_string(i) : "-") << i;
  }
  EXPECT_THROW(ConfigFile(nullptr, nullptr, -1), std::bad_array_new_length);
}

TEST(ConfigFile, ChangedIsSetWhereverANameIsTaken) {
  ConfigFile table(nullptr, nullptr, 16);
  EXPECT_FALSE(table.setParam(nullptr, "x", true, 1, true) ||
               table.setParam("", "", true, 1, false) || table.changed);
  EXPECT_TRUE(table.setParam("", nullptr, false, 1, true) && table.changed);
  EXPECT_EQ(contents(table), "=") << "a null is stored as an empty text";
  table.changed = false;
  table.deleteParam("absent", nullptr);
  EXPECT_TRUE(table.changed);
}

// A value of the type, for the table to adopt.
char* valueOf(int type) {
  if (type == kLongIntegerValue) return reinterpret_cast<char*>(7);
  if (type == kListFileValue) return reinterpret_cast<char*>(new ListFile(nullptr, "file"));
  if (type != kConfigFileValue) return newString("7");
  auto* table = new ConfigFile(nullptr, nullptr, 1);
  table->multi_type = true;
  table->setParam("inner", valueOf(kListFileValue), false, kListFileValue, false);
  return reinterpret_cast<char*>(table);
}

TEST(ConfigFile, EveryTypeIsReleasedWhenReplacedDeletedEmptiedOrCopied) {
  const char* const seen[] = {"7", "ConfigFile", "7", "Long Integer", "ListFile", "7"};
  for (int before = kTextValue; before <= kJsonValue; ++before)
    for (int after = kTextValue; after <= kJsonValue; ++after) {
      ConfigFile table(nullptr, nullptr, 2);
      table.multi_type = true;
      for (const auto& [name, type] : {std::pair("x", before), {"x", after}, {"y", before}})
        table.setParam(name, valueOf(type), false, type, false);
      EXPECT_STREQ(table.getValue("x"), seen[after - 1]) << before << " before " << after;
      ConfigFile copy(nullptr, &table);
      table.deleteParam("y", nullptr);
      table.empty();
      EXPECT_TRUE(copy.get_type_at(0) == after && (after == 4) == !copy.getValueAt(0));
    }
}

TEST(ConfigFile, ACopyTakesSomeSettingsAndTheEntriesAsTheyStand) {
  ConfigFile table(nullptr, nullptr, 2);
  table.duplicate = table.no_overwrite = true;
  table.char_case = table.lockit = false;
  table.sort_type = 2;
  for (const char* name : {"a", "ccc", "bb"}) table.setParam(name, 1);
  ConfigFile copy(nullptr, &table);
  EXPECT_EQ(contents(copy), "ccc=1 bb=1 a=1");
  EXPECT_TRUE(copy.size == 8 && copy.char_case && copy.duplicate && !copy.lockit);
  copy.setParam("b", 1);
  EXPECT_EQ(contents(copy), "a=1 b=1 bb=1 ccc=1") << "the copy orders by name";
}

TEST(ConfigFile, AMovedEntryIsATextAndItsOldSlotKeepsTheCode) {
  ConfigFile table(nullptr, nullptr, 8);
  table.multi_type = table.wait_to_sort = true;
  for (const char* name : {"a", "b", "c"}) table.setParam(name, valueOf(5), false, 5, false);
  EXPECT_FALSE(table.move_params(1, 1) || table.move_params(0, 1) || table.move_params(5, 6));
  EXPECT_TRUE(table.move_params(1, 7));
  table.shift_down_from(0);
  EXPECT_EQ(table.getNameAt(1), nullptr) << "slot 0 has a name";
  table.shift_down_from(1);
  std::string slots;
  for (int i = 0; i < 8; ++i)
    slots += shown(table.getNameAt(i)) + std::to_string(table.get_type_at(i));
  EXPECT_EQ(slots, "a5c1b1-1-1-1-1-1") << "the slots left had been moved to, or have no type yet";
}

}  // namespace
