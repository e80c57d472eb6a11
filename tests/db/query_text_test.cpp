#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"

namespace {

using namespace std::string_literals;
using commutil_test::allBytes;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;
using Vexacommon::FUZZY_QUERY_BOTH;
using Vexacommon::FUZZY_QUERY_LEFT;
using Vexacommon::FUZZY_QUERY_NONE;
using Vexacommon::FUZZY_QUERY_RIGHT;
using Vexacommon::FuzzyQueryMode;

constexpr const char* kClause = " escape '\\' ";

// Runs `body` in its own process with the database type `type`, the contents of a JSON string.
void withDatabase(const std::string& type, const std::function<void()>& body) {
  SCOPED_TRACE("database type " + type);
  const TempDir dir;
  const ScopedEnv conf("APP_CONF_FILE", dir.write("app.json", R"({"databases":{"db":[{"type":")" +
                                                                  type + R"("}]}})"));
  commutil_test::runInChild(body);
}

const std::vector<std::string> kOracleFamily = {"oracle",  "Oracle",  "ORACLE",
                                                "tessarn", "TESSARN", "TeSsArN"};
// The last ones only look similar.
const std::vector<std::string> kOtherTypes = {
    "sybase",  "mssql",    "",       "Sybase",   "oracl",        "oracle ",
    " oracle", "oracle10", "tessar", "tessarn1", "\\u0000oracle"};

// `text` with each byte of `special` written between `before` and `after`.
std::string wrapped(const std::string& text, const std::string& special, const std::string& before,
                    const std::string& after) {
  std::string result;
  for (const char byte : text) {
    const bool wrap = special.find(byte) != std::string::npos;
    result += wrap ? before + byte + after : std::string(1, byte);
  }
  return result;
}

struct EscapeCase {
  std::string text;
  std::string expected;
};

TEST(TransDBUpdateString, DoublesSingleQuotes) {
  const std::vector<EscapeCase> cases = {
      {"", ""},
      {"'", "''"},
      {"'''", "''''''"},
      {"it's", "it''s"},
      {"no quotes \"here\" `or` there", "no quotes \"here\" `or` there"},
      {"%_[]\\", "%_[]\\"},
      {"a\0'b"s, "a\0''b"s},
      {"\xE2\x80\x99", "\xE2\x80\x99"},
  };
  for (const EscapeCase& each : cases) {
    SCOPED_TRACE(each.text);
    EXPECT_EQ(VexaCommonUtils::transDBUpdateString(each.text), each.expected);
  }
}

TEST(TransDBUpdateString, LeavesEveryOtherByte) {
  const std::string bytes = allBytes();
  for (std::size_t shift = 0; shift < 40; ++shift) {
    SCOPED_TRACE(shift);
    const std::string text = std::string(shift, '.') + bytes;
    EXPECT_EQ(VexaCommonUtils::transDBUpdateString(text), wrapped(text, "'", "'", ""));
  }
}

TEST(TransDBUpdateString, NeverReadsTheType) {
  // A process keeps the first type that it reads.
  withDatabase("oracle", [] {
    VexaCommonUtils::transDBUpdateString("it's");
    VexaCommonUtils::transDBSearchString("");
    const ScopedEnv conf("APP_CONF_FILE", "/nonexistent");
    EXPECT_EQ(VexaCommonUtils::getDBType(), "sybase");
  });
}

TEST(TransDBSearchString, EscapesWithBackslashesForTheOracleFamily) {
  const std::vector<EscapeCase> cases = {
      {"", ""},
      {"plain", "plain"},
      {"\\%", "\\\\\\%"},
      {"%", "\\%"},
      {"_", "\\_"},
      {"\\", "\\\\"},
      {"\\_\\", "\\\\\\_\\\\"},
      {"100%_a\\b", "100\\%\\_a\\\\b"},
      {"[x]'", "[x]'"},
      {"%\0%"s, "\\%\0\\%"s},
  };
  for (const std::string& type : kOracleFamily) {
    withDatabase(type, [&cases] {
      for (const EscapeCase& each : cases) {
        EXPECT_EQ(VexaCommonUtils::transDBSearchString(each.text), each.expected);
      }
      EXPECT_EQ(VexaCommonUtils::transDBSearchString(allBytes()),
                wrapped(allBytes(), "%_\\", "\\", ""));
    });
  }
}

