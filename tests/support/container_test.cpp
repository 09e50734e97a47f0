// Typed values: what they own, how they are copied and compared.
#include "support/container.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "support/configfile.h"
#include "support/listfile.h"

namespace {

// A letter for the kind and the value: a text, a number, or how many entries there are.
std::unique_ptr<Container> made(const std::string& what) {
  auto made = std::make_unique<Container>(what.c_str() + 1, 1);
  const double number = atof(what.c_str() + 1);
  ConfigFile table(nullptr, nullptr, 4);
  ListFile list(nullptr, "file");
  for (int i = 0; i < number && i < 9; ++i) table.setParam(std::to_string(i).c_str(), i);
  for (int i = 0; i < table.param; ++i) list.addElement(table.getNameAt(i), true, false);
  if (what[0] == 'j') made->type = Container::kJson;
  if (what[0] == 't') made->set_cf(nullptr, &table, true);
  if (what[0] == 'f') made->set_lf(nullptr, &list, true);
  if (what[0] == 'l') made->set_ll(new long long(atoll(what.c_str() + 1)), false);
  if (what[0] != 'i' && what[0] != 'd') return made;
  made->delete_data();
  made->type = what[0] == 'i' ? Container::kInteger : Container::kDouble;
  what[0] == 'i' ? void(made->data.i = atoi(what.c_str() + 1)) : void(made->data.d = number);
  return made;
}

// Each word is a comparison: the kinds order by their codes, numbers by value, a NaN is greater.
TEST(Container, ComparesByKindAndNumbersByValue) {
  std::istringstream words(
      "s\xff<sA sA<sa sa<t9 t9<i-1 l0<f0 f1=f1 t1=t1 t1<t2 t1<f0 f1<f2 sz<i-1 i-1=d-1 d-1=l-1 "
      "l-1=i-1 l-1<d-0.5 d2.5<i3 i3=d3 d3=l3 l3=i3 i3<l4294967295 f9<d0 d1>dnan dnan>d1 j>j j>i1");
  for (std::string word; words >> word;) {
    const size_t sign = word.find_first_of("<=>");
    const auto a = made(word.substr(0, sign)), b = made(word.substr(sign + 1));
    EXPECT_EQ(a->comp(nullptr, b.get(), true), word[sign] - '=') << word;
  }
}

TEST(Container, PointersCompareByAddressAndNullIsLess) {
  int two[2];
  void* const ascending[] = {nullptr, two, two + 1};
  for (const int i : {0, 1, 2})
    for (const int j : {0, 1, 2})
      EXPECT_EQ(Container::comp_void(ascending[i], ascending[j]), (i > j) - (i < j)) << i << j;
}

TEST(Container, ACopyIsDeepAndSettingNullChangesNothing) {
  for (const char* what : {"stext", "jtext", "t2", "f2", "l-5", "i7", "d2.5"}) {
    const auto original = made(what);
    Container copy(nullptr, original.get());
    EXPECT_FALSE(copy.set_s(nullptr, true) || copy.set_cf(nullptr, nullptr, true) ||
                 copy.set_lf(nullptr, nullptr, false) || copy.set_ll(nullptr, false));
    EXPECT_EQ(copy.type, original->type) << what;
    EXPECT_EQ(copy.data.pointer == original->data.pointer, Container::local_data(copy.type));
    if (what[0] == 'j') copy.type = original->type = Container::kString;
    EXPECT_EQ(copy.comp(nullptr, original.get(), true), 0) << what;
  }
}

}  // namespace
