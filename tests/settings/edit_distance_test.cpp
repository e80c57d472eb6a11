// The distance between names.
#include "settings/edit_distance.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using settings::editDistance;
using settings::nearest;

TEST(EditDistance, CountsEdits) {
  const struct {
    std::string a;
    std::string b;
    std::size_t distance;
  } rows[] = {{"", "", 0},       {"", "abc", 3},          {"abc", "abc", 0}, {"ABC", "abc", 0},
              {"abc", "abd", 1}, {"abc", "ac", 1},        {"abc", "acb", 1}, {"abc", "xabc", 1},
              {"abc", "cba", 2}, {"kitten", "sitting", 3}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.a + " " + row.b);
    EXPECT_EQ(row.distance, editDistance(row.a, row.b));
    EXPECT_EQ(row.distance, editDistance(row.b, row.a));
  }
}

TEST(EditDistance, FindsTheNearestName) {
  EXPECT_EQ("report", nearest("reprot", {"explain", "report", "check"}));
  EXPECT_EQ("enable", nearest("enabled", {"enable", "disable"}));
  EXPECT_EQ("first", nearest("Firs", {"first", "fist"}));
  EXPECT_EQ("", nearest("xyz", {"enable", "disable"}));
  EXPECT_EQ("", nearest("", {"a"}));
  EXPECT_EQ("", nearest("enable", {}));
  EXPECT_EQ("", nearest(std::string(257, 'a'), {std::string_view("a")}));
}

}  // namespace
