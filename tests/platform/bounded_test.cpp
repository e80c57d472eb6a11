#include "platform/bounded.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(MemcpyS, CopiesUpToTheSize) {
  for (const std::size_t count : {0U, 1U, 7U, 8U}) {
    SCOPED_TRACE(count);
    std::string dest(8, '#');
    EXPECT_EQ(0, memcpy_s(dest.data(), 8, "ab\0cdefg", count));
    EXPECT_EQ(std::string("ab\0cdefg", count) + std::string(8 - count, '#'), dest);
  }
}

TEST(MemcpyS, RefusesMoreThanTheSizeAndWritesNothing) {
  std::string dest(8, '#');
  EXPECT_NE(0, memcpy_s(dest.data(), 7, "abcdefgh", 8));
  EXPECT_NE(0, memcpy_s(dest.data(), 0, "abcdefgh", 1));
  EXPECT_NE(0, memcpy_s(dest.data(), 8, "abcdefgh", SIZE_MAX));
  EXPECT_EQ("########", dest);
}

TEST(MemcpyS, RefusesNullPointers) {
  char dest = '#';
  EXPECT_NE(0, memcpy_s(nullptr, 8, "a", 1));
  EXPECT_NE(0, memcpy_s(nullptr, 8, "a", 0));
  EXPECT_NE(0, memcpy_s(&dest, 1, nullptr, 1));
  EXPECT_EQ(0, memcpy_s(&dest, 1, nullptr, 0));
  EXPECT_EQ('#', dest);
}

TEST(MemsetS, FillsUpToTheSize) {
  for (const std::size_t count : {0U, 1U, 3U, 4U}) {
    SCOPED_TRACE(count);
    std::string dest(4, '#');
    EXPECT_EQ(0, memset_s(dest.data(), 4, 'x', count));
    EXPECT_EQ(std::string(count, 'x') + std::string(4 - count, '#'), dest);
  }
}

TEST(MemsetS, RefusesMoreThanTheSizeAndNull) {
  std::string dest(4, '#');
  EXPECT_NE(0, memset_s(dest.data(), 3, 'x', 4));
  EXPECT_NE(0, memset_s(nullptr, 4, 'x', 4));
  EXPECT_EQ("####", dest);
}

struct Copy {
  const char* name;
  std::size_t size;
  std::string source;
  std::size_t count;
  bool success;
  std::string result;
};

const Copy kCopies[] = {
    {"shorter than the count", 8, "abc", 7, true, "abc"},
    {"as long as the count", 8, "abcdefg", 7, true, "abcdefg"},
    {"cut at the count", 8, "abcdefgh", 7, true, "abcdefg"},
    {"cut far before its end", 8, std::string(5000, 'a'), 3, true, "aaa"},
    {"count 0", 8, "abc", 0, true, ""},
    {"empty", 8, "", 7, true, ""},
    {"room for the terminator only", 1, "", 5, true, ""},
    {"count above the size, text short", 8, "abc", 100, true, "abc"},
    {"count of the size, text of the size", 8, "abcdefgh", 8, false, ""},
    {"count above the size, text too long", 8, "abcdefghi", 100, false, ""},
    {"no room for a terminator", 1, "a", 1, false, ""},
};

TEST(StrncpyS, CopiesAndTerminates) {
  for (const Copy& copy : kCopies) {
    SCOPED_TRACE(copy.name);
    std::string dest(10, '#');
    EXPECT_EQ(copy.success,
              strncpy_s(dest.data(), copy.size, copy.source.c_str(), copy.count) == 0);
    EXPECT_STREQ(copy.result.c_str(), dest.c_str());
    EXPECT_EQ(std::string(10 - copy.result.size() - 1, '#'), dest.substr(copy.result.size() + 1));
  }
}

TEST(StrncpyS, ReadsNoFurtherThanTheCount) {
  const char source[2] = {'a', 'b'};
  std::string dest(8, '#');
  EXPECT_EQ(0, strncpy_s(dest.data(), 8, source, 2));
  EXPECT_STREQ("ab", dest.c_str());
}

TEST(StrncpyS, RefusesNullAndSizeZero) {
  std::string dest(4, '#');
  EXPECT_NE(0, strncpy_s(dest.data(), 0, "a", 1));
  EXPECT_EQ("####", dest);
  EXPECT_NE(0, strncpy_s(nullptr, 4, "a", 1));
  EXPECT_NE(0, strncpy_s(dest.data(), 4, nullptr, 1));
  EXPECT_STREQ("", dest.c_str());
}

