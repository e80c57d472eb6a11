#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "VexaWideIO.h"
#include "support/fixtures.h"
#include "wideio/modes.h"
#include "wideio/open_files.h"

namespace {

using commutil_test::kAppend;
using commutil_test::kRead;
using commutil_test::kWrite;
using commutil_test::readFile;
using commutil_test::TempDir;

template <class Stream, class = void>
constexpr bool kHasIsValid = false;
template <class Stream>
constexpr bool kHasIsValid<Stream, std::void_t<decltype(std::declval<Stream&>().isValid())>> = true;

static_assert(std::is_base_of_v<Vexawifstream, Vexawfstream>);
static_assert(std::is_base_of_v<Vexawofstream, Vexawfstream>);
static_assert(std::has_virtual_destructor_v<Vexawfstream>);
static_assert(kHasIsValid<Vexawifstream> && kHasIsValid<Vexawofstream>);
// Both sides have one, and neither is preferred.
static_assert(!kHasIsValid<Vexawfstream>);

bool reading(Vexawfstream& stream) { return stream.Vexawifstream::isValid(); }
bool writing(Vexawfstream& stream) { return stream.Vexawofstream::isValid(); }

/// Returns the mode member, after the fields of both sides, as existing binaries find it.
int modeOf(const Vexawfstream& stream) {
  constexpr std::size_t kOffset = 40;
  int mode = 0;
  std::memcpy(&mode, reinterpret_cast<const char*>(&stream) + kOffset, sizeof(mode));
  return mode;
}

TEST(WideFile, KeepsTheSideInUseAsItsMode) {
  const TempDir dir;
  const std::string path = dir.write("text", "old");
  Vexawfstream stream;
  EXPECT_EQ(-26, modeOf(stream));
  for (const auto& [given, kept] :
       {std::pair{8, 8}, {16, 16}, {1, 1}, {32, 1}, {24, 1}, {0, 1}, {-26, 1}, {9, 1}, {17, 1}}) {
    SCOPED_TRACE(given);
    stream.open(path.c_str(), given);
    EXPECT_EQ(kept, modeOf(stream));
    stream.close();
    EXPECT_EQ(-26, modeOf(stream));
  }
  stream.open((dir / "none/text").c_str(), kWrite);
  EXPECT_EQ(kWrite, modeOf(stream)) << "also when nothing could be opened";
}

TEST(WideFile, ClosesTheWriterOfAnyModeBeforeItReads) {
  const TempDir dir;
  const std::string path = dir / "text";
  Vexawfstream stream;
  stream.open(path.c_str(), 32);
  stream.put(L"text");
  stream.open(path.c_str(), kRead);
  EXPECT_TRUE(reading(stream));
  EXPECT_FALSE(writing(stream));
  EXPECT_EQ("text", readFile(path));
}

TEST(WideFile, StartsClosedWithoutABufferInItsBase) {
  Vexawfstream stream;
  EXPECT_FALSE(reading(stream));
  EXPECT_FALSE(writing(stream));
  EXPECT_EQ(nullptr, stream.std::istream::rdbuf());
  EXPECT_EQ(-1, stream.eof());
  EXPECT_EQ(1, stream.fail());
  EXPECT_EQ(0, stream.put('a'));
  EXPECT_EQ(0, stream.put("a"));
  EXPECT_EQ(0U, stream.write("a", 1, 1));
  char c = 'x';
  EXPECT_EQ(0, stream.get(c));
  EXPECT_EQ(0U, stream.read(&c, 1, 1));
  wchar_t wide[3] = L"ab";
  stream.get(wide, 2);
  stream.get(wide, 2, L'b');
  stream.getline(wide, 2);
  stream.getline(wide, 2, L'b');
  EXPECT_STREQ(L"ab", wide);
  stream.close();
  EXPECT_EQ(-1, stream.getn());
}

TEST(WideFile, OpensOneSideByTheWholeMode) {
  struct Row {
    int mode;
    bool reads;
    const char* content;
  };
  for (const Row& row : {Row{8, true, "old"}, Row{16, false, "x"}, Row{1, false, "oldx"},
                         Row{32, false, "oldx"}, Row{0, false, "oldx"}, Row{24, false, "oldx"},
                         Row{9, false, "oldx"}, Row{-26, false, "oldx"}}) {
    SCOPED_TRACE(row.mode);
    const TempDir dir;
    const std::string path = dir.write("text", "old");
    Vexawfstream stream;
    stream.open(path.c_str(), row.mode);
    EXPECT_EQ(row.reads, reading(stream));
    EXPECT_EQ(!row.reads, writing(stream));
    const std::vector<int> flags = openFlags(path);
    ASSERT_EQ(1U, flags.size());
    EXPECT_EQ(row.reads ? O_RDONLY : O_WRONLY, flags.front() & O_ACCMODE);
    stream.put('x');
    stream.close();
    EXPECT_FALSE(reading(stream));
    EXPECT_FALSE(writing(stream));
    EXPECT_EQ(row.content, readFile(path));
  }
}

TEST(WideFile, ClosesTheSideInUseBeforeItOpens) {
  const TempDir dir;
  const std::string first = dir.write("first", "1");
  Vexawfstream stream;
  stream.open(first.c_str(), kRead);
  stream.open((dir / "second").c_str(), kWrite);
  EXPECT_FALSE(reading(stream));
  EXPECT_TRUE(writing(stream));
  stream.put("2");
  stream.open((dir / "third").c_str(), kAppend);
  EXPECT_EQ("2", readFile(dir / "second"));
  stream.open(first.c_str(), kRead);
  EXPECT_TRUE(reading(stream));
  EXPECT_FALSE(writing(stream));
}

TEST(WideFile, TakesTheModeOfAFileThatDoesNotOpen) {
  const TempDir dir;
  const std::string path = dir.write("text", "a");
  Vexawfstream stream;
  stream.open((dir / "none").c_str(), kRead);
  EXPECT_EQ(1, stream.fail());
  // Opens the writer's side without changing the mode: closing and testing follow the mode, 8.
  stream.Vexawofstream::open(path.c_str(), kAppend);
  EXPECT_EQ(-1, stream.eof());
  stream.close();
  EXPECT_TRUE(writing(stream));
  // If closed, every mode but 8 means the writer's side.
  EXPECT_EQ(0, stream.eof());
  stream.close();
  EXPECT_FALSE(writing(stream));
}

TEST(WideFile, TakesTheModeOfANullPath) {
  const TempDir dir;
  const std::string path = dir.write("text", "a");
  Vexawfstream stream;
  stream.open(path.c_str(), kWrite);
  stream.put("b");
  stream.open(nullptr, kRead);  // closes the writer and becomes a closed reader
  EXPECT_FALSE(writing(stream));
  EXPECT_EQ("b", readFile(path));
  EXPECT_FALSE(reading(stream));
  stream.Vexawofstream::open(path.c_str(), kAppend);
  EXPECT_EQ(1, stream.fail());
  stream.open(path.c_str(), kRead);  // mode 8: closes the reader's side only
  EXPECT_TRUE(writing(stream));
  EXPECT_TRUE(reading(stream));
}

TEST(WideFile, ClosesNothingFirstWhileItsModeIsClosed) {
  const TempDir dir;
  const std::string path = dir.write("text", "a");
  Vexawfstream stream;
  stream.Vexawofstream::open(path.c_str(), kAppend);
  stream.open(path.c_str(), kRead);
  EXPECT_TRUE(writing(stream));
}

TEST(WideFile, ReportsEndOfFileAndErrorOfTheSideInUse) {
  const TempDir dir;
  const std::string path = dir.write("text", "a");
  Vexawfstream stream;
  stream.open(path.c_str(), kRead);
  char c = 0;
  stream.get(c);
  EXPECT_EQ(0, stream.eof());
  EXPECT_EQ(0, stream.fail());
  stream.get(c);
  EXPECT_NE(0, stream.eof());
  stream.open("/dev/full", kWrite);
  EXPECT_EQ(0, stream.eof());
  EXPECT_EQ(0, stream.fail());
  stream.put("a");
  wflush(stream);
  EXPECT_NE(0, stream.fail());
}

TEST(WideFile, ReadsThroughTheReadersSide) {
  const TempDir dir;
  Vexawfstream stream;
  stream.open(dir.write("wide", "abc\nd;ef\ng;hi\nj").c_str(), kRead);
  EXPECT_EQ(static_cast<std::wint_t>(L'a'), stream.get());
  wchar_t c = 0;
  EXPECT_EQ(L'b', stream.get(c));
  EXPECT_EQ(L'b', c);
  wchar_t buf[10];
  stream.get(buf, 10);
  EXPECT_STREQ(L"c", buf);
  stream.get(buf, 10, L';');
  EXPECT_STREQ(L"d", buf);
  stream.getline(buf, 10);
  EXPECT_STREQ(L"ef\n", buf);
  stream.getline(buf, 10, L';');
  EXPECT_STREQ(L"g", buf);
  EXPECT_EQ(11, stream.ftellg());
  EXPECT_EQ(0, stream.fseekg(0));

  stream.open(dir.write("bytes", "abc\nd;12 1.5 xyz").c_str(), kRead);
  char byte = 0;
  EXPECT_EQ('a', stream.get(byte));
  char bytes[10];
  stream.get(bytes, 10);
  EXPECT_STREQ("bc", bytes);
  stream.get(bytes, 10, ';');
  EXPECT_STREQ("d", bytes);
  EXPECT_EQ(12, stream.getn());
  stream.get(byte);
  EXPECT_EQ(1.5, stream.getd());
  EXPECT_EQ(4U, stream.read(bytes, 1, 4));
  EXPECT_EQ(" xyz", std::string(bytes, 4));
}

TEST(WideFile, WritesThroughTheWritersSide) {
  const TempDir dir;
  const std::string path = dir / "text";
  Vexawfstream stream;
  stream.open(path.c_str(), kWrite);
  EXPECT_EQ(static_cast<std::wint_t>(L'a'), stream.put(L'a'));
  EXPECT_GE(stream.put(L"bc"), 0);
  stream << wendl;
  EXPECT_EQ("abc\n", readFile(path));
  stream.open(path.c_str(), kAppend);
  EXPECT_EQ('d', stream.put('d'));
  EXPECT_GE(stream.put("ef"), 0);
  EXPECT_EQ(2U, stream.write("ghi", 1, 2));
  stream.close();
  EXPECT_EQ("abc\ndefgh", readFile(path));
}

TEST(WideFile, IsClosedByItsDestructor) {
  const TempDir dir;
  const std::string path = dir / "text";
  {
    Vexawfstream stream;
    stream.open(path.c_str(), kWrite);
    stream.put("a");
  }
  EXPECT_TRUE(openFlags(path).empty());
  EXPECT_EQ("a", readFile(path));
}

}  // namespace
