#include "bytes/json_text.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string_view>

namespace {

using commutil::skipJsonSpace;

bool parses(const Json::CharReaderBuilder& builder, std::string_view text) {
  Json::Value root;
  return commutil::parseJson(builder, text, root, nullptr);
}

struct Space {
  const char* text;
  std::size_t end;  ///< where comments are allowed
  std::size_t withoutComments;
};

TEST(JsonSpace, EndsAtTheFirstOtherByte) {
  for (const Space& row :
       {Space{"", 0, 0}, Space{" \t\r\nx", 4, 4}, Space{"\v", 0, 0}, Space{" // c\n x", 7, 1},
        Space{" // c", 5, 1}, Space{" /* c */x", 8, 1}, Space{"/* c", 0, 0}, Space{"/*/", 0, 0},
        Space{"/**/ ", 5, 0}, Space{"/x", 0, 0}, Space{"/* a */ // b\n{", 13, 0}}) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.end, skipJsonSpace(row.text, 0, true));
    EXPECT_EQ(row.withoutComments, skipJsonSpace(row.text, 0, false));
  }
  EXPECT_EQ(3U, skipJsonSpace("{} ", 2, false));
}

TEST(JsonRules, DifferInComments) {
  EXPECT_TRUE(parses(commutil::lenientJson(), "{} // c"));
  EXPECT_FALSE(parses(commutil::strictJson(), "// c\n{}"));
  for (const auto& builder : {commutil::lenientJson(), commutil::strictJson()}) {
    EXPECT_TRUE(parses(builder, R"({"a": 1, "a": 2})"));
    EXPECT_FALSE(parses(builder, R"({"a": 1,})"));
    EXPECT_FALSE(parses(builder, "{} {}"));
  }
}

}  // namespace
