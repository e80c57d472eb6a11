#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "VexaWideIO.h"
#include "support/fixtures.h"
#include "support/locales.h"
#include "wideio/modes.h"

namespace {

using commutil_test::kRead;
using commutil_test::kWrite;
using commutil_test::Latin1Locale;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::setLocale;
using commutil_test::TempDir;

template <class Stream, class Operand>
using Output = decltype(std::declval<Stream&>() << std::declval<Operand>());
template <class Stream, class Operand>
using Input = decltype(std::declval<Stream&>() >> std::declval<Operand>());

template <class Stream, class... Operands>
constexpr bool kReturnsItself = (std::is_same_v<Output<Stream, Operands>, Stream&> && ...);
template <class Stream, class... Operands>
constexpr bool kGivesItself = (std::is_same_v<Input<Stream, Operands>, Stream&> && ...);

static_assert(
    kReturnsItself<Vexawofstream, const wchar_t*, wchar_t, const char*, char, int, unsigned int,
                   short, unsigned short, long, unsigned long, float, double>);
static_assert(
    kReturnsItself<Vexawfstream, const wchar_t*, wchar_t, const char*, char, int, unsigned int,
                   short, unsigned short, long, unsigned long, float, double>);
static_assert(kGivesItself<Vexawifstream, wchar_t*, wchar_t&, char*, char&, int&, short&, long&,
                           unsigned int&, unsigned short&, unsigned long&, float&, double&>);
static_assert(kGivesItself<Vexawfstream, wchar_t*, wchar_t&, char*, char&, char, int&, short&,
                           long&, unsigned int&, unsigned short&, unsigned long&, float&, double&>);
// A manipulator returns the standard base, which has no buffer.
static_assert(std::is_same_v<Output<Vexawofstream, decltype(&wendl)>, std::ostream&>);

template <class Stream>
class WideOutput : public ::testing::Test {
 protected:
  WideOutput() { stream.open(path.c_str(), kWrite); }

  std::string onDisk() const { return readFile(path); }
  std::string written() {
    stream.close();
    return onDisk();
  }