TEST(TransDBSearchString, WrapsInBracketsForAnyOtherType) {
  const std::vector<EscapeCase> cases = {
      {"", ""},     {"plain", "plain"}, {"[", "[[]"}, {"]", "[]]"},         {"%", "[%]"},
      {"_", "[_]"}, {"\\", "\\"},       {"'", "'"},   {"[%]", "[[][%][]]"}, {"_\0_"s, "[_]\0[_]"s},
  };
  for (const std::string& type : kOtherTypes) {
    withDatabase(type, [&cases] {
      for (const EscapeCase& each : cases) {
        EXPECT_EQ(VexaCommonUtils::transDBSearchString(each.text), each.expected);
      }
      EXPECT_EQ(VexaCommonUtils::transDBSearchString(allBytes()),
                wrapped(allBytes(), "%_[]", "[", "]"));
    });
  }
}

TEST(TransDBSearchString, ChangesEachPositionOfALongString) {
  for (const std::string type : {"oracle", "sybase"}) {
    withDatabase(type, [&type] {
      const bool oracle = type == "oracle";
      for (std::size_t at = 0; at < 70; ++at) {
        std::string text(70, 'x');
        text[at] = '%';
        EXPECT_EQ(VexaCommonUtils::transDBSearchString(text),
                  oracle ? wrapped(text, "%", "\\", "") : wrapped(text, "%", "[", "]"));
      }
    });
  }
}

TEST(GetEscapeString, IsTheClauseOfTheOracleFamilyOnly) {
  for (const std::string& type : kOracleFamily) {
    withDatabase(type, [] {
      EXPECT_EQ(VexaCommonUtils::getEscapeString(), kClause);
      EXPECT_EQ(VexaCommonUtils::getEscapeString().size(), 12U);
    });
  }
  for (const std::string& type : kOtherTypes) {
    withDatabase(type, [] { EXPECT_EQ(VexaCommonUtils::getEscapeString(), ""); });
  }
}

TEST(GetEscapeString, ComparesTheWholeTypeWhereSearchingEndsAtANul) {
  for (const std::string type : {"oracle\\u0000x", "Tessarn\\u0000"}) {
    withDatabase(type, [] {
      EXPECT_EQ(VexaCommonUtils::transDBSearchString("%["), "\\%[");
      EXPECT_EQ(VexaCommonUtils::getEscapeString(), "");
      EXPECT_EQ(VexaCommonUtils::TransferLikeSqlForSybAndMSSQL("'%"), "''\\%");
    });
  }
}

TEST(TransferLikeSqlForSybAndMSSQL, DependsOnTheType) {
  const std::string text = "a'b%c_d[e]f\\";
  for (const char* type : {"oracle", "Oracle", "ORACLE"}) {
    withDatabase(type, [&text] {
      EXPECT_EQ(VexaCommonUtils::TransferLikeSqlForSybAndMSSQL(text), text);
      EXPECT_EQ(VexaCommonUtils::TransferLikeSqlForSybAndMSSQL(""), "");
    });
  }
  for (const char* type : {"tessarn", "TESSARN"}) {
    withDatabase(type, [&text] {
      EXPECT_EQ(VexaCommonUtils::TransferLikeSqlForSybAndMSSQL(text), "a''b\\%c\\_d[e]f\\\\");
      EXPECT_EQ(VexaCommonUtils::TransferLikeSqlForSybAndMSSQL(""), "");
    });
  }
  for (const std::string& type : kOtherTypes) {
    withDatabase(type, [&text] {
      EXPECT_EQ(VexaCommonUtils::TransferLikeSqlForSybAndMSSQL(text), "a''b[%]c[_]d[[]e[]]f\\");
      EXPECT_EQ(VexaCommonUtils::TransferLikeSqlForSybAndMSSQL(""), "");
    });
  }
}

