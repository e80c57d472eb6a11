// Conversions between the locale's multibyte encoding, wide text and UTF-8. Called by the
// platform's processes; re-entrant, but bound to the process-wide locale.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaLocale.h"

void VexaCommonUtils::STR2WSTR(const char* src, wchar_t* dst) {
  if (src == nullptr || dst == nullptr) return;
  VexaLocale::Instance();
  const std::size_t length = std::strlen(src);
  dst[length] = L'\0';
  if (length != 0) std::mbstowcs(dst, src, length);
}

std::wstring VexaCommonUtils::STR2WSTR(const std::string& s) {
  // Zero-filled: an invalid sequence ends the text without a NUL of its own.
  std::wstring text(s.size() + 1, L'\0');
  STR2WSTR(s.c_str(), text.data());
  text.resize(std::wcslen(text.data()));
  return text;
}

std::string VexaCommonUtils::WSTR2STR(const wchar_t* src) {
  if (src == nullptr) return "";
  VexaLocale::Instance();
  // Callers know the length as a signed 32-bit number: a failure and 2 GiB are negative alike.
  const auto length = static_cast<std::int32_t>(std::wcstombs(nullptr, src, 0));
  if (length < 0) return "";
  std::string text(static_cast<std::size_t>(length), '\0');
  if (std::wcstombs(text.data(), src, text.size()) == static_cast<std::size_t>(-1)) return "";
  return text;
}

std::string VexaCommonUtils::LOC2UTF8(const char* s) { return s == nullptr ? "" : s; }

std::string VexaCommonUtils::UTF8TOLOC(const char* s) { return s == nullptr ? "" : s; }
