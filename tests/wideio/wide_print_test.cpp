#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "VexaWideIO.h"
#include "support/fixtures.h"
#include "support/locales.h"

namespace {

using commutil_test::CapturedOutput;
using commutil_test::Latin1Locale;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::setLocale;
using commutil_test::TempDir;

constexpr std::size_t kLimit = 4096;

std::wstring junk() { return std::wstring(kLimit + 8, L'#'); }

void callWithList(wchar_t* buf, const wchar_t* format, ...) {
  std::va_list args;
  va_start(args, format);
  Vexavswprintf(buf, format, args);
  va_end(args);
}

TEST(WidePrint, FormatsIntoTheBuffer) {
  for (const auto print : {&Vexaswprintf, &callWithList}) {
    std::wstring buf = junk();
    print(buf.data(), L"%d-%ls-%s-%c-%5.2f", -7, L"wide", "bytes", 'c', 1.5);
    EXPECT_STREQ(L"-7-wide-bytes-c- 1.50", buf.c_str());
    print(buf.data(), L"");
    EXPECT_STREQ(L"", buf.c_str());
  }
}

TEST(WidePrint, HoldsUpTo4095Characters) {
  struct Row {
    int width;
    std::size_t length;
  };
  for (const Row& row :
       {Row{4094, 4094}, Row{4095, 4095}, Row{4096, 0}, Row{4097, 0}, Row{100000, 0}}) {
    SCOPED_TRACE(row.width);
    std::wstring buf = junk();
    Vexaswprintf(buf.data(), L"%*d", row.width, 5);
    EXPECT_EQ(row.length, std::wcslen(buf.c_str()));
    EXPECT_EQ(std::wstring(8, L'#'), buf.substr(kLimit));
  }
}

TEST(WidePrint, AResultThatCannotBeFormattedIsEmpty) {
  runInChild([] {
    setLocale("C.UTF-8");
    std::wstring buf = junk();
    Vexaswprintf(buf.data(), L"before %s", "\xFF");
    EXPECT_EQ(L'\0', buf[0]);
  });
}

TEST(WidePrint, NullsWriteNothing) {
  std::wstring buf = junk();
  Vexaswprintf(buf.data(), nullptr);
  callWithList(buf.data(), nullptr);
  EXPECT_EQ(junk(), buf);
  Vexaswprintf(nullptr, L"text");
  Vexaswprintf(nullptr, nullptr);
  callWithList(nullptr, L"text");
}

struct OutputRow {
  const char* name;
  void (*print)();
  std::string text;
};

TEST(WidePrint, PrintsToStandardOutputAndFlushes) {
  for (const OutputRow& row : {
           OutputRow{"text", [] { Vexawprintf(L"%d %ls\n", 5, L"\xE4"); }, "5 \xC3\xA4\n"},
           OutputRow{"null format", [] { Vexawprintf(nullptr); }, ""},
           OutputRow{"4095", [] { Vexawprintf(L"%*d", 4095, 5); }, std::string(4094, ' ') + "5"},
           OutputRow{"4096", [] { Vexawprintf(L"%*d", 4096, 5); }, ""},
           OutputRow{"NUL", [] { Vexawprintf(L"a%lcb", L'\0'); }, "a"},
       }) {
    SCOPED_TRACE(row.name);
    runInChild([&] {
      setLocale("C.UTF-8");
      const TempDir dir;
      ASSERT_NE(nullptr, std::freopen((dir / "out").c_str(), "w", stdout));
      std::fwide(stdout, 1);
      std::fputws(L"pending ", stdout);
      EXPECT_EQ("", readFile(dir / "out"));
      row.print();
      EXPECT_EQ("pending " + row.text, readFile(dir / "out"));
    });
  }
}

TEST(WidePrint, ANullFormatFlushesBytesToo) {
  runInChild([] {
    const TempDir dir;
    ASSERT_NE(nullptr, std::freopen((dir / "out").c_str(), "w", stdout));
    std::fputs("bytes", stdout);
    Vexawprintf(nullptr);
    EXPECT_EQ("bytes", readFile(dir / "out"));
    // Standard output is byte-oriented by now and refuses wide text.
    Vexawprintf(L"wide");
    EXPECT_EQ("bytes", readFile(dir / "out"));
  });
}

TEST(WidePrint, MakesStandardOutputWide) {
  runInChild([] {
    CapturedOutput output(1);
    ASSERT_NE(nullptr, std::freopen("/dev/stdout", "w", stdout));
    Vexawprintf(L"a");
    EXPECT_GT(std::fwide(stdout, 0), 0);
    EXPECT_EQ(EOF, std::fputs("bytes", stdout));
    EXPECT_EQ("a", output.stop());
  });
}

TEST(WidePrint, WritesToAStreamWithoutAFlush) {
  const TempDir dir;
  std::FILE* const file = std::fopen((dir / "out").c_str(), "w");
  ASSERT_NE(nullptr, file);
  std::wstring buf = junk();
  Vexafwprintf(file, buf.data(), L"%d;", 5);
  EXPECT_STREQ(L"5;", buf.c_str());
  EXPECT_EQ("", readFile(dir / "out"));
  Vexafwprintf(file, buf.data(), nullptr);
  EXPECT_STREQ(L"5;", buf.c_str());
  Vexafwprintf(file, buf.data(), L"%*d", 4096, 5);
  EXPECT_STREQ(L"", buf.c_str());
  std::fclose(file);
  EXPECT_EQ("5;5;", readFile(dir / "out"));
}

TEST(WidePrint, ConvertsByTheLocale) {
  const Latin1Locale latin1;
  runInChild([&] {
    latin1.set();
    const TempDir dir;
    std::FILE* const file = std::fopen((dir / "out").c_str(), "w");
    ASSERT_NE(nullptr, file);
    std::wstring buf = junk();
    Vexafwprintf(file, buf.data(), L"%s%lc", "\xE4", L'\xFF');
    EXPECT_STREQ(L"\xE4\xFF", buf.c_str());
    std::fclose(file);
    EXPECT_EQ("\xE4\xFF", readFile(dir / "out"));
  });
}

}  // namespace
