#pragma once

#include <string_view>

#include "bytes/block.h"
#include "bytes/scan.h"

// ASCII classes of bytes; every other byte belongs to none.

namespace commutil {

constexpr InRange kLowerCase{'a', 'z'};
constexpr InRange kDigits{'0', '9'};
constexpr char kCaseBit = 'a' - 'A';

/// A C string, because trimming operations take their set as one.
constexpr char kWhitespace[] = " \t\r\n";

/// The bytes that are not digits.
struct NoDigit {
  bool operator()(char byte) const { return !kDigits(byte); }
  Block operator()(Block block) const { return kDigits(block) ^ Block::filledWith('\xFF'); }
};

/// The letters that are not hexadecimal digits.
struct LetterBeyondHex {
  bool operator()(char byte) const { return kLetters(static_cast<char>(byte | kCaseBit)); }
  Block operator()(Block block) const { return kLetters(block | Block::filledWith(kCaseBit)); }
  static constexpr InRange kLetters{'g', 'z'};
};

constexpr bool isWhitespace(char byte) {
  return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

/// Returns the value 0 to 15 of a hexadecimal digit, -1 for any other byte.
constexpr int hexDigitValue(char byte) {
  if (byte >= '0' && byte <= '9') return byte - '0';
  if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
  if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
  return -1;
}

}  // namespace commutil
