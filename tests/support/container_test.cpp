// Typed values: what they own, how they are copied and compared.
#include "support/container.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/configfile.h"
#include "support/listfile.h"
#include "support/text_helpers.h"

namespace {

using Owned = std::unique_ptr<Container>;

Owned text(const char* s) {
  return std::make_unique<Container>(s, 1);
}

Owned table(int entries) {
  ConfigFile source(nullptr, nullptr, 4);
  for (int i = 0; i < entries; ++i) source.setParam(std::to_string(i).c_str(), i);
  Owned made = text("");
  EXPECT_TRUE(made->set_cf(nullptr, &source, true));
  return made;
}

Owned list(int elements) {
  ListFile source(nullptr, "file");
  for (int i = 0; i < elements; ++i) source.addElement(std::to_string(i).c_str(), true, false);
  Owned made = text("");
  EXPECT_TRUE(made->set_lf(nullptr, &source, true));
  return made;
}

Owned value(int type, Container::Data data) {
  Owned made = text("");
  made->delete_data();
  made->type = type;
  made->data = data;
  return made;
}

Owned json() {
  return value(Container::kJson, {.s = new String(1, nullptr)});
}

// The row against the column. Kinds order by their codes, and numbers by value; a JSON text on the
// right counts as a null text.
TEST(Container, EveryKindComparesWithEveryKind) {
  std::pair<const char*, Owned> kinds[] = {
      {"text A", text("A")},
      {"text a", text("a")},
      {"table 1", table(1)},
      {"table 2", table(2)},
      {"int -1", value(3, {.i = -1})},
      {"int 2", value(3, {.i = 2})},
      {"long 2", value(4, {.ll = new long long(2)})},
      {"long 2^32", value(4, {.ll = new long long(1LL << 32)})},
      {"list 1", list(1)},
      {"list 2", list(2)},
      {"JSON", json()},
      {"1.5", value(7, {.d = 1.5})}};
  const char* const want[] = {
      "=<<<<<<<<<<<", ">=<<<<<<<<<<", ">>=<<<<<<<><", ">>>=<<<<<<><",
      ">>>>=<<<<<><", ">>>>>==<<<>>", ">>>>>==<<<>>", ">>>>>>>=<<>>",
      ">>>>>>>>=<><", ">>>>>>>>>=><", ">>>>>>>>>>=<", ">>>>><<<>>>=",
  };
  for (int i = 0; i < 12; ++i)
    for (int j = 0; j < 12; ++j)
      EXPECT_EQ(kinds[i].second->comp(nullptr, kinds[j].second.get(), true), want[i][j] - '=')
          << kinds[i].first << " against " << kinds[j].first;
  EXPECT_EQ(kinds[10].second->comp(nullptr, json().get(), true), 1) << "another JSON text";
  EXPECT_EQ(kinds[0].second->comp(nullptr, nullptr, true), 1);
  EXPECT_EQ(kinds[0].second->comp(nullptr, kinds[1].second.get(), false), 0)
      << "without regard to case";
  void* addresses[] = {nullptr, &kinds[0], &kinds[1]};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      EXPECT_EQ(Container::comp_void(addresses[i], addresses[j]), i < j ? -1 : i > j);
}

TEST(Container, EveryTypeHasItsName) {
  std::string names;
  for (int type = -1; type < 10; ++type)
    names += std::string(printable(Container::get_type_str(type))) + ", ";
  EXPECT_EQ(names,
            "(null), (null), String, ConfigFile, Integer, Long Long, ListFile, JSON, Double, "
            "Container, (null), ");
}

TEST(Container, ACopyIsDeepAndSettingNullChangesNothing) {
  const Owned originals[] = {
      text("a"), table(2), value(3, {.i = 7}),  value(4, {.ll = new long long(-5)}),
      list(2),   json(),   value(7, {.d = 2.5})};
  for (const Owned& original : originals) {
    Container copy(nullptr, original.get());
    EXPECT_FALSE(copy.set_s(nullptr, true));
    EXPECT_FALSE(copy.set_cf(nullptr, nullptr, true));
    EXPECT_FALSE(copy.set_lf(nullptr, nullptr, false));
    EXPECT_FALSE(copy.set_ll(nullptr, false));
    EXPECT_EQ(copy.type, original->type);
    const bool same_word = copy.data.pointer == original->data.pointer;
    EXPECT_EQ(same_word, Container::local_data(copy.type)) << copy.type;
    if (copy.type == Container::kJson) copy.type = original->type = Container::kString;
    EXPECT_EQ(copy.comp(nullptr, original.get(), true), 0) << copy.type;
    EXPECT_TRUE(copy.set_ll(new long long(1), false));
    EXPECT_EQ(*copy.data.ll, 1);
    copy.delete_data();
    EXPECT_EQ(copy.data.pointer, nullptr);
  }
}

}  // namespace
