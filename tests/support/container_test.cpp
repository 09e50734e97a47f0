// Typed values: what they own, how they are copied and compared.
#include "support/container.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/configfile.h"
#include "support/listfile.h"
#include "support/logging.h"

namespace {

// A letter for the kind and the value: a text, a number, or how many entries there are.
std::unique_ptr<Container> made(const std::string& what) {
  auto made = std::make_unique<Container>(what.c_str() + (what.size() > 1), 1);
  const double number = atof(made->data.s->buffer);
  auto whole = static_cast<long long>(number);
  if (what[0] == 'j') made->type = Container::kJson;
  if (what[0] == 't') made->set_cf(nullptr, new ConfigFile(nullptr, nullptr, 4), false);
  if (what[0] == 'f') made->set_lf(nullptr, new ListFile(nullptr, "file"), false);
  for (int i = 0; i < number && what[0] == 't'; ++i)
    made->data.cf->setParam(std::to_string(i).c_str(), i);
  for (int i = 0; i < number && what[0] == 'f'; ++i)
    made->data.lf->addElement(std::to_string(i).c_str(), true, false);
  if (what[0] == 'l') made->set_ll(&whole, true);
  if (what[0] != 'i' && what[0] != 'd' && what[0] != '-') return made;
  made->delete_data();
  made->type = what[0] == 'i' ? Container::kInteger : what[0] == 'd' ? Container::kDouble : 0;
  if (what[0] == 'i') made->data.i = static_cast<int>(whole);
  if (what[0] == 'd') made->data.d = number;
  return made;
}

// Chains that ascend from left to right; equal ones are joined by '='.
TEST(Container, ComparesByKindAndNumbersByValue) {
  for (const char* chain :
       {"s\xff sA sa t9 i-1 l0 f0 f1 f2", "t0 t1=t1 t2 i0 f9",
        "sz i-1=d-1=l-1 d-0.5 l0 d2.5 i3=d3=l3=i3 l4294967295 d5e9", "f9 d0 d1"}) {
    std::vector<std::pair<std::string, int>> kinds;
    std::istringstream groups(chain);
    int rank = 0;
    for (std::string group, word; groups >> group; ++rank)
      for (std::istringstream words(group); std::getline(words, word, '=');)
        kinds.emplace_back(word, rank);
    for (const auto& [a, place_a] : kinds)
      for (const auto& [b, place_b] : kinds)
        EXPECT_EQ(made(a)->comp(nullptr, made(b).get(), true),
                  (place_a > place_b) - (place_a < place_b))
            << a << " " << b;
  }
  const struct {
    const char *a, *b;
    bool respect_case;
    int want;
    const char* why;
  } rows[] = {{"sA", "sa", false, 0, "any case"},
              {"sx", "jx", true, -1, "a text before JSON"},
              {"d1", "dnan", true, 1, "a NaN is greater"},
              {"dnan", "d1", true, 1, "both ways"},
              {"j", "j", true, 1, "JSON on the right is a null text"},
              {"j", "i1", true, 1, "the higher code"},
              {"-", "s", true, -1, "no type"}};
  for (const auto& row : rows)
    EXPECT_EQ(made(row.a)->comp(nullptr, made(row.b).get(), row.respect_case), row.want) << row.why;
  const auto json = made("j");
  EXPECT_EQ(json->comp(nullptr, json.get(), true), 0) << "itself";
  EXPECT_EQ(json->comp(nullptr, nullptr, true), 1) << "null";
  Logging log;
  testing::internal::CaptureStdout();
  made("sx")->comp(&log, made("-").get(), true);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Container::comp: b has unknown type: this.type=1 b.type=0\n");
  int two[2];
  EXPECT_EQ(Container::comp_void(nullptr, nullptr), 0);
  EXPECT_EQ(Container::comp_void(two, nullptr), -1);
  EXPECT_EQ(Container::comp_void(nullptr, two), 1);
  EXPECT_EQ(Container::comp_void(two, two + 1), -1);
}

TEST(Container, ACopyIsDeepAndOfTheSameKind) {
  for (const char* what : {"stext", "jtext", "t2", "f2", "l-5", "i7", "d2.5"}) {
    const auto original = made(what);
    Container copy(nullptr, original.get());
    EXPECT_EQ(copy.type, original->type) << what;
    EXPECT_EQ(copy.data.pointer == original->data.pointer, Container::local_data(copy.type))
        << what;
    copy.type = original->type = what[0] == 'j' ? Container::kString : copy.type;
    EXPECT_EQ(copy.comp(nullptr, original.get(), true), 0) << what;
  }
  Logging log;
  log.debug_level = 10;
  testing::internal::CaptureStdout();
  EXPECT_EQ(Container(&log, made("-").get()).type, Container::kNone);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Container::copy contructor: c_t is NULL or has no type\n");
}

TEST(Container, SettingNullChangesNothingAndWithoutCopyThePointerIsAdopted) {
  char* text = newString("adopted");
  Container element(text, 0);
  EXPECT_EQ(element.data.s->buffer, text);
  EXPECT_FALSE(element.set_s(nullptr, true) || element.set_cf(nullptr, nullptr, true) ||
               element.set_lf(nullptr, nullptr, false) || element.set_ll(nullptr, false));
  EXPECT_STREQ(element.data.s->buffer, "adopted");
  auto* number = new long long(1);
  EXPECT_TRUE(element.set_ll(number, false));
  EXPECT_EQ(element.data.ll, number);
  EXPECT_TRUE(element.set_ll(element.data.ll, true)) << "itself";
  EXPECT_EQ(*element.data.ll, 1);
}

}  // namespace