  TempDir dir;
  const std::string path = dir / "text";
  Stream stream;
};

using Writers = ::testing::Types<Vexawofstream, Vexawfstream>;
TYPED_TEST_SUITE(WideOutput, Writers);

TYPED_TEST(WideOutput, WritesWideText) {
  this->stream << L"ab" << L'c' << static_cast<const wchar_t*>(L"");
  EXPECT_EQ("", this->onDisk());
  EXPECT_EQ("abc", this->written());
}

TYPED_TEST(WideOutput, WritesBytes) {
  this->stream << "ab" << 'c' << '\xFF' << '\0' << "";
  EXPECT_EQ(std::string("abc\xFF\0", 5), this->written());
}

TYPED_TEST(WideOutput, WritesIntegersByTheirFormats) {
  struct Row {
    std::function<void(TypeParam&)> write;
    const char* text;
  };
  for (const Row& row : std::vector<Row>{
           {[](auto& s) { s << 0; }, "0"},
           {[](auto& s) { s << INT_MIN; }, "-2147483648"},
           {[](auto& s) { s << 2147483647U; }, "2147483647"},
           {[](auto& s) { s << 2147483648U; }, "-2147483648"},
           {[](auto& s) { s << 4294967295U; }, "-1"},
           {[](auto& s) { s << static_cast<short>(-3); }, "-3"},
           {[](auto& s) { s << static_cast<short>(SHRT_MIN); }, "-32768"},
           {[](auto& s) { s << static_cast<unsigned short>(65535); }, "65535"},
           {[](auto& s) { s << LONG_MIN; }, "-9223372036854775808"},
           {[](auto& s) { s << LONG_MAX; }, "9223372036854775807"},
           {[](auto& s) { s << 9223372036854775808UL; }, "-9223372036854775808"},
           {[](auto& s) { s << ULONG_MAX; }, "-1"},
       }) {
    SCOPED_TRACE(row.text);
    this->stream.open(this->path.c_str(), kWrite);
    row.write(this->stream);
    EXPECT_EQ("", this->onDisk());
    EXPECT_EQ(row.text, this->written());
  }
}

TYPED_TEST(WideOutput, WritesRealsByTheirFormats) {
  this->stream << 1.5F << ' ' << 0.1F << ' ' << -2.25 << ' ' << 1e20;
  EXPECT_EQ("1.500000 0.100000 -2.250000 100000000000000000000.000000", this->written());
}

TYPED_TEST(WideOutput, CutsARealAt99Characters) {
  this->stream << 1e91;  // 92 digits, the point and 6 more: fits
  const std::string fits = this->written();
  EXPECT_EQ(99U, fits.size());
  EXPECT_EQ(".000000", fits.substr(92));
  this->stream.open(this->path.c_str(), kWrite);
  this->stream << 1e92;
  const std::string cut = this->written();
  EXPECT_EQ(99U, cut.size());
  EXPECT_EQ(".00000", cut.substr(93));
}

TYPED_TEST(WideOutput, NumbersAreRefusedOnceTheHandleIsWide) {
  this->stream << L"wide" << 5 << 1.5 << L'!';
  EXPECT_EQ("wide!", this->written());
}

TYPED_TEST(WideOutput, WideTextIsRefusedOnceTheHandleIsBytes) {
  this->stream << 5 << L"wide" << L'w' << 6L;
  EXPECT_EQ("56", this->written());
}

TYPED_TEST(WideOutput, TheDecimalPointIsTheLocalesOwn) {
  const Latin1Locale decimalComma;
  runInChild([&] {
    decimalComma.set();
    this->stream << 1.5;
    EXPECT_EQ("1,500000", this->written());
  });
}

TEST(WideWriterOperators, FlushOnlyAfterBytes) {
  const TempDir dir;
  const std::string path = dir / "text";
  Vexawofstream stream;
  stream.open(path.c_str(), kWrite);
  stream << 1 << 2.0;
  EXPECT_EQ("", readFile(path));
  stream << 'a';
  EXPECT_EQ("12.000000a", readFile(path));
  stream << 3L;
  EXPECT_EQ("12.000000a", readFile(path));
  stream << "";
  EXPECT_EQ("12.000000a3", readFile(path));
  stream << '\xFF';  // the value of a failed fputc, but a written byte
  EXPECT_EQ("12.000000a3\xFF", readFile(path));
}

TEST(WideWriterOperators, AByteStringFlushesEvenIfItIsRefused) {
  const TempDir dir;
  const std::string path = dir / "text";
  Vexawofstream stream;
  stream.open(path.c_str(), kWrite);
  stream << L"wide" << L'!';
  EXPECT_EQ("", readFile(path));
  stream << "bytes";
  EXPECT_EQ("wide!", readFile(path));
}

TEST(WideWriterOperators, AByteThatFindsNoRoomIsAnError) {
  struct stat status = {};
  ASSERT_EQ(0, ::stat("/dev/full", &status));
  Vexawofstream stream;
  stream.open("/dev/full", kWrite);
  for (blksize_t i = 0; i < status.st_blksize; ++i) ASSERT_EQ('x', stream.put('x'));
  ASSERT_EQ(0, stream.fail()) << "the buffer is full";
  stream << 'x';
  EXPECT_NE(0, stream.fail());
}

TEST(WideWriterOperators, AFlushThatFailsIsAnError) {
  Vexawofstream stream;
  stream.open("/dev/full", kWrite);
  stream << 5;
  EXPECT_EQ(0, stream.fail());
  stream << 'a';
  EXPECT_NE(0, stream.fail());
}

TEST(WideFileOperators, NeverFlush) {
  const TempDir dir;
  const std::string path = dir / "text";
  Vexawfstream stream;
  stream.open(path.c_str(), kWrite);
  stream << "ab" << 'c' << 5 << 1.5F;
  EXPECT_EQ("", readFile(path));
  stream.close();
  EXPECT_EQ("abc51.500000", readFile(path));
}

TEST(WideFileOperators, WriteNothingWhileClosed) {
  Vexawfstream stream;
  stream << "ab" << 'c' << 5 << 5U << 5L << 5UL << 1.5F << 1.5;
  EXPECT_EQ(1, stream.fail());
}

template <class Stream>
class WideInput : public ::testing::Test {
 protected:
  void open(const std::string& content) { stream.open(dir.write("text", content).c_str(), kRead); }