struct Format {
  const char* name;
  std::size_t size;
  std::size_t count;
  std::string text;
  int result;
  std::string written;
};

const Format kFormats[] = {
    {"one below the count", 8, 7, "abcdef", 6, "abcdef"},
    {"the count", 8, 7, "abcdefg", 7, "abcdefg"},
    {"one above the count", 8, 7, "abcdefgh", -1, "abcdefg"},
    {"small count", 8, 3, "abcd", -1, "abc"},
    {"count 0, empty output", 8, 0, "", 0, ""},
    {"count 0", 8, 0, "a", -1, ""},
    {"count of the size", 8, 8, "abcdefg", 7, "abcdefg"},
    {"count of the size, text of the size", 8, 8, "abcdefgh", -1, "abcdefg"},
    {"count above the size", 4, SIZE_MAX, "abcd", -1, "abc"},
    {"room for the terminator only", 1, 0, "", 0, ""},
};

TEST(SnprintfS, FormatsAndTerminates) {
  for (const Format& format : kFormats) {
    SCOPED_TRACE(format.name);
    std::string dest(10, '#');
    const int result =
        snprintf_s(dest.data(), format.size, format.count, "%s", format.text.c_str());
    EXPECT_EQ(format.result, result);
    EXPECT_STREQ(format.written.c_str(), dest.c_str());
    EXPECT_EQ(std::string(10 - format.written.size() - 1, '#'),
              dest.substr(format.written.size() + 1));
  }
}

TEST(SnprintfS, FormatsEachKind) {
  char dest[64];
  EXPECT_EQ(11,
            snprintf_s(dest, sizeof dest, sizeof dest - 1, "%d %s %02x %lu", -5, "ab", 10, 99UL));
  EXPECT_STREQ("-5 ab 0a 99", dest);
}

TEST(SnprintfS, RefusesNullAndSizeZero) {
  char dest[4] = "###";
  EXPECT_LT(snprintf_s(nullptr, 4, 3, "%s", "a"), 0);
  EXPECT_LT(snprintf_s(dest, 0, 0, "%s", "a"), 0);
  // Through a pointer, about whose formats compilers do not warn.
  int (*const format)(char*, std::size_t, std::size_t, const char*, ...) = snprintf_s;
  EXPECT_LT(format(dest, 4, 3, nullptr, "a"), 0);
  EXPECT_STREQ("###", dest);
}

TEST(SnprintfS, EmptiesWhatItCannotFormat) {
  char dest[64] = "junk";
  const wchar_t beyond[] = {wchar_t(0x20AC), 0};  // no such character in the "C" locale
  EXPECT_LT(snprintf_s(dest, sizeof dest, sizeof dest - 1, "before %ls", beyond), 0);
  EXPECT_STREQ("", dest);
}

int formatWide(wchar_t* dest, std::size_t size, const wchar_t* format, ...) {
  std::va_list args;
  va_start(args, format);
  const int result = vswprintf_s(dest, size, format, args);
  va_end(args);
  return result;
}

TEST(VswprintfS, CountsTheTerminatorInItsSize) {
  struct Row {
    std::size_t size;
    int result;
    const wchar_t* written;
  };
  for (const Row& row : {Row{5, 3, L"abc"}, Row{4, 3, L"abc"}, Row{3, -1, L""}, Row{1, -1, L""}}) {
    SCOPED_TRACE(row.size);
    std::wstring dest(6, L'#');
    EXPECT_EQ(row.result, formatWide(dest.data(), row.size, L"%ls", L"abc"));
    EXPECT_STREQ(row.written, dest.c_str());
    EXPECT_EQ(std::wstring(6 - row.size, L'#'), dest.substr(row.size));
  }
}

TEST(VswprintfS, EmptiesWhatItCannotFormat) {
  wchar_t dest[16] = L"junk";
  EXPECT_EQ(-1, formatWide(dest, 16, L"%s", "\xff"));  // invalid in the "C" locale
  EXPECT_STREQ(L"", dest);
}

TEST(VswprintfS, RefusesNullAndSizeZero) {
  wchar_t dest[4] = L"###";
  EXPECT_EQ(-1, formatWide(nullptr, 4, L"a"));
  EXPECT_EQ(-1, formatWide(dest, 0, L"a"));
  EXPECT_EQ(-1, formatWide(dest, 4, nullptr));
  EXPECT_STREQ(L"###", dest);
}

}  // namespace
