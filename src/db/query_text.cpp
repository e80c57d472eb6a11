// Quotes string literals and escapes LIKE patterns in the dialect of the configured database, whose
// type is read on every call.
#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "bytes/ascii.h"
#include "bytes/checked_size.h"
#include "bytes/raw_text.h"
#include "bytes/rewrite.h"
#include "bytes/scan.h"

namespace {

using commutil::AnyOf;
using commutil::checkedSize;
using commutil::containsAnyOf;
using commutil::countBytes;
using commutil::rewriteBytes;

constexpr AnyOf<'\''> kQuote;

/// Returns whether `type` equals the lower-case `name`, ignoring case.
bool isType(std::string_view type, std::string_view name) {
  return std::equal(type.begin(), type.end(), name.begin(), name.end(),
                    [](char byte, char letter) { return (byte | commutil::kCaseBit) == letter; });
}

bool isOracleFamily(std::string_view type) {
  return isType(type, "oracle") || isType(type, "tessarn");
}

char* writeDoubled(char* out, char byte) {
  *out++ = byte;
  *out++ = byte;
  return out;
}

// How a family of databases escapes wildcards: `escape` writes each as kWidth bytes. `change` also
// doubles quotes, without branching on the byte; it needs room for kWidth bytes.

struct Backslashes {
  static constexpr AnyOf<'%', '_', '\\'> kEscaped{};
  static constexpr AnyOf<'\'', '%', '_', '\\'> kChanged{};
  static constexpr std::size_t kWidth = 2;

  static char* escape(char* out, char byte) {
    *out++ = '\\';
    *out++ = byte;
    return out;
  }
  static char* change(char* out, char byte) {
    *out++ = byte == '\'' ? '\'' : '\\';
    *out++ = byte;
    return out;
  }
};

struct Brackets {
  static constexpr AnyOf<'%', '_', '[', ']'> kEscaped{};
  static constexpr AnyOf<'\'', '%', '_', '[', ']'> kChanged{};
  static constexpr std::size_t kWidth = 3;

  static char* escape(char* out, char byte) {
    *out++ = '[';
    *out++ = byte;
    *out++ = ']';
    return out;
  }
  static char* change(char* out, char byte) {
    const bool quote = byte == '\'';
    out[0] = quote ? '\'' : '[';
    out[1] = byte;
    out[2] = ']';
    return out + (quote ? 2 : 3);
  }
};

template <class Dialect>
std::string escaped(std::string_view text) {
  return rewriteBytes(text, Dialect::kEscaped, Dialect::kWidth, Dialect::escape);
}

/// The size of `text` with its quotes doubled and its wildcards escaped.
/// @throws std::length_error  no string can be that long
template <class Dialect>
std::size_t changedSize(std::string_view text) {
  constexpr std::size_t kPiece = 16 * 1024;  // stays in the cache for the second count
  std::size_t quotes = 0;
  std::size_t changed = 0;
  for (std::size_t at = 0; at < text.size(); at += kPiece) {
    const std::string_view piece = text.substr(at, kPiece);
    quotes += countBytes(piece, kQuote);
    changed += countBytes(piece, Dialect::kChanged);
  }
  return checkedSize(checkedSize(text.size(), quotes, 1), changed - quotes, Dialect::kWidth - 1);
}

char* append(char* out, std::string_view text) { return std::copy(text.begin(), text.end(), out); }

constexpr std::string_view kClause = " escape '\\' ";

/// `operand` of a short text, built where whole blocks may be copied.
template <class Dialect>
std::string shortOperand(std::string_view text, std::string_view before, std::string_view after) {
  constexpr std::size_t kMostAround = sizeof "'%%'" + kClause.size();
  constexpr std::size_t kMost = commutil::kShortText * commutil::kWidestByte + kMostAround;
  std::array<char, kMost + commutil::Block::kSize> result;  // NOLINT(*-member-init): filled below
  char* out = append(result.data(), before);
  out = commutil::rewriteShortInto(out, text, Dialect::kChanged, Dialect::change);
  return std::string(result.data(), append(out, after));
}

/// Returns `text`, its quotes doubled and its wildcards escaped, between `before` and `after`.
template <class Dialect>
std::string operand(std::string_view text, std::string_view before, std::string_view after) {
  if (text.size() <= commutil::kShortText) return shortOperand<Dialect>(text, before, after);
  const std::size_t around = before.size() + after.size();
  const bool clean = !containsAnyOf(text, Dialect::kChanged);
  const std::size_t body = clean ? text.size() : changedSize<Dialect>(text);
  const std::size_t size = checkedSize(body, around, 1);
  // A byte more: `change` may write one beyond the text's end.
  return commutil::writtenText(checkedSize(size, 1, 1), [&](char* begin, std::size_t /*size*/) {
    char* out = append(begin, before);
    out = clean ? append(out, text)
                : commutil::rewriteInto(out, text, Dialect::kChanged, Dialect::change);
    append(out, after);
    return size;
  });
}

/// Returns whether `text` is escaped with backslashes. Reads the type unless `text` is empty, and
/// only here as a C string, up to its first NUL.
bool usesBackslashes(std::string_view text) {
  return !text.empty() && isOracleFamily(VexaCommonUtils::getDBType().c_str());
}

std::string operandOf(std::string_view text, std::string_view before, std::string_view after,
                      bool backslashes) {
  return backslashes ? operand<Backslashes>(text, before, after)
                     : operand<Brackets>(text, before, after);
}

}  // namespace

std::string VexaCommonUtils::transDBUpdateString(const std::string& text) {
  if (text.find('\'') == std::string::npos) return text;
  return rewriteBytes(text, kQuote, 2, writeDoubled);
}

std::string VexaCommonUtils::transDBSearchString(const std::string& text) {
  return usesBackslashes(text) ? escaped<Backslashes>(text) : escaped<Brackets>(text);
}

std::string VexaCommonUtils::getEscapeString() {
  return isOracleFamily(getDBType()) ? std::string(kClause) : "";
}

// A "tessarn" string is quoted and escaped here although an "oracle" string is not: callers rely on
// it.
std::string VexaCommonUtils::TransferLikeSqlForSybAndMSSQL(const std::string& text) {
  if (isType(getDBType(), "oracle")) return text;
  return operandOf(text, "", "", usesBackslashes(text));
}

std::string VexaCommonUtils_i::TransferLikeSql(const std::string& text,
                                               Vexacommon::FuzzyQueryMode mode) {
  const bool both = mode == Vexacommon::FUZZY_QUERY_BOTH;
  const bool leading = both || mode == Vexacommon::FUZZY_QUERY_LEFT;
  const bool trailing = both || mode == Vexacommon::FUZZY_QUERY_RIGHT;
  const bool backslashes = usesBackslashes(text);
  const std::string after = (trailing ? "%'" : "'") + VexaCommonUtils::getEscapeString();
  return operandOf(text, leading ? "'%" : "'", after, backslashes);
}
