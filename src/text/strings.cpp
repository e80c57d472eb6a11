// String utilities: trimming, splitting, replacing, upper-casing, classifying and converting byte
// strings, for every other family and the platform's processes. Bytes and ASCII only, the locale is
// never asked. Re-entrant; no state.
#include "VexaStringUtils.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "platform/bounded.h"
#include "platform/byte_blocks.h"
#include "text/search.h"

namespace {

using commutil::AnyOf;
using commutil::ByteSet;
using commutil::Finder;
using commutil::InRange;
using commutil::kBlockSize;

constexpr std::size_t kSplitLimit = 1024;  // `splitAll` sees no more of its input
constexpr std::size_t kNumberSize = 22;    // the buffer that callers of `ltoa` provide
constexpr std::size_t kHexResultSize = 4;  // one byte in decimal
constexpr std::size_t kLabelColumns = 32;

// Trimming

std::string trimmed(std::string_view text, const ByteSet& set) {
  const std::size_t begin = set.skip(text, 0);
  std::size_t end = text.size();
  while (end > begin && set.contains(text[end - 1])) --end;
  return std::string(text.substr(begin, end - begin));
}

// Splitting

// The part of a text that `splitAll` sees: up to its first NUL, `kSplitLimit` bytes at most.
class SplitInput {
 public:
  explicit SplitInput(const std::string& text)
      : m_copied(strncpy_s(m_text, sizeof m_text, text.c_str(), kSplitLimit) == 0) {}

  bool copied() const { return m_copied; }

  // Calls `take` with each token, as strtok_r(3) finds them.
  template <class Take>
  void forEachToken(const std::string& delims, const Take& take) const {
    const ByteSet set(delims.c_str());
    const std::string_view text(m_text);
    for (std::size_t at = set.skip(text, 0); at < text.size();) {
      const std::size_t begin = at;
      while (at < text.size() && !set.contains(text[at])) ++at;
      take(text.substr(begin, at - begin));
      at = set.skip(text, at);
    }
  }

 private:
  char m_text[kSplitLimit + 1];
  bool m_copied;
};

// Replacing

// Writes `text` at `out` with each text that `finder` finds replaced by `to`; returns the result's
// end. `out` may be the place of `text` itself when `to` is not the longer one.
char* replaceInto(char* out, std::string_view text, const Finder& finder, std::string_view to) {
  std::size_t begin = 0;
  while (true) {
    const std::size_t found = finder.find(text, begin);
    out = static_cast<char*>(std::memmove(out, text.data() + begin, found - begin));
    out += found - begin;
    if (found == text.size()) return out;
    to.copy(out, to.size());
    out += to.size();
    begin = found + finder.length();
  }
}

std::size_t countFound(std::string_view text, const Finder& finder) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = finder.find(text, at)) < text.size(); at += finder.length()) {
    ++count;
  }
  return count;
}

// Replacing in a loop with std::string::replace would move the rest of the text for every match.
void replaceAll(std::string& s, const std::string& from, const std::string& to) {
  if (from.empty()) return;  // would be found for ever
  const Finder finder(from);
  if (to.size() <= from.size() && &from != &s && &to != &s) {
    const char* const end = replaceInto(s.data(), s, finder, to);
    s.resize(static_cast<std::size_t>(end - s.data()));
    return;
  }
  const std::size_t count = countFound(s, finder);
  if (count == 0) return;
  std::string result(s.size() - count * from.size() + count * to.size(), '\0');
  replaceInto(result.data(), s, finder, to);
  s = std::move(result);
}

// Case and classes

constexpr InRange kLowerCase{'a', 'z'};
constexpr char kCaseBit = 'a' - 'A';

struct NoDigit {
  bool operator()(char byte) const { return !kDigits(byte); }
  __m128i operator()(__m128i block) const {
    return _mm_xor_si128(kDigits(block), _mm_set1_epi8(-1));
  }
  static constexpr InRange kDigits{'0', '9'};
};

struct LetterBeyondHex {
  bool operator()(char byte) const { return kLetters(static_cast<char>(byte | kCaseBit)); }
  __m128i operator()(__m128i block) const {
    return kLetters(_mm_or_si128(block, _mm_set1_epi8(kCaseBit)));
  }
  static constexpr InRange kLetters{'g', 'z'};
};

void upperBlock(char* at) {
  const __m128i block = commutil::loadBlock(at);
  const __m128i change = _mm_and_si128(kLowerCase(block), _mm_set1_epi8(kCaseBit));
  commutil::storeBlock(at, _mm_xor_si128(block, change));
}

// Numbers

// The value 0 to 15 of a hexadecimal digit, -1 for any other byte.
int hexDigitValue(char byte) {
  if (byte >= '0' && byte <= '9') return byte - '0';
  if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
  if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
  return -1;
}

// The integer part of `x` < 2^64 as an unsigned number, a negative one wrapped. What lies below the
// signed range would be an undefined conversion: it gives the largest number.
std::uint64_t unsignedPart(double x) {
  constexpr double kLowest = -9223372036854775808.0;
  if (x >= 0.0) return static_cast<std::uint64_t>(x);
  if (x < kLowest) return std::numeric_limits<std::uint64_t>::max();
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(x));
}

}  // namespace

