// Compares conversions between the locale's encoding and wide strings with the C library's, in a
// UTF-8 locale and in the C locale.
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaLocale.h"
#include "support/expect.h"
#include "support/input.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;

constexpr wchar_t kUnwritten = 0x5A5A;

/// The characters of a string before its first invalid sequence.
struct Widened {
  std::wstring text;
  bool whole;
};

Widened modelWiden(const std::string& text) {
  Widened result{{}, true};
  std::mbstate_t state{};
  for (std::size_t at = 0; at < text.size();) {
    wchar_t c = 0;
    const std::size_t length = std::mbrtowc(&c, text.data() + at, text.size() - at, &state);
    if (length > text.size()) {  // invalid or incomplete
      result.whole = false;
      break;
    }
    result.text += c;
    at += length;
  }
  return result;
}

void checkWidening(const std::string& text) {
  const Widened expected = modelWiden(text);
  expectEqual(VexaCommonUtils::STR2WSTR(text), expected.text, "STR2WSTR of a string");

  std::vector<wchar_t> dst(text.size() + 1, kUnwritten);
  VexaCommonUtils::STR2WSTR(text.c_str(), dst.data());
  expect(dst.back() == L'\0', "the element after as many as the string has bytes is NUL");
  const std::size_t length = expected.text.size();
  expectEqual(std::wstring(dst.data(), length), expected.text, "STR2WSTR into an array");
  if (expected.whole) expect(dst[length] == L'\0', "a NUL ends the wide string");

  dst.assign(1, kUnwritten);
  VexaCommonUtils::STR2WSTR(nullptr, dst.data());
  expect(dst[0] == kUnwritten, "a null string writes nothing");

  expectEqual(VexaCommonUtils::LOC2UTF8(text.c_str()), text, "LOC2UTF8");
  expectEqual(VexaCommonUtils::UTF8TOLOC(text.c_str()), text, "UTF8TOLOC");
  if (expected.whole) {
    expectEqual(VexaCommonUtils::WSTR2STR(expected.text.c_str()), text,
                "a valid string survives a round trip");
  }
}

std::string modelNarrow(const std::wstring& wide) {
  const std::size_t length = std::wcstombs(nullptr, wide.c_str(), 0);
  if (length == static_cast<std::size_t>(-1)) return "";
  std::string text(length, '\0');
  std::wcstombs(text.data(), wide.c_str(), length);
  return text;
}

/// Returns the input's bytes as wide characters, up to the first NUL.
std::wstring wideText(const std::string& bytes) {
  std::wstring wide(bytes.size() / sizeof(wchar_t), L'\0');
  std::memcpy(wide.data(), bytes.data(), wide.size() * sizeof(wchar_t));
  return wide.substr(0, wide.find(L'\0'));
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  VexaLocale::Instance();  // sets the environment's locale, once
  const unsigned choice = input.choice(4);
  expect(std::setlocale(LC_ALL, choice % 2 == 0 ? "C.UTF-8" : "C") != nullptr, "a known locale");
  const std::string rest = input.rest();
  if (choice < 2) {
    checkWidening(upToNul(rest));
  } else {
    const std::wstring wide = wideText(rest);
    const std::vector<wchar_t> exact(wide.c_str(), wide.c_str() + wide.size() + 1);
    expectEqual(VexaCommonUtils::WSTR2STR(exact.data()), modelNarrow(wide), "WSTR2STR");
  }
}
