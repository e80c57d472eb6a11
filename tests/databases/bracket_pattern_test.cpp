#include "bracket_pattern.h"

#include <gtest/gtest.h>

#include <string>

#include "VexaCommonUtils_i.h"
#include "database_checks.h"

namespace {

using commutil_test::BracketPattern;
using commutil_test::isFound;
using commutil_test::kModes;
using commutil_test::sampleTables;
using commutil_test::Table;

// Returns the string that the SQL literal `literal` denotes.
std::string valueOf(const std::string& literal) {
  EXPECT_TRUE(literal.size() >= 2 && literal.front() == '\'' && literal.back() == '\'') << literal;
  std::string value;
  for (std::size_t i = 1; i + 1 < literal.size(); ++i) {
    if (literal[i] == '\'') {
      EXPECT_EQ(literal.at(++i), '\'') << literal;
    }
    value += literal[i];
  }
  return value;
}

void expectFindsEqualRows(const Table& rows) {
  for (const std::string& text : rows) {
    for (const Vexacommon::FuzzyQueryMode mode : kModes) {
      const std::string operand = VexaCommonUtils_i::TransferLikeSql(text, mode);
      const BracketPattern pattern(valueOf(operand));
      for (const std::string& row : rows) {
        ASSERT_EQ(pattern.matches(row), isFound(row, text, mode)) << operand << " on " << row;
      }
    }
  }
}

struct PatternCase {
  const char* pattern;
  const char* text;
  bool isMatch;
};

TEST(BracketPattern, FollowsTheDialect) {
  const PatternCase cases[] = {
      {"", "", true},       {"", "a", false},      {"abc", "abc", true},   {"abc", "abd", false},
      {"a_c", "abc", true}, {"a_c", "ac", false},  {"%", "", true},        {"%c", "abc", true},
      {"a%", "abc", true},  {"%b%", "abc", true},  {"%b", "abc", false},   {"a%b%c", "abcbc", true},
      {"[b]", "b", true},   {"[b]", "c", false},   {"[^b]", "c", true},    {"[^b]", "b", false},
      {"[a-c]", "b", true}, {"[a-c]", "d", false}, {"[a-c]", "-", false},  {"[]]", "]", true},
      {"[[]", "[", true},   {"[%]", "%", true},    {"[%]", "a", false},    {"[_]", "a", false},
      {"a[", "a[", true},   {"]", "]", true},      {"[[][]]", "[]", true}, {"%[%]%", "a%b", true},
      {"%ab", "aab", true}, {"[-]", "-", true},    {"%[]]", "]]", true},
  };
  for (const PatternCase& each : cases) {
    EXPECT_EQ(BracketPattern(each.pattern).matches(each.text), each.isMatch)
        << each.pattern << " on " << each.text;
  }
}

TEST(BracketPattern, FindsEqualRows) {
  commutil_test::withDatabaseType("sybase", [] {
    for (const Table& rows : sampleTables()) {
      ASSERT_NO_FATAL_FAILURE(expectFindsEqualRows(rows));
    }
  });
}

}  // namespace
