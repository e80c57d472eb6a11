#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "VexaWideIO.h"
#include "support/fixtures.h"
#include "support/locales.h"
#include "wideio/modes.h"
#include "wideio/open_files.h"

namespace {

using commutil_test::allBytes;
using commutil_test::kRead;
using commutil_test::kUpdate;
using commutil_test::Latin1Locale;
using commutil_test::runInChild;
using commutil_test::setLocale;
using commutil_test::TempDir;

// An array before a read, and WEOF if it was stored.
constexpr wchar_t kJunk = L'#';
const std::wstring kEnd(1, static_cast<wchar_t>(WEOF));
const std::wstring kNul(1, L'\0');

std::wstring times(std::size_t count, const std::wstring& text) {
  std::wstring all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

/// A reader of its own file.
class OpenReader {
 public:
  explicit OpenReader(const std::string& content) {
    stream.open(m_dir.write("text", content).c_str(), kRead);
    EXPECT_TRUE(stream.isValid());
  }

 private:
  TempDir m_dir;

 public:
  Vexawifstream stream;
};

static_assert(std::is_base_of_v<std::istream, Vexawifstream>);
static_assert(std::has_virtual_destructor_v<Vexawifstream>);

TEST(WideReader, StartsClosedWithoutABufferInItsBase) {
  Vexawifstream stream;
  EXPECT_FALSE(stream.isValid());
  EXPECT_EQ(nullptr, stream.rdbuf());
  EXPECT_TRUE(stream.bad());
}

TEST(WideReader, ReturnsFailuresWhileClosed) {
  Vexawifstream stream;
  EXPECT_EQ(-1, stream.eof());
  EXPECT_EQ(1, stream.fail());
  EXPECT_EQ(-1, stream.fseekg(0));
  EXPECT_EQ(-1, stream.ftellg());
  EXPECT_EQ(-1, stream.getn());
  EXPECT_EQ(-1.0, stream.getd());
  char c = 'x';
  EXPECT_EQ(0, stream.get(c));
  EXPECT_EQ('x', c);
  char bytes[4] = "abc";
  EXPECT_EQ(0U, stream.read(bytes, 1, 3));
  stream.get(bytes, 1);
  stream.get(bytes, 4);
  stream.get(bytes, 4, 'b');
  EXPECT_STREQ("abc", bytes);
  wchar_t wide[4] = L"abc";
  for (const std::size_t n : {1U, 3U}) {
    stream.get(wide, n);
    stream.get(wide, n, L'b');
    stream.getline(wide, n);
    stream.getline(wide, n, L'b');
  }
  EXPECT_STREQ(L"abc", wide);
  stream.close();
  EXPECT_FALSE(stream.isValid());
}

TEST(WideReader, OpensForReadingOrUpdateByTheWholeMode) {
  const TempDir dir;
  const std::string path = dir.write("text", "ab");
  struct Row {
    int mode;
    bool update;
  };
  // A mode that only contains the bit 8 opens for update.
  for (const Row& row : {Row{8, false}, Row{24, true}, Row{0, true}, Row{16, true}, Row{1, true},
                         Row{9, true}, Row{-1, true}, Row{32, true}}) {
    SCOPED_TRACE(row.mode);
    Vexawifstream stream;
    stream.open(path.c_str(), row.mode);
    ASSERT_TRUE(stream.isValid());
    const std::vector<int> flags = openFlags(path);
    ASSERT_EQ(1U, flags.size());
    EXPECT_EQ(row.update ? O_RDWR : O_RDONLY, flags.front() & O_ACCMODE);
    EXPECT_EQ(L'a', static_cast<wchar_t>(stream.get()));
    EXPECT_EQ("ab", commutil_test::readFile(path));
  }
}

TEST(WideReader, ANullPathLeavesTheStreamAsItIs) {
  OpenReader reader("ab");
  reader.stream.open(nullptr, kRead);
  ASSERT_TRUE(reader.stream.isValid());
  EXPECT_EQ(L'a', static_cast<wchar_t>(reader.stream.get()));
}

TEST(WideReader, AFailedOpenClosesWhatWasOpen) {
  OpenReader reader("ab");
  reader.stream.open("/nowhere/at/all", kRead);
  EXPECT_FALSE(reader.stream.isValid());
  EXPECT_EQ(1, reader.stream.fail());
  EXPECT_EQ(-1, reader.stream.eof());
}

TEST(WideReader, NeverCreatesAFile) {
  const TempDir dir;
  Vexawifstream stream;
  for (const int mode : {kRead, kUpdate, 16, 1}) {
    stream.open((dir / "none").c_str(), mode);
    EXPECT_FALSE(stream.isValid()) << mode;
  }
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(WideReader, ReportsEndOfFileAndErrorAsStdioDoes) {
  OpenReader reader("a");
  EXPECT_EQ(L'a', static_cast<wchar_t>(reader.stream.get()));
  EXPECT_EQ(0, reader.stream.eof());
  EXPECT_EQ(WEOF, reader.stream.get());
  EXPECT_NE(0, reader.stream.eof());
  EXPECT_EQ(0, reader.stream.fail());
  EXPECT_EQ(0, reader.stream.fseekg(0));
  EXPECT_EQ(0, reader.stream.eof());
  EXPECT_EQ(0, reader.stream.ftellg());
  EXPECT_EQ(-1, reader.stream.fseekg(-1));
  EXPECT_EQ(EINVAL, errno);
}

TEST(WideReader, ADirectoryOpensButCannotBeRead) {
  const TempDir dir;
  Vexawifstream stream;
  stream.open(dir.path().c_str(), kRead);
  ASSERT_TRUE(stream.isValid());
  std::wstring wide(6, kJunk);
  stream.get(wide.data(), 4);
  EXPECT_EQ(times(3, kEnd) + kNul + L"##", wide);
  EXPECT_EQ(0, stream.eof());
  EXPECT_NE(0, stream.fail());
}

TEST(WideReader, ADirectoryHasNoNumber) {
  const TempDir dir;
  Vexawifstream stream;
  stream.open(dir.path().c_str(), kRead);
  EXPECT_EQ(-1, stream.getn());
  EXPECT_EQ(-1.0, stream.getd());
  std::string bytes(6, '#');
  stream.get(bytes.data(), 4);
  EXPECT_EQ(std::string("\0#####", 6), bytes);
  char c = 'x';
  EXPECT_EQ(0, stream.get(c));
  EXPECT_EQ('x', c);
}

TEST(WideReader, ReadsOneWideCharacter) {
  runInChild([] {
    setLocale("C.UTF-8");
    OpenReader reader(
        "\xE4\xB8\xAD"
        "b");
    wchar_t c = L'x';
    EXPECT_EQ(0x4E2D, reader.stream.get(c));
    EXPECT_EQ(L'\x4E2D', c);
    EXPECT_EQ(static_cast<std::wint_t>(L'b'), reader.stream.get());
    EXPECT_EQ(-1, reader.stream.get(c));
    EXPECT_EQ(static_cast<wchar_t>(WEOF), c);
    EXPECT_EQ(WEOF, reader.stream.get());
  });
}

// One wide read into an array of junk that starts with `before`.
struct LineRow {
  const char* name;
  std::string content;
  std::size_t n;
  std::wstring array;  ///< the array after the read, up to the last element that was written
  std::string rest;    ///< bytes still unread
  std::wstring before{};
};

using WideRead = void (*)(Vexawifstream&, wchar_t*, std::size_t);

void expectLines(const std::vector<LineRow>& rows, WideRead read) {
  for (const LineRow& row : rows) {
    SCOPED_TRACE(row.name);
    OpenReader reader(row.content);
    std::wstring array(64, kJunk);
    array.replace(0, row.before.size(), row.before);
    read(reader.stream, array.data(), row.n);
    EXPECT_EQ(row.array + std::wstring(64 - row.array.size(), kJunk), array);
    const long position = reader.stream.ftellg();
    EXPECT_EQ(row.rest, row.content.substr(static_cast<std::size_t>(position)));
  }
}

void getPlain(Vexawifstream& stream, wchar_t* buf, std::size_t n) { stream.get(buf, n); }
void getDelimited(Vexawifstream& stream, wchar_t* buf, std::size_t n) { stream.get(buf, n, L';'); }
void getlinePlain(Vexawifstream& stream, wchar_t* buf, std::size_t n) { stream.getline(buf, n); }
void getlineDelimited(Vexawifstream& stream, wchar_t* buf, std::size_t n) {
  stream.getline(buf, n, L';');
}

// The behavior of get with and without a delimiter.
std::vector<LineRow> commonGetRows() {
  return {
      {"line", "ab\ncd", 10, L"ab" + kNul, "cd"},
      {"empty line", "\ncd", 10, kNul, "cd"},
      {"end of file", "ab", 10, L"ab" + kEnd + kNul, ""},
      {"empty file", "", 10, kEnd + kNul, ""},
      {"n of 1", "ab\n", 1, kNul, "ab\n"},
      {"n of 2", "ab\n", 2, L"a" + kNul, "b\n"},
      {"n of 2, line feed", "\nb", 2, kNul, "b"},
      {"n of 2, empty file", "", 2, kEnd + kNul, ""},
      {"limit before the line feed", "abc\n", 4, L"abc" + kNul, "\n"},
      {"line feed at the limit", "ab\n", 4, L"ab" + kNul, ""},
      {"end of file at the limit", "ab", 4, L"ab" + kEnd + kNul, ""},
      {"limit before end of file", "abc", 4, L"abc" + kNul, ""},
      {"n of 0 sets no limit", "abcdefgh\ni", 0, L"abcdefgh" + kNul, "i"},
      {"NULs are data", std::string("a\0b\0\nc", 6), 10, L"a" + kNul + L"b" + kNul + kNul, "c"},
      {"NULs up to the end", std::string("\0\0", 2), 10, kNul + kNul + kEnd + kNul, ""},
      {"NULs up to the limit", std::string("a\0\0\0\0", 5), 4, L"a" + kNul + kNul + kNul,
       std::string(2, '\0')},
      {"carriage return is data", "a\r\nb", 10, L"a\r" + kNul, "b"},
      {"space is data", "a b\nc", 10, L"a b" + kNul, "c"},
  };
}

TEST(WideReader, GetDropsTheLineFeed) {
  auto rows = commonGetRows();
  rows.push_back({"no delimiter", "a;b\n", 10, L"a;b" + kNul, ""});
  expectLines(rows, getPlain);
}

TEST(WideReader, GetStopsAtADelimiterToo) {
  auto rows = commonGetRows();
  rows.push_back({"delimiter", "a;b\n", 10, L"a" + kNul, "b\n"});
  rows.push_back({"delimiter first", ";b\n", 10, kNul, "b\n"});
  rows.push_back({"line feed first", "a\nb;", 10, L"a" + kNul, "b;"});
  rows.push_back({"delimiter at the limit", "ab;", 4, L"ab" + kNul, ""});
  rows.push_back({"limit before the delimiter", "abc;", 4, L"abc" + kNul, ";"});
  expectLines(rows, getDelimited);
}

TEST(WideReader, GetlineKeepsTheLineFeed) {
  expectLines(
      {
          {"line", "ab\ncd", 10, L"ab\n" + kNul, "cd"},
          {"empty line", "\ncd", 10, L"\n" + kNul, "cd"},
          {"end of file", "ab", 10, L"ab" + kEnd + L"#" + kNul, ""},
          {"empty file", "", 10, kEnd + L"#" + kNul, ""},
          {"n of 1", "ab\n", 1, L"#" + kNul, "ab\n"},
          {"n of 2", "ab\n", 2, L"a#" + kNul, "b\n"},
          {"n of 2, line feed", "\nb", 2, L"\n" + kNul, "b"},
          {"n of 2, empty file", "", 2, kEnd + L"#" + kNul, ""},
          {"limit before the line feed", "abc\n", 4, L"abc#" + kNul, "\n"},
          {"line feed at the limit", "ab\n", 4, L"ab\n" + kNul, ""},
          {"end of file at the limit", "ab", 4, L"ab" + kEnd + L"#" + kNul, ""},
          {"limit before end of file", "abc", 4, L"abc#" + kNul, ""},
          {"n of 0 sets no limit", "abcdefgh\ni", 0, L"abcdefgh\n" + kNul, "i"},
          {"NULs are data", std::string("a\0\nb", 4), 10, L"a" + kNul + L"\n" + kNul, "b"},
          {"no delimiter", "a;b\n", 10, L"a;b\n" + kNul, ""},
          {"the old array does not matter", "abc", 4, L"abc\n" + kNul, "", L"\n\n\n\n"},
      },
      getlinePlain);
}

TEST(WideReader, GetlineChecksTheArraysOldContents) {
  expectLines(
      {
          {"line", "ab\ncd", 10, L"ab\n" + kNul, "cd"},
          {"delimiter", "ab;cd", 10, L"ab" + kNul, "cd"},
          {"delimiter first", ";cd", 10, kNul, "cd"},
          {"end of file", "ab", 10, L"ab" + kEnd + kNul, ""},
          {"end of file, old line feed", "ab", 10, L"ab" + kEnd + L"\n" + kNul, "", L"xyz\n"},
          {"empty file", "", 10, kEnd + kNul, ""},
          {"empty file, old line feed", "", 10, kEnd + L"\n" + kNul, "", L"x\n"},
          {"n of 1", "ab\n", 1, kNul, "ab\n"},
          {"n of 1, old line feed", "ab\n", 1, L"\n" + kNul, "ab\n", L"\n"},
          {"n of 2", "ab\n", 2, L"a" + kNul, "b\n"},
          {"n of 2, old line feed", "ab\n", 2, L"a\n" + kNul, "b\n", L"x\n"},
          {"limit", "abc;", 4, L"abc" + kNul, ";"},
          {"limit, old line feed", "abc;", 4, L"abc\n" + kNul, ";", L"xyz\n"},
          {"old line feeds that are overwritten", "ab;", 10, L"ab" + kNul + L"\n", "", L"\n\n\n\n"},
          {"delimiter at the limit", "ab;", 4, L"ab" + kNul, ""},
          {"line feed at the limit", "ab\n", 4, L"ab\n" + kNul, ""},
          {"n of 0 sets no limit", "abcdefgh;i", 0, L"abcdefgh" + kNul, "i"},
      },
      getlineDelimited);
}

TEST(WideReader, ALineFeedAsDelimiterStaysWithGetline) {
  OpenReader reader("ab\ncd");
  std::wstring array(6, kJunk);
  reader.stream.getline(array.data(), 5, L'\n');
  EXPECT_EQ(L"ab\n" + kNul + L"##", array);
}

TEST(WideReader, ADelimiterIsComparedAsAWholeValue) {
  runInChild([] {
    setLocale("C.UTF-8");
    OpenReader reader(
        "A\xE4\xB8\xAD"
        "b");
    std::wstring array(6, kJunk);
    reader.stream.get(array.data(), 6, 0x4E2D);
    EXPECT_EQ(L"A" + kNul + L"####", array);
    // WEOF is a value like any other: as a delimiter it is dropped.
    reader.stream.get(array.data(), 6, WEOF);
    EXPECT_EQ(L"b" + kNul + L"####", array);
  });
}

TEST(WideReader, NothingIsReadAfterTheEnd) {
  OpenReader reader("");
  EXPECT_EQ(WEOF, reader.stream.get());
  std::wstring array(6, kJunk);
  reader.stream.get(array.data(), 5);
  EXPECT_EQ(kNul + L"#####", array);
  array.assign(6, kJunk);
  reader.stream.get(array.data(), 5, L';');
  EXPECT_EQ(kNul + L"#####", array);
  array.assign(6, kJunk);
  reader.stream.getline(array.data(), 5);
  EXPECT_EQ(L"#" + kNul + L"####", array);
  array.assign(6, kJunk);
  reader.stream.getline(array.data(), 5, L';');
  EXPECT_EQ(kNul + L"#####", array);
}

struct InvalidRow {
  const char* name;
  std::string content;
  std::wstring before;  ///< what is read before the invalid sequence
};

TEST(WideReader, AnInvalidSequenceFillsTheArrayWithWeof) {
  runInChild([] {
    setLocale("C.UTF-8");
    for (const InvalidRow& row : {
             InvalidRow{"a single byte",
                        "ab\x80"
                        "cd\n",
                        L"ab"},
             InvalidRow{"first", "\xFF\n", L""},
             InvalidRow{"cut by text", "a\xE4\xB8z\n", L"a"},
             InvalidRow{"overlong", "a\xC0\x80\n", L"a"},
         }) {
      SCOPED_TRACE(row.name);
      for (const WideRead read : {getPlain, getDelimited, getlinePlain, getlineDelimited}) {
        OpenReader reader(row.content);
        std::wstring array(24, kJunk);
        errno = 0;
        read(reader.stream, array.data(), 20);
        EXPECT_EQ(EILSEQ, errno);
        const std::wstring filled = row.before + times(19 - row.before.size(), kEnd);
        const bool beyond = read == getlinePlain;
        EXPECT_EQ(filled + (beyond ? L"#" + kNul + L"###" : kNul + L"####"), array);
        EXPECT_EQ(0, reader.stream.eof());
        EXPECT_NE(0, reader.stream.fail());
      }
    }
  });
}

TEST(WideReader, ASequenceCutByTheEndIsTheEnd) {
  runInChild([] {
    setLocale("C.UTF-8");
    for (const WideRead read : {getPlain, getDelimited, getlineDelimited}) {
      OpenReader reader("a\xE4\xB8");
      std::wstring array(6, kJunk);
      read(reader.stream, array.data(), 5);
      EXPECT_EQ(L"a" + kEnd + kNul + L"###", array);
      EXPECT_NE(0, reader.stream.eof());
    }
  });
}

// A model of a wide read, one character at a time, which the fast paths must match.
std::size_t readBySteps(std::FILE* file, wchar_t* buf, std::size_t n, std::wint_t delim) {
  std::size_t i = 0;
  while (std::feof(file) == 0) {
    const std::wint_t c = std::fgetwc(file);
    buf[i] = static_cast<wchar_t>(c);
    if (c == L'\n' || c == delim) return i;
    if (++i == n - 1) break;
  }
  return i;
}

std::string randomText(std::mt19937& random) {
  static const std::vector<std::string> pieces = {"a",
                                                  "bc",
                                                  "\n",
                                                  std::string(1, '\0'),
                                                  ";",
                                                  "\xC3\xA9",
                                                  "\xE4\xB8\xAD",
                                                  "\xF0\x9F\x98\x80",
                                                  std::string(100, 'x'),
                                                  std::string(127, 'y'),
                                                  std::string(300, 'z')};
  static const std::vector<std::string> bad = {"\x80", "\xE4\xB8", "\xFF", "\xC0\x80"};
  std::string text;
  const std::size_t count = random() % 40;
  const bool faulty = random() % 4 == 0;
  for (std::size_t i = 0; i < count; ++i) {
    text += pieces[random() % (pieces.size() - (random() % 2) * 3)];
    if (faulty && random() % 20 == 0) text += bad[random() % bad.size()];
  }
  return text;
}

TEST(WideReader, LinesAgreeWithTheSingleSteps) {
  runInChild([] {
    setLocale("C.UTF-8");
    const TempDir dir;
    const std::vector<std::wint_t> delimiters = {L'\n', L'\n', L';'};
    std::mt19937 random(20240517);
    for (int round = 0; round < 400; ++round) {
      SCOPED_TRACE(round);
      const std::string path = dir.write("text", randomText(random));
      Vexawifstream stream;
      stream.open(path.c_str(), kRead);
      std::FILE* const file = std::fopen(path.c_str(), "r");
      ASSERT_NE(nullptr, file);
      for (int line = 0; line < 50 && std::feof(file) == 0; ++line) {
        const std::size_t n = 2 + random() % (random() % 3 == 0 ? 600 : 40);
        const std::wint_t delim = delimiters[random() % delimiters.size()];
        std::wstring expected(700, kJunk);
        std::wstring array(700, kJunk);
        errno = 0;
        expected[readBySteps(file, expected.data(), n, delim)] = L'\0';
        const int expectedError = errno;
        errno = 0;
        stream.get(array.data(), n, delim);
        ASSERT_EQ(expected, array);
        ASSERT_EQ(expectedError, errno);
        ASSERT_EQ(std::ftell(file), stream.ftellg());
        ASSERT_EQ(std::feof(file) != 0, stream.eof() != 0);
        ASSERT_EQ(std::ferror(file) != 0, stream.fail() != 0);
      }
      std::fclose(file);
    }
  });
}

TEST(WideReader, ReadsTheEncodingOfTheLocale) {
  const Latin1Locale latin1;
  runInChild([&] {
    latin1.set();
    OpenReader reader("\xE4\xFF\n");
    std::wstring array(6, kJunk);
    reader.stream.get(array.data(), 6);
    EXPECT_EQ(L"\xE4\xFF" + kNul + L"###", array);
    EXPECT_EQ(0, reader.stream.fail());
  });
}

TEST(WideReader, ReadsLinesOfAnyLength) {
  const std::string line(1 << 20, 'q');
  OpenReader reader(line + "\n" + line);
  std::wstring array(line.size() + 2, kJunk);
  reader.stream.get(array.data(), array.size());
  EXPECT_EQ(std::wstring(line.size(), L'q') + kNul + L"#", array);
}

TEST(WideReader, ReadsEveryByte) {
  const std::string all = allBytes();
  OpenReader reader(all);
  for (int byte = 0; byte < 256; ++byte) {
    char c = 'x';
    EXPECT_EQ(static_cast<signed char>(byte), reader.stream.get(c)) << byte;
    EXPECT_EQ(static_cast<char>(byte), c);
  }
  char c = 'x';
  EXPECT_EQ(0, reader.stream.get(c));  // reaches the end
  EXPECT_NE(0, reader.stream.eof());
  EXPECT_EQ(0, reader.stream.get(c));  // is at the end
  EXPECT_EQ('x', c);
}

struct ByteRow {
  const char* name;
  std::string content;
  std::size_t n;
  std::string array;
  std::string rest;
};

using ByteRead = std::function<void(Vexawifstream&, char*, std::size_t)>;

void expectBytes(const std::vector<ByteRow>& rows, const ByteRead& read) {
  for (const ByteRow& row : rows) {
    SCOPED_TRACE(row.name);
    OpenReader reader(row.content);
    std::string array(32, '#');
    read(reader.stream, array.data(), row.n);
    EXPECT_EQ(row.array + std::string(32 - row.array.size(), '#'), array);
    const long position = reader.stream.ftellg();
    EXPECT_EQ(row.rest, row.content.substr(static_cast<std::size_t>(position)));
  }
}

std::vector<ByteRow> commonByteRows() {
  const std::string nul(1, '\0');
  return {
      {"line", "ab\ncd", 10, "ab" + nul, "cd"},
      {"empty line", "\ncd", 10, nul, "cd"},
      {"the end is not stored", "ab", 10, "ab" + nul, ""},
      {"empty file", "", 10, nul, ""},
      {"n of 1", "ab\n", 1, nul, "ab\n"},
      {"n of 2", "ab\n", 2, "a" + nul, "b\n"},
      {"limit before the line feed", "abc\n", 4, "abc" + nul, "\n"},
      {"line feed at the limit", "ab\n", 4, "ab" + nul, ""},
      {"n of 0 sets no limit", "abcdefgh\ni", 0, "abcdefgh" + nul, "i"},
      {"NULs are data", std::string("a\0b\nc", 5), 10, "a" + nul + "b" + nul, "c"},
      {"the byte 255 is data",
       "a\xFF"
       "b\nc",
       10,
       "a\xFF"
       "b" +
           nul,
       "c"},
  };
}

TEST(WideReader, GetsALineOfBytes) {
  auto rows = commonByteRows();
  rows.push_back({"no delimiter", "a;b\n", 10, std::string("a;b\0", 4), ""});
  expectBytes(rows, [](auto& stream, char* buf, std::size_t n) { stream.get(buf, n); });
}

TEST(WideReader, GetsBytesUpToADelimiter) {
  auto rows = commonByteRows();
  rows.push_back({"delimiter", "a;b\n", 10, std::string("a\0", 2), "b\n"});
  rows.push_back({"delimiter at the limit", "ab;c", 4, std::string("ab\0", 3), "c"});
  rows.push_back({"limit before the delimiter", "abc;", 4, std::string("abc\0", 4), ";"});
  expectBytes(rows, [](auto& stream, char* buf, std::size_t n) { stream.get(buf, n, ';'); });
}

TEST(WideReader, ALineOfBytesAtTheEndIsEmpty) {
  OpenReader reader("ab");
  std::string array(4, '#');
  reader.stream.get(array.data(), array.size());
  EXPECT_NE(0, reader.stream.eof());
  array.assign(4, '#');
  reader.stream.get(array.data(), array.size());
  EXPECT_EQ(std::string("\0###", 4), array);
}

TEST(WideReader, ByteDelimitersAreSignedCharValues) {
  for (const int delim : {-23, 0xE9, 0x1E9}) {
    SCOPED_TRACE(delim);
    expectBytes({{"delimiter",
                  "a\xE9"
                  "b",
                  10, std::string("a\0", 2), "b"}},
                [&](auto& stream, char* buf, std::size_t n) { stream.get(buf, n, delim); });
  }
  expectBytes({{"the byte 255",
                "a\xFF"
                "b",
                10, std::string("a\0", 2), "b"}},
              [](auto& stream, char* buf, std::size_t n) { stream.get(buf, n, -1); });
  expectBytes({{"NUL", std::string("a\0b", 3), 10, std::string("a\0", 2), "b"}},
              [](auto& stream, char* buf, std::size_t n) { stream.get(buf, n, 0); });
}

struct NumberRow {
  const char* name;
  std::string content;
  long value;
  std::string rest;
};

TEST(WideReader, ReadsADecimalInteger) {
  for (const NumberRow& row : {
           NumberRow{"space after", "123 4", 123, " 4"},
           NumberRow{"line feed after", "123\n4", 123, "4"},
           NumberRow{"end of file after", "123", 123, ""},
           NumberRow{"empty file", "", 0, ""},
           NumberRow{"line feed alone", "\n4", 0, "4"},
           NumberRow{"minus", "-5", 0, "-5"},
           NumberRow{"plus", "+5", 0, "+5"},
           NumberRow{"leading space", " 5", 0, " 5"},
           NumberRow{"point", "1.5", 1, ".5"},
           NumberRow{"carriage return", "1\r\n", 1, "\r\n"},
           NumberRow{"the byte 255",
                     "1\xFF"
                     "2",
                     1,
                     "\xFF"
                     "2"},
           NumberRow{"NUL", std::string("1\0002", 3), 1, std::string("\0002", 2)},
           NumberRow{"byte below 0", "1/2", 1, "/2"},
           NumberRow{"byte above 9", "1:2", 1, ":2"},
           NumberRow{"leading zeros", "0010 ", 10, " "},
           NumberRow{"largest", "9223372036854775807;", LONG_MAX, ";"},
           NumberRow{"too large", "9223372036854775808;", LONG_MAX, ";"},
           NumberRow{"98 digits", std::string(97, '0') + "7 ", 7, " "},
           NumberRow{"99 digits", std::string(98, '0') + "7 8", 7, " 8"},
           NumberRow{"99 digits, line feed", std::string(98, '0') + "7\n8", 7, "8"},
           NumberRow{"99 digits, end", std::string(98, '0') + "7", 7, ""},
           NumberRow{"100 digits: the last is lost", std::string(98, '0') + "78 9", 7, " 9"},
           NumberRow{"100 digits, line feed", std::string(98, '0') + "78\n9", 7, "\n9"},
           NumberRow{"101 digits", std::string(98, '0') + "789", 7, "9"},
       }) {
    SCOPED_TRACE(row.name);
    OpenReader reader(row.content);
    EXPECT_EQ(row.value, reader.stream.getn());
    const long position = reader.stream.ftellg();
    EXPECT_EQ(row.rest, row.content.substr(static_cast<std::size_t>(position)));
  }
}

TEST(WideReader, ASignIsReadAgainByTheNextCall) {
  OpenReader reader("-5");
  EXPECT_EQ(0, reader.stream.getn());
  EXPECT_EQ(0, reader.stream.getn());
  EXPECT_EQ(0.0, reader.stream.getd());
  char c = 'x';
  EXPECT_EQ('-', reader.stream.get(c));
  EXPECT_EQ(5, reader.stream.getn());
  EXPECT_NE(0, reader.stream.eof());
  EXPECT_EQ(0, reader.stream.getn());
}

struct RealRow {
  const char* name;
  std::string content;
  double value;
  std::string rest;
};

TEST(WideReader, ReadsADecimalNumberWithAPoint) {
  for (const RealRow& row : {
           RealRow{"line feed after", "3.25\n4", 3.25, "4"},
           RealRow{"space after", "3.25 4", 3.25, " 4"},
           RealRow{"end of file after", "3.25", 3.25, ""},
           RealRow{"whole", "17;", 17.0, ";"},
           RealRow{"several points are all read", "1.5.7;", 1.5, ";"},
           RealRow{"points alone", "..;", 0.0, ";"},
           RealRow{"leading point", ".5;", 0.5, ";"},
           RealRow{"no exponent", "1e5", 1.0, "e5"},
           RealRow{"minus", "-1.5", 0.0, "-1.5"},
           RealRow{"comma", "1,5", 1.0, ",5"},
           RealRow{"empty file", "", 0.0, ""},
           RealRow{"99 bytes", std::string(96, '0') + "7.5 8", 7.5, " 8"},
           RealRow{"100 bytes: the last is lost", std::string(96, '0') + "7.25 8", 7.2, " 8"},
           RealRow{"101 bytes", std::string(97, '0') + "7.29", 7.0, "9"},
       }) {
    SCOPED_TRACE(row.name);
    OpenReader reader(row.content);
    EXPECT_EQ(row.value, reader.stream.getd());
    const long position = reader.stream.ftellg();
    EXPECT_EQ(row.rest, row.content.substr(static_cast<std::size_t>(position)));
  }
}

TEST(WideReader, ThePointOfANumberIsTheLocalesOwn) {
  const Latin1Locale decimalComma;
  runInChild([&] {
    decimalComma.set();
    OpenReader reader("3.25;");
    EXPECT_EQ(3.0, reader.stream.getd());
    EXPECT_EQ(4, reader.stream.ftellg());
  });
}

TEST(WideReader, NumbersFailWhereTheFileCannotStepBack) {
  const TempDir dir;
  const std::string path = dir / "pipe";
  ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600));
  Vexawifstream stream;
  stream.open(path.c_str(), kUpdate);  // both ends: opening does not wait
  ASSERT_TRUE(stream.isValid());
  std::FILE* const writer = std::fopen(path.c_str(), "w");
  ASSERT_NE(nullptr, writer);
  std::fputs("12 34\n5.5 6.5\n", writer);
  std::fclose(writer);
  EXPECT_EQ(-1, stream.getn());
  EXPECT_EQ(34, stream.getn());
  EXPECT_EQ(-1.0, stream.getd());
  EXPECT_EQ(6.5, stream.getd());
}

TEST(WideReader, ReadsRecords) {
  OpenReader reader("abcdefg");
  char buf[8] = "#######";
  EXPECT_EQ(0U, reader.stream.read(nullptr, 1, 3));
  EXPECT_EQ(2U, reader.stream.read(buf, 3, 2));
  EXPECT_STREQ("abcdef#", buf);
  EXPECT_EQ(0U, reader.stream.read(buf, 3, 2));
  EXPECT_NE(0, reader.stream.eof());
  EXPECT_STREQ("gbcdef#", buf);
}

TEST(WideReader, BytesAfterWideTextAreRefused) {
  OpenReader reader("ab\ncd\n12");
  std::wstring wide(8, kJunk);
  reader.stream.get(wide.data(), 8);
  std::string bytes(4, '#');
  reader.stream.get(bytes.data(), 4);
  EXPECT_EQ(std::string("\0###", 4), bytes);
  EXPECT_EQ(0, reader.stream.eof());
  reader.stream.get(wide.data(), 8);
  EXPECT_STREQ(L"cd", wide.c_str());
}

TEST(WideReader, WideTextAfterBytesIsWeof) {
  OpenReader reader("ab\ncd\n");
  std::string bytes(4, '#');
  reader.stream.get(bytes.data(), 4);
  EXPECT_STREQ("ab", bytes.c_str());
  std::wstring wide(6, kJunk);
  reader.stream.get(wide.data(), 4);
  EXPECT_EQ(times(3, kEnd) + kNul + L"##", wide);
  EXPECT_EQ(WEOF, reader.stream.get());
  EXPECT_EQ(0, reader.stream.eof());
  reader.stream.get(bytes.data(), 4);
  EXPECT_STREQ("cd", bytes.c_str());
}

TEST(WideReader, ReopensAndClosesItsHandle) {
  const TempDir dir;
  const std::string first = dir.write("first", "a");
  const std::string second = dir.write("second", "b");
  {
    Vexawifstream stream;
    stream.open(first.c_str(), kRead);
    stream.open(second.c_str(), kRead);
    EXPECT_TRUE(openFlags(first).empty());
    EXPECT_EQ(L'b', static_cast<wchar_t>(stream.get()));
    stream.close();
    EXPECT_TRUE(openFlags(second).empty());
    stream.close();
    stream.open(first.c_str(), kRead);
    EXPECT_EQ(1U, openFlags(first).size());
  }
  EXPECT_TRUE(openFlags(first).empty());
}

}  // namespace
