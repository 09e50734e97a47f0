// The table: its order, its growth, and what it owns. The leak checker sees what is not released.
#include "support/configfile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <new>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/cv_string.h"
#include "support/listfile.h"
#include "support/logging.h"
#include "support/owned_text.h"

namespace {

std::string shown(const char* text) {
  return text ? text : "-";
}

std::string contents(ConfigFile& table) {
  std::string all;
  for (long long i = 0; i < table.param; ++i)
    all += (i ? " " : "") + shown(table.getNameAt(i)) + "=" + shown(table.getValueAt(i));
  return all;
}

// One word of a script: name=value stores, +name=value as JSON, -name and -name=value delete,
// ?name and @slot ask for a value and a type, ! changes a setting. Returns the answer.
std::string act(ConfigFile& table, const std::string& word) {
  static const std::map<char, bool ConfigFile::*> settings = {{'c', &ConfigFile::char_case},
                                                              {'d', &ConfigFile::duplicate},
                                                              {'m', &ConfigFile::multi_type},
                                                              {'w', &ConfigFile::wait_to_sort}};
  const bool plain = std::string("+-?@!").find(word[0]) == std::string::npos;
  const size_t equals = word.find('=');
  const std::string name = word.substr(plain ? 0 : 1, equals - (plain ? 0 : 1));
  const char* value = equals == std::string::npos ? nullptr : word.c_str() + equals + 1;
  if (word[0] == '?') return shown(table.getValue(name.c_str())) + ", ";
  if (word[0] == '@') return std::to_string(table.get_type_at(name[0] - '0')) + ", ";
  if (word[0] == '-') return table.deleteParam(name.c_str(), value), "";
  if (word == "!empty") return table.empty(), "";
  if (word == "!part") return table.quickSort(1, 2), "";
  if (plain || word[0] == '+')
    table.setParam(name.c_str(), value, true, plain ? kTextValue : kJsonValue, true);
  else if (settings.count(name[0]))
    table.*settings.at(name[0]) ^= true;
  else
    table.sort_type = static_cast<short>(name[0] - '0');
  return "";
}

// Every script leads to the same answers and entries, from whichever word on the table gathers.
TEST(ConfigFile, EntriesStandInTheOrderOfTheSettings) {
  const struct {
    const char *script, *want, *why;
  } rows[] = {
      {"b=1 a=2 B=3", "B=3 a=2 b=1", "case counts"},
      {"a=1 =2 \xff=3 \x80=4 ~=5 -", "\x80=4 \xff=3 a=1 ~=5 =2", "signed, the empty name last"},
      {"8bytes__i=1 8bytes__\x80=2 8bytes__=3 8bytes_=4",
       "8bytes_=4 8bytes__=3 8bytes__\x80=2 8bytes__i=1", "prefix"},
      {"=1 \x7f\x7f\x7f\x7f\x7f\x7f\x7f\x7f=2", "\x7f\x7f\x7f\x7f\x7f\x7f\x7f\x7f=2 =1", "highest"},
      {"a=1 b=2 a=3 ?a ?A", "3, -, a=3 b=2", "a name stands once"},
      {"a=1 b=2 a", "a=1 b=2", "a null value leaves the old one"},
      {"!case b=1 A=2 a=3 B=4 ?B ?a", "4, 3, A=3 b=4", "the first spelling stays"},
      {"a=1 b=2 c=3 d=4 -b -c=4 -d=4 -x", "a=1 c=3",
       "deleted, where a value is given only with it"},
      {"!dup a=2 a=1 b=0 a=2 a=10", "a=1 a=10 a=2 b=0", "values are keys too"},
      {"!dup a=1 a=2 a=3 ?a -a", "2, a=1 a=3", "the value that a bisection meets first"},
      {"!dup a=2 a=1 a=3 a=4 -a=2 -a=9", "a=1 a=3 a=4", "deleted by value"},
      {"!wait b=1 a=2 b=3 ?b", "1, b=1 a=2 b=3", "as appended"},
      {"!wait b=1 a=2 b=3 a=2 -b -a=3", "a=2 b=3 a=2", "the first goes, the gap closes"},
      {"c=1 a=2 d=3 !wait b=4", "a=2 c=1 d=3 b=4", "appended to a sorted table"},
      {"!wait bb=1 a=2 ccc=3 !wait d=4", "a=2 bb=1 ccc=3 d=4", "sorted by the next insertion"},
      {"!1 10=a 9=b 11=c -11", "9=b 10=a", "by number; that entry goes and no other"},
      {"!2 a=1 ccc=2 bb=3 -bb dd=4", "ccc=2 dd=4 a=1", "longest first"},
      {"!3 bb=1 ccc=2 a=3 ab=4 -bb", "a=3 ab=4 ccc=2", "shortest first"},
      {"!9 bb=1 ccc=2 a=3", "a=3 bb=1 ccc=2", "any other type: by name"},
      {"bb=1 a=2 !2 ccc=3", "ccc=3 bb=1 a=2", "sorted anew for another order"},
      {"bb=1 a=2 ccc=3 !2 -a", "ccc=3 bb=1", "and by a deletion"},
      {"bb=1 ccc=2 a=3 !2", "a=3 bb=1 ccc=2", "but not before"},
      {"m=1 n=2 a=3 b=4 !part c=5", "a=3 b=4 c=5 m=1 n=2", "what is sorted stays"},
      {"!multi a=1 c=2 +b=3 @0 @1 @2", "1, 6, 1, a=1 b=3 c=2", "types go with their entries"},
      {"a=1 !empty c=1 b=2", "b=2 c=1", "emptied"}};
  for (const auto& row : rows)
    for (int gather_at = 0; gather_at < 9; ++gather_at) {
      ConfigFile table(nullptr, nullptr, 1);
      std::istringstream words(row.script);
      std::string answers, word;
      for (int i = 1; words >> word; ++i) {
        answers += act(table, word);
        if (i == gather_at) table.gather(true);
      }
      EXPECT_EQ(answers + contents(table), row.want) << row.why << ", gathering at " << gather_at;
    }
}

TEST(ConfigFile, TextsWithoutNumbersAreSortedAsNumbersInSomeOrderAndAllStay) {
  ConfigFile table(nullptr, nullptr, 16);
  table.wait_to_sort = true;
  for (int i = 0; i < 200; ++i) table.setParam(((i % 3 ? "n" : "") + std::to_string(i)).c_str(), i);
  table.sort_type = 1;
  table.sort();
  std::set<std::string> seen;
  for (long long i = 0; i < table.param; ++i) seen.insert(table.getNameAt(i));
  EXPECT_EQ(seen.size(), 200U);
}

TEST(ConfigFile, GrowsFourfoldBelow64SlotsAndTwofoldFromThere) {
  const struct {
    int size, entries, want;
  } rows[] = {{16, 16, 16}, {16, 17, 64}, {16, 65, 128}, {16, 129, 256},
              {0, 0, 0},    {0, 1, 64},   {1, 2, 4},     {63, 64, 252}};
  for (const auto& row : rows) {
    ConfigFile table(nullptr, nullptr, row.size);
    for (int i = 0; i < row.entries; ++i) table.setParam(std::to_string(1000 + i).c_str(), i);
    EXPECT_EQ(table.size, row.want) << row.size << " slots, " << row.entries << " entries";
    for (int i = 0; i < table.size; ++i)
      EXPECT_EQ(shown(table.getValueAt(i)), i < row.entries ? std::to_string(i) : "-") << i;
    table.empty();
    EXPECT_EQ(table.size, row.want) << "the slots stay";
    EXPECT_EQ(table.param, 0);
  }
  EXPECT_THROW(ConfigFile(nullptr, nullptr, -1), std::bad_array_new_length);
}

TEST(ConfigFile, TakesNamedEntriesAndSetsChangedWithThem) {
  const struct {
    const char *name, *value;
    bool copy, allow_empty;
    int type;
    bool want;
    const char *left, *why;
  } rows[] = {{nullptr, "x", true, true, 1, false, "b=1", "no name"},
              {"", "x", true, false, 1, false, "b=1", "an empty name"},
              {"", "x", true, true, 1, true, "b=1 =x", "an empty name, allowed"},
              {"b", nullptr, true, false, 1, true, "b=1", "replaced by null: changed is set still"},
              {"c", nullptr, true, false, 6, true, "b=1 c=", "a copy of null is an empty text"},
              {"c", nullptr, false, false, 1, true, "b=1 c=", "and so is an adopted null"}};
  for (const auto& row : rows) {
    ConfigFile table(nullptr, nullptr, 16);
    table.setParam("b", 1);
    table.changed = false;
    EXPECT_EQ(table.setParam(row.name, row.value, row.copy, row.type, row.allow_empty), row.want);
    EXPECT_EQ(table.changed, row.want) << row.why;
    EXPECT_EQ(contents(table), row.left) << row.why;
    table.changed = false;
    table.deleteParam(row.want ? "absent" : row.name, nullptr);
    EXPECT_EQ(table.changed, row.want) << row.why;
    EXPECT_EQ(table.getIndex(nullptr, nullptr), -1);
    EXPECT_EQ(table.getNameAt(-1), table.getValueAt(-1));
  }
}

// A value of the type, for the table to adopt.
char* valueOf(int type) {
  if (type == kLongIntegerValue) return reinterpret_cast<char*>(7);
  if (type != kConfigFileValue && type != kListFileValue) return newString("7");
  auto* list = new ListFile(nullptr, "file");
  list->addElement("element", true, false);
  if (type == kListFileValue) return reinterpret_cast<char*>(list);
  auto* table = new ConfigFile(nullptr, nullptr, 1);
  table->multi_type = true;
  table->setParam("inner", reinterpret_cast<char*>(list), false, kListFileValue, false);
  return reinterpret_cast<char*>(table);
}

TEST(ConfigFile, EveryTypeIsReleasedWhenReplacedDeletedEmptiedOrCopied) {
  const char* const seen[] = {"7", "ConfigFile", "7", "Long Integer", "ListFile", "7"};
  for (int before = kTextValue; before <= kJsonValue; ++before)
    for (int after = kTextValue; after <= kJsonValue; ++after) {
      SCOPED_TRACE(std::to_string(before) + " replaced by " + std::to_string(after));
      ConfigFile table(nullptr, nullptr, 2);
      table.multi_type = true;
      table.setParam("x", valueOf(before), false, before, false);
      table.setParam("x", valueOf(after), false, after, false);
      table.setParam("y", valueOf(before), false, before, false);
      EXPECT_STREQ(table.getValue("x"), seen[after - 1]);
      ConfigFile copy(nullptr, &table);
      table.deleteParam("y", nullptr);
      EXPECT_EQ(table.getValueAt(1), nullptr);
      EXPECT_EQ(table.get_type_at(1), kTextValue);
      table.empty();
      EXPECT_EQ(table.get_type_at(0), kTextValue);
      EXPECT_EQ(copy.get_type_at(0), after);
      char* copied = copy.getValueAt(0);
      if (after == kConfigFileValue)
        EXPECT_STREQ(reinterpret_cast<ConfigFile*>(copied)->getValue("inner"), "ListFile");
      else if (after == kListFileValue)
        EXPECT_EQ(reinterpret_cast<ListFile*>(copied)->getIndex("element", false), 0);
      else
        EXPECT_EQ(shown(copied), after == kLongIntegerValue ? "-" : "7");
    }
}

TEST(ConfigFile, NumberTextsCompareAsNumbersAndIntegersAsSuch) {
  ConfigFile table(nullptr, nullptr, 16);
  table.multi_type = table.duplicate = true;
  for (const char* value : {"10", "9", "009"})
    table.setParam("n", value, true, kNumberTextValue, false);
  EXPECT_EQ(contents(table), "n=009 n=10") << "009 took the place of 9";
  for (long value : {9, 8})
    table.setParam("w", reinterpret_cast<char*>(value), false, kLongIntegerValue, false);
  EXPECT_EQ(table.getIndex("w", reinterpret_cast<char*>(8)), 2);
  table.wait_to_sort = true;
  EXPECT_EQ(table.getIndex("n", "010"), 1);
  EXPECT_EQ(table.getIndex("w", reinterpret_cast<char*>(8)), -1) << "never found by a scan";
}

TEST(ConfigFile, ACopyTakesSomeSettingsAndTheEntriesAsTheyStand) {
  ConfigFile table(nullptr, nullptr, 2);
  table.char_case = table.lockit = false;
  table.duplicate = table.no_overwrite = table.insert_read = table.skip_safety_check = true;
  table.sort_type = 2;
  table.separator = ':';
  table.caller_location = newString("here");
  table.set_group(newString("mail"));
  table.set_permission(0640);
  for (const char* name : {"a", "ccc", "bb"}) table.setParam(name, 1);
  ConfigFile copy(nullptr, &table);
  EXPECT_EQ(contents(copy), "ccc=1 bb=1 a=1");
  EXPECT_EQ(copy.size, 8);
  EXPECT_TRUE(copy.char_case && copy.duplicate && !copy.lockit && !copy.changed);
  EXPECT_FALSE(copy.no_overwrite || copy.insert_read || copy.skip_safety_check || copy.sort_type);
  EXPECT_TRUE(copy.separator == ':' && copy.get_permission() == 0640);
  EXPECT_EQ(shown(copy.caller_location) + shown(copy.get_user()) + shown(copy.get_group()),
            "herenobodymail");
  EXPECT_EQ(shown(copy.get_filename()) + shown(copy.get_comments()), "") << "empty texts, not null";
  copy.setParam("b", 1);
  EXPECT_EQ(contents(copy), "a=1 b=1 bb=1 ccc=1") << "the copy orders by name";
  Logging log;
  log.debug_level = 2500;
  testing::internal::CaptureStdout();
  EXPECT_EQ(ConfigFile(&log, static_cast<ConfigFile*>(nullptr)).size, 16);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "ConfigFile::ConfigFile(ConfigFile *cf): cf=NULL.\n");
}

