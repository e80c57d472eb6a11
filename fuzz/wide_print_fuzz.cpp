// Wide printing of any string, width and precision within its bound of 4096 characters; reads what
// it wrote.
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include "VexaWideIO.h"
#include "os/handles.h"
#include "support/expect.h"
#include "support/input.h"
#include "support/scratch.h"

namespace {

using commutil_fuzz::contentOf;
using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;
using commutil_fuzz::Input;
using commutil_fuzz::Scratch;

constexpr std::size_t kBound = 4096;
constexpr std::size_t kLongest = 1 << 16;  // of any result here

/// The arguments of every format, in order.
struct Arguments {
  int width = 0;
  int precision = 0;
  std::string text;
  std::wstring wide;
  long number = 0;
  double real = 0.0;
};

/// Up to 9999, so that some results exceed the bound; half of them negative.
int readNumber(Input& input) { return std::atoi(input.cText().substr(0, 5).c_str()); }

std::wstring readWide(Input& input) {
  std::wstring wide;
  for (const char c : input.cText()) wide += static_cast<unsigned char>(c);
  return wide;
}

/// A format for `Arguments`, with parts of the input around the directives.
std::wstring readFormat(Input& input) {
  std::wstring literal;
  for (const wchar_t c : readWide(input)) literal.append(c == L'%' ? 2 : 1, c);
  const wchar_t* const kForms[] = {L"%*.*s%ls%ld%f", L"%-*.*s|%ls|%lx|%e", L"%*.*s,%ls,%+ld,%g",
                                   L"%*.*s%.3ls%08ld%.0f"};
  return literal + kForms[input.choice(4)] + literal;
}

std::wstring modelPrint(const std::wstring& format, const Arguments& a) {
  static std::vector<wchar_t> buf(kLongest);
  const int length = std::swprintf(buf.data(), buf.size(), format.c_str(), a.width, a.precision,
                                   a.text.c_str(), a.wide.c_str(), a.number, a.real);
  return length < 0 || static_cast<std::size_t>(length) >= kBound ? L"" : buf.data();
}

/// Returns the bytes that fputws(3) writes for a string.
std::string modelWrite(const Scratch& scratch, const std::wstring& text) {
  const std::string path = scratch / "expected";
  const commutil::FileHandle file(std::fopen(path.c_str(), "w"));
  std::fputws(text.c_str(), file.get());
  std::fflush(file.get());
  return contentOf(path);
}

void checkWriting(const std::wstring& format, const Arguments& a, const std::wstring& expected) {
  static const Scratch scratch;
  const std::string path = scratch / "printed";
  std::vector<wchar_t> buf(kBound, L'#');
  const commutil::FileHandle file(std::fopen(path.c_str(), "w"));
  expect(file != nullptr, "the file can be opened");
  Vexafwprintf(file.get(), buf.data(), format.c_str(), a.width, a.precision, a.text.c_str(),
               a.wide.c_str(), a.number, a.real);
  expectEqual(std::wstring(buf.data()), expected, "the result of Vexafwprintf");
  std::fflush(file.get());
  const std::string content = modelWrite(scratch, expected);
  expectEqual(contentOf(path), content, "the file of Vexafwprintf");

  Vexawofstream stream;
  stream.open(path.c_str(), 16);
  stream << expected.c_str();
  stream.close();
  expectEqual(contentOf(path), content, "the file of a wide stream");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  expect(std::setlocale(LC_ALL, input.choice(2) == 0 ? "C.UTF-8" : "C") != nullptr, "a locale");
  Arguments a;
  a.width = readNumber(input);
  a.precision = readNumber(input);
  a.number = std::strtol(input.cText().c_str(), nullptr, 0);
  a.real = std::strtod(input.cText().c_str(), nullptr);
  const std::wstring format = readFormat(input);
  a.wide = readWide(input);
  a.text = upToNul(input.rest());

  const std::wstring expected = modelPrint(format, a);
  std::vector<wchar_t> buf(kBound, L'#');
  Vexaswprintf(buf.data(), format.c_str(), a.width, a.precision, a.text.c_str(), a.wide.c_str(),
               a.number, a.real);
  expectEqual(std::wstring(buf.data()), expected, "Vexaswprintf");
  Vexaswprintf(buf.data(), nullptr);
  expectEqual(std::wstring(buf.data()), expected, "no format, nothing written");
  checkWriting(format, a, expected);
}