struct OperandCase {
  int mode;
  std::string before;
  std::string after;
};

const std::vector<OperandCase> kModes = {{FUZZY_QUERY_NONE, "'", "'"},
                                         {FUZZY_QUERY_LEFT, "'%", "'"},
                                         {FUZZY_QUERY_RIGHT, "'", "%'"},
                                         {FUZZY_QUERY_BOTH, "'%", "%'"},
                                         {7, "'", "'"},
                                         {4, "'", "'"},
                                         {-1, "'", "'"},
                                         {0x7fffffff, "'", "'"},
                                         {-0x7fffffff - 1, "'", "'"},
                                         {0x100 + FUZZY_QUERY_BOTH, "'", "'"}};

void expectOperands(const std::string& text, const std::string& body, const std::string& clause) {
  for (const OperandCase& each : kModes) {
    SCOPED_TRACE(each.mode);
    EXPECT_EQ(VexaCommonUtils_i::TransferLikeSql(text, static_cast<FuzzyQueryMode>(each.mode)),
              each.before + body + each.after + clause);
  }
}

TEST(FuzzyQueryMode, HasTheValuesOfTheBinaryContract) {
  static_assert(sizeof(FuzzyQueryMode) == 4);
  EXPECT_EQ(FUZZY_QUERY_NONE, 0);
  EXPECT_EQ(FUZZY_QUERY_LEFT, 1);
  EXPECT_EQ(FUZZY_QUERY_RIGHT, 2);
  EXPECT_EQ(FUZZY_QUERY_BOTH, 3);
}

TEST(TransferLikeSql, AssemblesTheOperand) {
  for (const std::string& type : kOracleFamily) {
    withDatabase(type, [] {
      EXPECT_EQ(VexaCommonUtils_i::TransferLikeSql("a_b'c", FUZZY_QUERY_BOTH),
                "'%a\\_b''c%' escape '\\' ");
      expectOperands("a_b'c", "a\\_b''c", kClause);
      expectOperands("", "", kClause);
      expectOperands("'\0%"s, "''\0\\%"s, kClause);
    });
  }
  for (const std::string& type : kOtherTypes) {
    withDatabase(type, [] {
      EXPECT_EQ(VexaCommonUtils_i::TransferLikeSql("a_b'c", FUZZY_QUERY_BOTH), "'%a[_]b''c%'");
      expectOperands("a_b'c", "a[_]b''c", "");
      expectOperands("", "", "");
      expectOperands("'\0%"s, "''\0[%]"s, "");
    });
  }
}

TEST(QueryText, IsForSybaseIfNoTypeCanBeRead) {
  const ScopedEnv conf("APP_CONF_FILE", std::nullopt);
  commutil_test::runInChild([] {
    EXPECT_EQ(VexaCommonUtils::transDBSearchString("%\\"), "[%]\\");
    EXPECT_EQ(VexaCommonUtils::getEscapeString(), "");
    EXPECT_EQ(VexaCommonUtils::TransferLikeSqlForSybAndMSSQL("'["), "''[[]");
    EXPECT_EQ(VexaCommonUtils_i::TransferLikeSql("x", FUZZY_QUERY_LEFT), "'%x'");
  });
}

// Quadratic code would exceed the test's time limit.
TEST(QueryText, GrowsLinearly) {
  constexpr std::size_t kPieces = std::size_t{1} << 20;
  std::string text;
  for (std::size_t piece = 0; piece < kPieces; ++piece) text += "0123456789abc'%_";
  EXPECT_EQ(VexaCommonUtils::transDBUpdateString(text).size(), 17 * kPieces);
  withDatabase("oracle", [&text] {
    EXPECT_EQ(VexaCommonUtils::transDBSearchString(text).size(), 18 * kPieces);
    EXPECT_EQ(VexaCommonUtils_i::TransferLikeSql(text, FUZZY_QUERY_BOTH).size(), 19 * kPieces + 16);
  });
  withDatabase("sybase", [&text] {
    EXPECT_EQ(VexaCommonUtils::transDBSearchString(text).size(), 20 * kPieces);
  });
}

}  // namespace