TEST(ConfigFile, FileAttributesAreAdoptedAndTheOldOnesAreTheCallers) {
  ConfigFile table(nullptr, "settings", 1);
  const OwnedText old(table.get_filename());
  table.set_filename(newString("other"));
  EXPECT_EQ(shown(old.get()) + shown(table.get_filename()), "settingsother");
  table.delete_file_info();
  EXPECT_EQ(table.get_user(), nullptr);
  EXPECT_EQ(table.get_permission(), 0U);
  table.set_comments(newString("kept"));
  EXPECT_TRUE(table.file_info->use_defaults && table.file_info->file_separator == '=');
}

TEST(ConfigFile, AMovedEntryIsATextAndItsOldSlotKeepsTheCode) {
  Logging log;
  log.debug_level = 10;
  ConfigFile table(&log, nullptr, 8);
  table.multi_type = table.wait_to_sort = true;
  for (const char* name : {"a", "b", "c"}) table.setParam(name, valueOf(5), false, 5, false);
  testing::internal::CaptureStdout();
  EXPECT_FALSE(table.move_params(1, 1) || table.move_params(0, 1) || table.move_params(5, 6));
  EXPECT_TRUE(table.move_params(1, 7));
  table.shift_down_from(0);
  EXPECT_EQ(table.getNameAt(1), nullptr) << "slot 0 has a name: nothing to close";
  table.shift_down_from(1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "ConfigFile::move_params:from=1 to=1: from matches to: ABORT\n"
            "ConfigFile::move_params:from=0 to=1: to already exists: ABORT\n"
            "ConfigFile::move_params:from=5 to=6: from does not exists: ABORT\n");
  std::string slots;
  for (int i = 0; i < 8; ++i)
    slots += shown(table.getNameAt(i)) + std::to_string(table.get_type_at(i));
  EXPECT_EQ(slots, "a5c1b1-1-1-1-1-1") << "the slots left had been moved to, or have no type yet";
  EXPECT_TRUE(table.move_params(0, 3));
  EXPECT_EQ(table.get_type_at(0), kListFileValue);
}

