// What the table owns and says. Its order, and the fields that it depends on, are the business of
// the fuzz target `tables`. The leak checker sees what is not released.
#include "support/configfile.h"

#include <gtest/gtest.h>

#include <new>
#include <string>

#include "support/cv_string.h"
#include "support/listfile.h"

namespace {

TEST(ConfigFile, ANewTableHasTheseFields) {
  Logging to;
  ConfigFile table(&to, nullptr, 16);
  EXPECT_STREQ(table.get_user(), "nobody");
  EXPECT_EQ(table.get_filename(), nullptr);
  EXPECT_EQ(table.get_group(), nullptr);
  EXPECT_EQ(table.get_permission(), 0U);
  EXPECT_TRUE(table.file_info->use_defaults);
  EXPECT_EQ(table.file_info->file_separator, '=');
  table.changed = table.no_overwrite = table.insert_read = table.skip_safety_check = true;
  table.multi_type = table.duplicate = true;
  table.delete_file_info();
  delString(table.result);
  table.init();  // sets them again, whatever they were
  EXPECT_EQ(table.logging, &to);
  EXPECT_STREQ(table.result, "");
  EXPECT_EQ(table.separator, '=');
  EXPECT_EQ(table.sep_afterseparator, 0);
  EXPECT_EQ(table.sep_after_ch, 0);
  EXPECT_FALSE(table.changed);
  EXPECT_FALSE(table.no_overwrite);
  EXPECT_FALSE(table.insert_read);
  EXPECT_FALSE(table.skip_safety_check);
  EXPECT_TRUE(table.lockit);
  EXPECT_FALSE(table.multi_type);
  EXPECT_FALSE(table.duplicate);
  EXPECT_EQ(table.getNameAt(-1), nullptr);
  EXPECT_THROW(ConfigFile(nullptr, nullptr, -1), std::bad_array_new_length);
  ConfigFile of_none(nullptr, static_cast<ConfigFile*>(nullptr)), of_no_slots(nullptr, "file", 0);
  EXPECT_EQ(of_none.size, 16);
  EXPECT_STREQ(of_none.get_user(), "nobody");
  for (int i = 0; i < 65; ++i) of_no_slots.setParam(std::to_string(i).c_str(), i);
  EXPECT_EQ(of_no_slots.size, 128);
  for (const int named : {0, 1}) EXPECT_FALSE(of_no_slots.move_params(0, named)) << "there is one";
  EXPECT_FALSE(of_no_slots.move_params(127, 126)) << "there is none";
  EXPECT_STREQ(of_no_slots.getNameAt(0), "0");
  of_none.delete_file_info();  // once more at its end
}

// A value of the type, for the table to adopt.
char* valueOf(int type) {
  if (type == ConfigFile::kLongInteger) return reinterpret_cast<char*>(7);
  if (type == ConfigFile::kListFile) return reinterpret_cast<char*>(new ListFile(nullptr, "file"));
  if (type != ConfigFile::kConfigFile) return newString("7");
  auto* table = new ConfigFile(nullptr, nullptr, 1);
  table->multi_type = true;
  table->setParam("inner", valueOf(ConfigFile::kListFile), false, ConfigFile::kListFile, false);
  return reinterpret_cast<char*>(table);
}

TEST(ConfigFile, EveryTypeIsReleasedWhenReplacedDeletedEmptiedOrCopied) {
  const char* const seen[] = {"7", "ConfigFile", "7", "Long Integer", "ListFile", "7"};
  for (int before = ConfigFile::kText; before <= ConfigFile::kJson; ++before)
    for (int after = ConfigFile::kText; after <= ConfigFile::kJson; ++after)
      for (const bool multi : {true, false}) {
        ConfigFile table(nullptr, nullptr, 2);
        table.multi_type = multi;
        table.setParam("x", valueOf(before), false, before, false);
        table.setParam("x", valueOf(after), false, after, false);
        table.setParam("y", valueOf(before), false, before, false);
        if (multi) {
          EXPECT_STREQ(table.getValue("x"), seen[after - 1]) << before;
        }
        EXPECT_EQ(table.get_type_at(0), multi ? after : ConfigFile::kText);
        ConfigFile copy(nullptr, &table);
        EXPECT_EQ(copy.getValueAt(0) == nullptr, after == ConfigFile::kLongInteger) << after;
        table.deleteParam("y", nullptr);
        table.wait_to_sort = true;
        table.setParam("z", valueOf(after), false, after, false);
        table.deleteParam("x", nullptr);  // moves the other up
        ConfigFile moved(nullptr, &table);
        EXPECT_STREQ(moved.getNameAt(0), "z");
        EXPECT_EQ(moved.getNameAt(1), nullptr);
        table.changed = false;
        table.empty();
        EXPECT_TRUE(table.changed);
        EXPECT_EQ(table.getNameAt(0), nullptr);
      }
}

TEST(ConfigFile, ACopyTakesSomeSettingsAndLeavesOthers) {
  ConfigFile table(nullptr, nullptr, 2);
  table.duplicate = table.no_overwrite = table.multi_type = true;
  table.char_case = table.lockit = false;
  table.sort_type = 2;
  table.separator = ':';
  table.caller_location = newString("here");
  table.set_group(newString("mail"));
  table.set_permission(0640);
  table.setParam("a", 1);
  const ConfigFile copy(nullptr, &table);
  EXPECT_TRUE(copy.duplicate);
  EXPECT_TRUE(copy.multi_type);
  EXPECT_FALSE(copy.lockit);
  EXPECT_TRUE(copy.char_case);
  EXPECT_FALSE(copy.no_overwrite);
  EXPECT_EQ(copy.sort_type, 0);
  EXPECT_FALSE(copy.changed);
  EXPECT_EQ(copy.separator, ':');
  EXPECT_STREQ(copy.caller_location, "here");
  EXPECT_STREQ(copy.get_user(), "nobody");
  EXPECT_STREQ(copy.get_group(), "mail");
  EXPECT_EQ(copy.get_permission(), 0640U);
  EXPECT_STREQ(copy.get_filename(), "");
  EXPECT_STREQ(copy.get_comments(), "");
}

}  // namespace
