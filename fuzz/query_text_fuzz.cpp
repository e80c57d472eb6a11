// Parses database query text: a LIKE operand must be one literal that matches only the string from
// which it was built, for any string and any database type, which this program supplies.
#include <strings.h>

#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaStringUtils.h"
#include "support/expect.h"
#include "support/input.h"
#include "text/strings_model.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;

std::string configuredType;

}  // namespace

std::string VexaCommonUtils::getDBType() { return configuredType; }

namespace {

constexpr int kAnyText = -1;
constexpr int kAnyCharacter = -2;

/// The elements of a LIKE pattern: literal bytes and wildcards.
std::vector<int> readPattern(const std::string& pattern, bool oracleFamily) {
  std::vector<int> elements;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char c = pattern[i];
    if (oracleFamily && c == '\\') {
      ++i;
      expect(i < pattern.size() && std::string("%_\\").find(pattern[i]) != std::string::npos,
             "a backslash escapes a wildcard or itself");
      elements.push_back(static_cast<unsigned char>(pattern[i]));
    } else if (!oracleFamily && c == '[') {
      expect(i + 2 < pattern.size() && pattern[i + 2] == ']', "a set holds one byte");
      elements.push_back(static_cast<unsigned char>(pattern[i + 1]));
      i += 2;
    } else {
      elements.push_back(c == '%'   ? kAnyText
                         : c == '_' ? kAnyCharacter
                                    : static_cast<unsigned char>(c));
    }
  }
  return elements;
}

/// Removes the literal at the start of `sql` and returns it.
std::string readLiteral(std::string& sql) {
  expect(!sql.empty() && sql.front() == '\'', "a literal begins with a quote");
  std::string text;
  for (std::size_t i = 1; i < sql.size(); ++i) {
    if (sql[i] == '\'' && sql[i + 1] != '\'') {  // the byte after the last reads as NUL
      sql.erase(0, i + 1);
      return text;
    }
    if (sql[i] == '\'') ++i;
    text += sql[i];
  }
  commutil_fuzz::fail("a literal ends with a quote");
}

void checkOperand(const std::string& text, unsigned mode) {
  std::string sql =
      VexaCommonUtils_i::TransferLikeSql(text, static_cast<Vexacommon::FuzzyQueryMode>(mode));
  const std::string pattern = readLiteral(sql);
  expectEqual(sql, VexaCommonUtils::getEscapeString(), "the clause follows the literal");

  const bool oracleFamily = !sql.empty();
  const bool both = mode == Vexacommon::FUZZY_QUERY_BOTH;
  std::vector<int> expected;
  if (mode == Vexacommon::FUZZY_QUERY_LEFT || both) expected.push_back(kAnyText);
  for (const char c : text) expected.push_back(static_cast<unsigned char>(c));
  if (mode == Vexacommon::FUZZY_QUERY_RIGHT || both) expected.push_back(kAnyText);
  expectEqual(readPattern(pattern, oracleFamily), expected, "the pattern matches the string");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const unsigned mode = input.choice(8);
  configuredType = input.cText();
  const std::string text = input.rest();

  const std::string quotedText = VexaCommonUtils::transDBUpdateString(text);
  expectEqual(quotedText, commutil_test::modelReplace(text, "'", "''"), "transDBUpdateString");

  const bool oracleFamily = ::strcasecmp(configuredType.c_str(), "oracle") == 0 ||
                            ::strcasecmp(configuredType.c_str(), "tessarn") == 0;
  expectEqual(VexaCommonUtils::getEscapeString(), oracleFamily ? " escape '\\' " : "",
              "getEscapeString");
  checkOperand(text, mode);

  const bool unchanged = ToUpper(configuredType) == "ORACLE";
  expectEqual(VexaCommonUtils::TransferLikeSqlForSybAndMSSQL(text),
              unchanged ? text : VexaCommonUtils::transDBSearchString(quotedText),
              "TransferLikeSqlForSybAndMSSQL");
}