// The order of names, told in another way than the table does.
struct NameOrder {
  bool operator()(const std::string& a, const std::string& b) const {
    const auto key = [](const std::string& s) {
      return std::vector<signed char>(s.begin(), s.end());
    };
    return a.empty() || b.empty() ? !a.empty() : key(a) < key(b);
  }
};

TEST(ConfigFile, AgreesWithAMapThroughRandomChanges) {
  std::mt19937 random(20240307);
  const auto name = [&random] {
    std::string text = random() % 3 ? "" : "12345678";
    for (auto i = random() % 6; i > 0; --i) text += "aB\x80\xff\x7f~"[random() % 6];
    return text;
  };
  ConfigFile table(nullptr, nullptr, 16);
  std::map<std::string, std::string, NameOrder> map;
  for (int step = 0; step < 20000; ++step) {
    if (step % 3000 == 0) table.gather(step % 6000 == 0);
    const std::string key = name(), asked = name();
    if (const auto what = random() % 400; what < 320) {
      map[key] = std::to_string(step);
      table.setParam(key.c_str(), map[key].c_str(), true, kTextValue, true);
    } else if (what < 398) {
      table.deleteParam(key.c_str(), nullptr);
      if (!key.empty()) map.erase(key);
    } else {
      ListFile gone(nullptr, "file");
      gone.addElement("absent", true, false);
      for (const auto& entry : map)
        if (random() % 2) gone.addElement(entry.first.c_str(), true, false);
      for (int i = 0; i < gone.count; ++i) map.erase(static_cast<char*>(gone.elements[i]));
      table.deleteParams(&gone);
    }
    const char* found = table.getValue(asked.c_str());
    ASSERT_EQ(shown(found), map.count(asked) ? map[asked] : "-") << "step " << step;
    if (step % 1500 != 1499) continue;
    std::string want;
    for (const auto& [n, v] : map) want += (want.empty() ? "" : " ") + n + "=" + v;
    ASSERT_EQ(contents(table), want) << "step " << step;
  }
}

}  // namespace
