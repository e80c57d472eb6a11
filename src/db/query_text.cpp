// Database query text: quoting of string literals and escaping of LIKE patterns in the dialect of
// the configured database, for processes that build SQL by hand. Re-entrant; no state, the database
// type is asked on every call.
#include <algorithm>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "bytes/rewrite.h"

namespace {

using commutil::AnyOf;
using commutil::rewriteBytes;

constexpr AnyOf<'\''> kQuote;
constexpr AnyOf<'%', '_', '\\'> kBackslashEscaped;
constexpr AnyOf<'%', '_', '[', ']'> kBracketed;

/// Returns whether `type` equals the lower-case `name`, ignoring case.
bool isType(std::string_view type, std::string_view name) {
  constexpr char kSmall = 'a' - 'A';
  return std::equal(type.begin(), type.end(), name.begin(), name.end(),
                    [](char byte, char letter) { return (byte | kSmall) == letter; });
}

bool isOracleFamily(std::string_view type) {
  return isType(type, "oracle") || isType(type, "tessarn");
}

char* writeDoubled(char* out, char byte) {
  *out++ = byte;
  *out++ = byte;
  return out;
}

char* writeEscaped(char* out, char byte) {
  *out++ = '\\';
  *out++ = byte;
  return out;
}

char* writeBracketed(char* out, char byte) {
  *out++ = '[';
  *out++ = byte;
  *out++ = ']';
  return out;
}

}  // namespace

std::string VexaCommonUtils::transDBUpdateString(const std::string& text) {
  if (text.find('\'') == std::string::npos) return text;
  return rewriteBytes(text, kQuote, 2, writeDoubled);
}

std::string VexaCommonUtils::transDBSearchString(const std::string& text) {
  if (text.empty()) return text;
  const std::string type = getDBType();
  if (isOracleFamily(type.c_str())) {  // up to a NUL: only here the type is a C string
    return rewriteBytes(text, kBackslashEscaped, 2, writeEscaped);
  }
  return rewriteBytes(text, kBracketed, 3, writeBracketed);
}

std::string VexaCommonUtils::getEscapeString() {
  return isOracleFamily(getDBType()) ? " escape '\\' " : "";
}

// A "tessarn" string is quoted and escaped here although an "oracle" string is not: callers rely on
// it.
std::string VexaCommonUtils::TransferLikeSqlForSybAndMSSQL(const std::string& text) {
  if (isType(getDBType(), "oracle")) return text;
  return transDBSearchString(transDBUpdateString(text));
}

std::string VexaCommonUtils_i::TransferLikeSql(const std::string& text,
                                               Vexacommon::FuzzyQueryMode mode) {
  const bool both = mode == Vexacommon::FUZZY_QUERY_BOTH;
  const bool leading = both || mode == Vexacommon::FUZZY_QUERY_LEFT;
  const bool trailing = both || mode == Vexacommon::FUZZY_QUERY_RIGHT;
  const std::string body =
      VexaCommonUtils::transDBSearchString(VexaCommonUtils::transDBUpdateString(text));
  const std::string clause = VexaCommonUtils::getEscapeString();

  std::string operand;
  operand.reserve(body.size() + clause.size() + sizeof "'%%'");
  operand.append(leading ? "'%" : "'").append(body).append(trailing ? "%'" : "'").append(clause);
  return operand;
}
