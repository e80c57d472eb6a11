// Compares LIKE operands with the steps that define them, at every size up to 4096. This program
// replaces the settings.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"

namespace {

std::string configuredType;

std::string plainOperand(const std::string& text, bool oracle) {
  const std::string_view escaped = oracle ? "%_\\" : "%_[]";
  std::string body;
  for (const char byte : text) {
    const bool escape = escaped.find(byte) != std::string_view::npos;
    if (byte == '\'') body += '\'';
    if (escape) body += oracle ? '\\' : '[';
    body += byte;
    if (escape && !oracle) body += ']';
  }
  return body;
}

/// Returns a text with bytes to escape at most `distance` bytes apart; without any for 0.
std::string textOf(std::size_t size, std::size_t distance) {
  std::string text(size, 'x');
  if (distance == 0) return text;
  for (std::size_t i = size % distance; i < size; i += 1 + i % distance) text[i] = "'%_[]\\"[i % 6];
  return text;
}

void compare(const std::string& text, bool oracle) {
  const std::string body = plainOperand(text, oracle);
  const std::string clause = oracle ? " escape '\\' " : "";
  ASSERT_EQ(VexaCommonUtils_i::TransferLikeSql(text, Vexacommon::FUZZY_QUERY_BOTH),
            "'%" + body + "%'" + clause);
  ASSERT_EQ(VexaCommonUtils_i::TransferLikeSql(text, Vexacommon::FUZZY_QUERY_NONE),
            "'" + body + "'" + clause);
  const std::string quoted = VexaCommonUtils::transDBUpdateString(text);
  ASSERT_EQ(VexaCommonUtils::transDBSearchString(quoted), body);
  if (oracle) return;
  ASSERT_EQ(VexaCommonUtils::TransferLikeSqlForSybAndMSSQL(text), body);
}

}  // namespace

std::string VexaCommonUtils::getDBType() { return configuredType; }

namespace {

TEST(QueryText, IsTheSameAtEverySize) {
  for (const bool oracle : {true, false}) {
    configuredType = oracle ? "oracle" : "sybase";
    for (std::size_t size = 0; size <= 4096; ++size) {
      SCOPED_TRACE(size);
      ASSERT_NO_FATAL_FAILURE(compare(textOf(size, 0), oracle));
      const std::size_t often[] = {1, 7, 100};
      ASSERT_NO_FATAL_FAILURE(compare(textOf(size, often[size % 3]), oracle));
    }
  }
}

// The counts of a large text are taken piece by piece.
TEST(QueryText, IsTheSameAroundTheSizesOfPieces) {
  for (const bool oracle : {true, false}) {
    configuredType = oracle ? "oracle" : "sybase";
    for (const std::size_t size : {16383U, 16384U, 16385U, 32768U, 100001U}) {
      SCOPED_TRACE(size);
      ASSERT_NO_FATAL_FAILURE(compare(textOf(size, 9), oracle));
      std::string last(size, 'x');
      last.back() = '%';
      ASSERT_NO_FATAL_FAILURE(compare(last, oracle));
    }
  }
}

}  // namespace