std::string VexaCommonUtils::Vexareverse(std::string& s) {
  return std::string(s.rbegin(), s.rend());
}

std::string VexaCommonUtils::Vexaltrim(std::string& s) { return s.substr(ByteSet(" ").skip(s, 0)); }

std::string VexaCommonUtils::Vexatrim(std::string& s) { return trimmed(s, ByteSet(" ")); }

std::string VexaCommonUtils::Vexareplace(std::string& s, std::string& from, std::string& to) {
  replaceAll(s, from, to);
  return s;
}

void VexaCommonUtils::stringReplace(const std::string& from, const std::string& to,
                                    std::string& s) {
  replaceAll(s, from, to);
}

// A token starts at a byte outside the set of delimiter bytes, but only the whole delimiter text
// ends it: not a mistake, callers rely on both.
void VexaCommonUtils::split(const std::string& s, const std::string& delims,
                            std::list<std::string>& out) {
  const ByteSet set(delims);
  const Finder finder(delims);
  for (std::size_t at = set.skip(s, 0); at < s.size();) {
    const std::size_t end = finder.find(s, at);
    out.emplace_back(s, at, end - at);
    at = set.skip(s, end + 1);
  }
}

unsigned long VexaCommonUtils::splitAll(const std::string& s, const std::string& delims,
                                        std::vector<std::string>& out) {
  const SplitInput input(s);
  if (!input.copied()) return 0;
  input.forEachToken(delims, [&out](std::string_view token) { out.emplace_back(token); });
  return out.size();
}

char* VexaCommonUtils::ltoa(long value, char* buf) {
  if (buf == nullptr) return nullptr;
  return snprintf_s(buf, kNumberSize, kNumberSize - 1, "%ld", value) < 0 ? nullptr : buf;
}

// Unlike `ltoa`, the unsigned forms answer the buffer whatever formatting says.
char* VexaCommonUtils::ultoa(unsigned long value, char* buf) {
  if (buf != nullptr) snprintf_s(buf, kNumberSize, kNumberSize - 1, "%lu", value);
  return buf;
}

std::string VexaCommonUtils::tabs(const std::string& s) {
  return std::string(s.size() < kLabelColumns ? kLabelColumns - s.size() : 0, ' ');
}

std::string VexaCommonUtils_i::VexatrimAll(const std::string& s, const char* chars) {
  if (chars == nullptr || *chars == '\0') return s;
  return trimmed(s, ByteSet(chars));
}

std::string VexaCommonUtils_i::trimString(const std::string& s, const char* chars) {
  return VexatrimAll(s, chars);
}

void VexaCommonUtils_i::splitAll(const std::string& s, const std::string& delims,
                                 std::set<std::string>& out) {
  const SplitInput input(s);
  if (!input.copied()) return;
  input.forEachToken(delims, [&out](std::string_view token) { out.emplace(token); });
}

char* VexaCommonUtils_i::ulltoa(unsigned long long value, char* buf) {
  if (buf != nullptr) snprintf_s(buf, kNumberSize, kNumberSize - 1, "%llu", value);
  return buf;
}

bool VexaCommonUtils_i::Isdigitstr(const std::string& s) {
  return !commutil::containsAny(s, NoDigit());
}

// From 99 on the answer stays 99, so that 100 stands for a truly full resource.
double VexaCommonUtils_i::getUpperIntVal(double x) {
  if (std::isnan(x) || x >= 100.0) return 100.0;
  if (x >= 99.0) return 99.0;
  const std::uint64_t whole = unsignedPart(x);
  const auto rounded = static_cast<double>(whole);
  return x - rounded > 0.0 ? static_cast<double>(whole + 1) : rounded;
}

void ToUpperEx(std::string& s) {
  if (s.size() < kBlockSize) {
    for (char& byte : s) byte = kLowerCase(byte) ? static_cast<char>(byte - kCaseBit) : byte;
    return;
  }
  char* const last = s.data() + s.size() - kBlockSize;
  for (char* at = s.data(); at < last; at += kBlockSize) upperBlock(at);
  upperBlock(last);  // what it overlaps is upper case already
}

std::string ToUpper(const std::string& s) {
  std::string result(s);
  ToUpperEx(result);
  return result;
}

bool StringIsRight(const std::string& s) { return !commutil::containsAny(s, LetterBeyondHex()); }

std::string ReplaceChar(const std::string& s, char c, const std::string& rep) {
  return commutil::rewriteBytes(s, AnyOf<1>{{c}}, rep.size(), [&rep](char* out, char) {
    return out + rep.copy(out, rep.size());
  });
}

// Digits are summed with their weights modulo 2^64, so those from 16^16 on weigh nothing.
std::string StrHexToInt(std::string hex) {
  std::uint64_t sum = 0;
  for (const char byte : std::string_view(hex.c_str())) {
    const int value = hexDigitValue(byte);
    if (value < 0) return "";
    sum = sum * 16 + static_cast<std::uint64_t>(value);
  }
  char text[kHexResultSize];
  const auto low = static_cast<std::int32_t>(static_cast<std::uint32_t>(sum));
  return snprintf_s(text, sizeof text, sizeof text - 1, "%d", low) < 0 ? "" : text;
}
