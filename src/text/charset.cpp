#include "VexaCommonUtils.h"

#include <langinfo.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <limits>
#include <string>

#include "VexaLocale.h"
#include "bytes/utf8.h"

using commutil::Converted;
using commutil::countUtf8;
using commutil::measureUtf8;
using commutil::narrowUtf8;
using commutil::widenUtf8;

namespace {

constexpr std::size_t kInvalid = static_cast<std::size_t>(-1);

// The longest multibyte string whose length fits callers' signed 32-bit numbers.
constexpr std::size_t kLongest = std::numeric_limits<std::int32_t>::max();

bool localeIsUtf8() { return std::strcmp(::nl_langinfo(CODESET), "UTF-8") == 0; }

/// Does what mbstowcs(3) does for `src` of `length` bytes and `room` characters of output, faster
/// in a UTF-8 locale: unusual input goes to the C library.
std::size_t widen(const char* src, std::size_t length, wchar_t* dst, std::size_t room, bool utf8) {
  if (!utf8) return std::mbstowcs(dst, src, room);
  const Converted plain = widenUtf8(src, length, dst);
  if (plain.read == length) {
    if (plain.written < room) dst[plain.written] = L'\0';
    return plain.written;
  }
  const std::size_t rest =
      std::mbstowcs(dst + plain.written, src + plain.read, room - plain.written);
  return rest == kInvalid ? kInvalid : plain.written + rest;
}

constexpr std::size_t kShortText = 64;

/// Converts by the C library, in any locale.
std::string narrow(const wchar_t* src) {
  // As a signed 32-bit number, both a failure and 2 GiB are negative.
  const auto length = static_cast<std::int32_t>(std::wcstombs(nullptr, src, 0));
  if (length < 0) return "";
  std::string text(static_cast<std::size_t>(length), '\0');
  const std::size_t written = std::wcstombs(text.data(), src, text.size());
  text.resize(written == kInvalid ? 0 : written);
  return text;
}

}  // namespace

void VexaCommonUtils::STR2WSTR(const char* src, wchar_t* dst) {
  if (src == nullptr || dst == nullptr) return;
  VexaLocale::Instance();
  const std::size_t length = std::strlen(src);
  dst[length] = L'\0';
  if (length != 0) widen(src, length, dst, length, localeIsUtf8());
}

std::wstring VexaCommonUtils::STR2WSTR(const std::string& s) {
  VexaLocale::Instance();
  const std::size_t length = std::strlen(s.c_str());
  const bool utf8 = localeIsUtf8();
  if (utf8 && length <= kShortText) {
    std::array<wchar_t, kShortText> wide;  // NOLINT(*-member-init): filled below
    const Converted plain = widenUtf8(s.c_str(), length, wide.data());
    if (plain.read == length) return std::wstring(wide.data(), plain.written);
  }
  // Zero-filled, because an invalid sequence ends the string without its own NUL.
  std::wstring text(utf8 ? countUtf8(s.c_str(), length) : length, L'\0');
  const std::size_t written = widen(s.c_str(), length, text.data(), text.size(), utf8);
  text.resize(written == kInvalid ? std::wcslen(text.c_str()) : written);
  return text;
}

std::string VexaCommonUtils::WSTR2STR(const wchar_t* src) {
  if (src == nullptr) return "";
  VexaLocale::Instance();
  const std::size_t size = std::wcslen(src);
  if (size > kLongest || !localeIsUtf8()) return narrow(src);
  const std::size_t length = measureUtf8(src, size);
  if (length > kLongest) return narrow(src);
  std::string text(length, '\0');
  narrowUtf8(src, size, text.data());
  return text;
}

std::string VexaCommonUtils::LOC2UTF8(const char* s) { return s == nullptr ? "" : s; }

std::string VexaCommonUtils::UTF8TOLOC(const char* s) { return s == nullptr ? "" : s; }
