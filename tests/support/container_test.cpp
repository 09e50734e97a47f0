// Typed values: what they own, how they are copied and compared.
#include "support/container.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "support/configfile.h"
#include "support/listfile.h"

namespace {

using Owned = std::unique_ptr<Container>;

Owned text(const char* s) {
  return std::make_unique<Container>(s, 1);
}

Owned json() {
  Owned made = text("{}");
  made->type = Container::kJson;
  return made;
}

Owned table(int entries) {
  ConfigFile source(nullptr, nullptr, 4);
  for (int i = 0; i < entries; ++i) source.setParam(std::to_string(i).c_str(), i);
  Owned made = text("");
  made->set_cf(nullptr, &source, true);
  return made;
}

Owned list(int elements) {
  ListFile source(nullptr, "file");
  for (int i = 0; i < elements; ++i) source.addElement(std::to_string(i).c_str(), true, false);
  Owned made = text("");
  made->set_lf(nullptr, &source, true);
  return made;
}

Owned number(int type, double value) {
  Owned made = text("");
  auto* whole = new long long(std::isnan(value) ? 0 : static_cast<long long>(value));
  made->set_ll(whole, false);
  if (type == Container::kLongLong) return made;
  made->delete_data();
  made->type = type;
  if (type == Container::kInteger)
    made->data.i = static_cast<int>(value);
  else
    made->data.d = value;
  return made;
}

// The row against the column. Kinds order by their codes, and numbers by value; a JSON text on the
// right counts as a null text.
TEST(Container, EveryKindComparesWithEveryKind) {
  const char* const names[] = {"text", "table", "int", "long long", "list", "JSON", "double"};
  Owned kinds[] = {text("a"), table(1), number(3, 2), number(4, 2), list(1), json(), number(7, 2)};
  const char* const want[] = {
      "=<<<<<<",  // text
      ">=<<<><",  // table
      ">>==<>=",  // int
      ">>==<>=",  // long long
      ">>>>=><",  // list
      ">>>>>=<",  // JSON
      ">>==>>=",  // double
  };
  for (int i = 0; i < 7; ++i)
    for (int j = 0; j < 7; ++j)
      EXPECT_EQ(kinds[i]->comp(nullptr, kinds[j].get(), true), want[i][j] - '=')
          << names[i] << " against " << names[j];
  EXPECT_EQ(kinds[5]->comp(nullptr, json().get(), true), 1) << "another JSON text";
  EXPECT_EQ(kinds[0]->comp(nullptr, nullptr, true), 1);
}

TEST(Container, EqualKindsCompareByValueOrSize) {
  const struct {
    const char* what;
    Owned less, more;
  } rows[] = {
      {"case", text("A"), text("a")},
      {"tables", table(1), table(2)},
      {"lists", list(1), list(2)},
      {"ints", number(3, -1), number(3, 1)},
      {"int, long long", number(3, 2147483647), number(4, 4294967295)},
      {"long longs", number(4, -4294967295), number(4, 1)},
      {"doubles", number(7, 2.5), number(7, 2.75)},
      {"a NaN on the left", number(7, 9), number(7, NAN)},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.more->comp(nullptr, row.less.get(), true), 1) << row.what;
    const int other_way = row.less->comp(nullptr, row.more.get(), true);
    EXPECT_EQ(other_way, std::isnan(row.more->data.d) && row.more->type == 7 ? 1 : -1) << row.what;
  }
  EXPECT_EQ(text("A")->comp(nullptr, text("a").get(), false), 0) << "without regard to case";
}

TEST(Container, ACopyIsDeepAndSettingNullChangesNothing) {
  const Owned originals[] = {text("a"), table(2), number(3, 7),  number(4, -5),
                             list(2),   json(),   number(7, 2.5)};
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
  }
}

}  // namespace
