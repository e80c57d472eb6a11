// Prints numbers, and checks and reads strings of digits. ASCII only: the locale is never read.
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaStringUtils.h"
#include "bytes/ascii.h"
#include "bytes/scan.h"
#include "platform/bounded.h"

namespace {

constexpr std::size_t kNumberSize = 22;    // the buffer that callers of `ltoa` provide
constexpr std::size_t kHexResultSize = 4;  // one byte in decimal

// Returns the integer part of `x` < 2^64 as an unsigned number, a negative one wrapped. Converting
// a number below the signed range is undefined; that returns the largest number.
std::uint64_t unsignedPart(double x) {
  constexpr double kLowest = -9223372036854775808.0;
  if (x >= 0.0) return static_cast<std::uint64_t>(x);
  if (x < kLowest) return std::numeric_limits<std::uint64_t>::max();
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(x));
}

}  // namespace

char* VexaCommonUtils::ltoa(long value, char* buf) {
  if (buf == nullptr) return nullptr;
  return snprintf_s(buf, kNumberSize, kNumberSize - 1, "%ld", value) < 0 ? nullptr : buf;
}

// Unlike `ltoa`, the unsigned forms return the buffer even if formatting fails.
char* VexaCommonUtils::ultoa(unsigned long value, char* buf) {
  if (buf != nullptr) snprintf_s(buf, kNumberSize, kNumberSize - 1, "%lu", value);
  return buf;
}

char* VexaCommonUtils_i::ulltoa(unsigned long long value, char* buf) {
  if (buf != nullptr) snprintf_s(buf, kNumberSize, kNumberSize - 1, "%llu", value);
  return buf;
}

bool VexaCommonUtils_i::Isdigitstr(const std::string& s) {
  return !commutil::containsAny(s, commutil::NoDigit());
}

// From 99 to 100 the result is 99, so that 100 means a completely full resource.
double VexaCommonUtils_i::getUpperIntVal(double x) {
  if (std::isnan(x) || x >= 100.0) return 100.0;
  if (x >= 99.0) return 99.0;
  const std::uint64_t whole = unsignedPart(x);
  const auto rounded = static_cast<double>(whole);
  return x - rounded > 0.0 ? static_cast<double>(whole + 1) : rounded;
}

bool StringIsRight(const std::string& s) {
  return !commutil::containsAny(s, commutil::LetterBeyondHex());
}

// Digits are summed modulo 2^64, so only the last 16 count.
// NOLINTNEXTLINE(performance-unnecessary-value-param): the binary contract takes a value
std::string StrHexToInt(std::string hex) {
  std::uint64_t sum = 0;
  for (const char byte : std::string_view(hex.c_str())) {
    const int value = commutil::hexDigitValue(byte);
    if (value < 0) return "";
    sum = sum * 16 + static_cast<std::uint64_t>(value);
  }
  char text[kHexResultSize];
  const auto low = static_cast<std::int32_t>(static_cast<std::uint32_t>(sum));
  return snprintf_s(text, sizeof text, sizeof text - 1, "%d", low) < 0 ? "" : text;
}