  TempDir dir;
  Stream stream;
};

using Readers = ::testing::Types<Vexawifstream, Vexawfstream>;
TYPED_TEST_SUITE(WideInput, Readers);

TYPED_TEST(WideInput, ReadsALineOfWideText) {
  this->open("ab\n" + std::string(5000, 'c'));
  std::wstring array(4100, L'#');
  this->stream >> array.data();
  EXPECT_EQ(std::wstring(L"ab\0", 3) + std::wstring(4097, L'#'), array);
  this->stream >> array.data();
  EXPECT_EQ(std::wstring(4096, L'c') + std::wstring(1, L'\0') + L"###", array);
  EXPECT_EQ(3 + 4096, this->stream.ftellg());
}

TYPED_TEST(WideInput, ReadsALineOfBytes) {
  this->open("ab\n" + std::string(5000, 'c'));
  std::string array(4100, '#');
  this->stream >> array.data();
  EXPECT_EQ(std::string("ab\0", 3) + std::string(4097, '#'), array);
  this->stream >> array.data();
  EXPECT_EQ(std::string(4096, 'c') + std::string(1, '\0') + "###", array);
  EXPECT_EQ(3 + 4096, this->stream.ftellg());
}

TYPED_TEST(WideInput, ReadsIntoArraysOfAKnownSize) {
  this->open("ab\ncd\n");
  static wchar_t wide[4097];
  this->stream >> wide;
  EXPECT_STREQ(L"ab", wide);
  this->open("ab\ncd\n");
  static char bytes[4097];
  this->stream >> bytes;
  EXPECT_STREQ("ab", bytes);
}

TYPED_TEST(WideInput, ReadsAWideCharacter) {
  runInChild([&] {
    setLocale("C.UTF-8");
    this->open("\xE4\xB8\xAD");
    wchar_t c = L'x';
    this->stream >> c;
    EXPECT_EQ(L'\x4E2D', c);
    this->stream >> c;
    EXPECT_EQ(static_cast<wchar_t>(WEOF), c);
  });
}

TYPED_TEST(WideInput, SkipsAByteAndLeavesTheVariable) {
  this->open("abc");
  char c = 'x';
  this->stream >> c >> c;
  EXPECT_EQ('x', c);
  EXPECT_EQ(2, this->stream.ftellg());
  this->stream >> c >> c;
  EXPECT_EQ('x', c);
  EXPECT_NE(0, this->stream.eof());
}

TEST(WideFileOperators, SkipAByteForAnyCharValue) {
  const TempDir dir;
  Vexawfstream stream;
  stream.open(dir.write("text", "abc").c_str(), kRead);
  stream >> 'x';
  EXPECT_EQ(1, stream.ftellg());
}

TYPED_TEST(WideInput, ReadsIntegers) {
  this->open("1\n2\n3\n4\n5\n6\n");
  int i = 0;
  short s = 0;
  long l = 0;
  unsigned int ui = 0;
  unsigned short us = 0;
  unsigned long ul = 0;
  this->stream >> i >> s >> l >> ui >> us >> ul;
  EXPECT_EQ(1, i);
  EXPECT_EQ(2, s);
  EXPECT_EQ(3, l);
  EXPECT_EQ(4U, ui);
  EXPECT_EQ(5, us);
  EXPECT_EQ(6UL, ul);
}

TYPED_TEST(WideInput, ConvertsIntegersToTheirType) {
  this->open("4294967297\n65537\n4294967295\n65535\n9223372036854775807\n");
  int i = 0;
  short s = 0;
  unsigned int ui = 0;
  unsigned short us = 0;
  unsigned long ul = 0;
  this->stream >> i >> s >> ui >> us >> ul;
  EXPECT_EQ(1, i);
  EXPECT_EQ(1, s);
  EXPECT_EQ(UINT_MAX, ui);
  EXPECT_EQ(USHRT_MAX, us);
  EXPECT_EQ(static_cast<unsigned long>(LONG_MAX), ul);
}

TYPED_TEST(WideInput, ReadsReals) {
  this->open("1.5\n0.1\n17 ");
  float f = 0;
  double d = 0;
  int behind = 0;
  this->stream >> f >> d;
  EXPECT_EQ(1.5F, f);
  EXPECT_EQ(0.1, d);
  this->stream >> f >> behind;
  EXPECT_EQ(17.0F, f);
  EXPECT_EQ(0, behind);
  EXPECT_EQ(10, this->stream.ftellg());
}

TYPED_TEST(WideInput, ReturnsMinusOneWhileClosed) {
  int i = 5;
  unsigned short us = 5;
  unsigned long ul = 5;
  float f = 5;
  double d = 5;
  char c = 'x';
  wchar_t wide[2] = L"a";
  char bytes[2] = "a";
  this->stream >> i >> us >> ul >> f >> d >> c >> wide >> bytes;
  EXPECT_EQ(-1, i);
  EXPECT_EQ(USHRT_MAX, us);
  EXPECT_EQ(ULONG_MAX, ul);
  EXPECT_EQ(-1.0F, f);
  EXPECT_EQ(-1.0, d);
  EXPECT_EQ('x', c);
  EXPECT_STREQ(L"a", wide);
  EXPECT_STREQ("a", bytes);
}

}  // namespace
