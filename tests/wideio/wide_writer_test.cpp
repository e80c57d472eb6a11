#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <string>
#include <type_traits>
#include <vector>

#include "VexaWideIO.h"
#include "support/fixtures.h"
#include "support/locales.h"
#include "wideio/modes.h"
#include "wideio/open_files.h"

namespace {

using commutil_test::kAppend;
using commutil_test::kWrite;
using commutil_test::Latin1Locale;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::ScopedUmask;
using commutil_test::setLocale;
using commutil_test::TempDir;

static_assert(std::is_base_of_v<std::ostream, Vexawofstream>);
static_assert(std::has_virtual_destructor_v<Vexawofstream>);

/// A writer of its own file.
class OpenWriter {
 public:
  OpenWriter() { stream.open(path.c_str(), kWrite); }

  /// Returns what has reached the file.
  std::string onDisk() const { return readFile(path); }
  /// Closes the stream and returns the file's content.
  std::string written() {
    stream.close();
    return onDisk();
  }

 private:
  TempDir m_dir;

 public:
  const std::string path = m_dir / "text";
  Vexawofstream stream;
};

TEST(WideWriter, StartsClosedWithoutABufferInItsBase) {
  Vexawofstream stream;
  EXPECT_FALSE(stream.isValid());
  EXPECT_EQ(nullptr, stream.rdbuf());
  EXPECT_TRUE(stream.bad());
}

TEST(WideWriter, ReturnsFailuresWhileClosed) {
  Vexawofstream stream;
  EXPECT_EQ(-1, stream.eof());
  EXPECT_EQ(1, stream.fail());
  EXPECT_EQ(0, stream.put('a'));
  EXPECT_EQ(0, stream.put("a"));
  EXPECT_EQ(0U, stream.write("a", 1, 1));
  stream.close();
  EXPECT_FALSE(stream.isValid());
}

TEST(WideWriter, OpensToWriteOrAppendByTheWholeMode) {
  struct Row {
    int mode;
    const char* content;
  };
  // Only 16 truncates: a mode that contains the bit appends.
  for (const Row& row : {Row{16, "x"}, Row{1, "oldx"}, Row{0, "oldx"}, Row{8, "oldx"},
                         Row{17, "oldx"}, Row{24, "oldx"}, Row{48, "oldx"}, Row{-1, "oldx"}}) {
    SCOPED_TRACE(row.mode);
    const TempDir dir;
    const std::string path = dir.write("text", "old");
    Vexawofstream stream;
    stream.open(path.c_str(), row.mode);
    ASSERT_TRUE(stream.isValid());
    const std::vector<int> flags = openFlags(path);
    ASSERT_EQ(1U, flags.size());
    EXPECT_EQ(row.mode == kWrite ? 0 : O_APPEND, flags.front() & O_APPEND);
    EXPECT_EQ(O_WRONLY, flags.front() & O_ACCMODE);
    stream.put('x');
    stream.close();
    EXPECT_FALSE(stream.isValid());
    EXPECT_EQ(row.content, readFile(path));
  }
}

TEST(WideWriter, CreatesTheFileUnderTheUmask) {
  const ScopedUmask mask(0027);
  const TempDir dir;
  for (const int mode : {kWrite, kAppend}) {
    const std::string path = dir / std::to_string(mode);
    Vexawofstream stream;
    stream.open(path.c_str(), mode);
    ASSERT_TRUE(stream.isValid());
    struct stat status {};
    ASSERT_EQ(0, ::stat(path.c_str(), &status));
    EXPECT_EQ(0640U, status.st_mode & 07777U);
  }
}

TEST(WideWriter, ANullPathLeavesTheStreamAsItIs) {
  OpenWriter writer;
  writer.stream.open(nullptr, kWrite);
  ASSERT_TRUE(writer.stream.isValid());
  writer.stream.put("a");
  EXPECT_EQ("a", writer.written());
}

TEST(WideWriter, AFailedOpenClosesWhatWasOpen) {
  OpenWriter writer;
  writer.stream.put("a");
  writer.stream.open("/nowhere/at/all", kWrite);
  EXPECT_FALSE(writer.stream.isValid());
  EXPECT_EQ(1, writer.stream.fail());
  EXPECT_EQ("a", writer.onDisk());
}

TEST(WideWriter, ReopensAndClosesItsHandle) {
  const TempDir dir;
  {
    Vexawofstream stream;
    stream.open((dir / "first").c_str(), kWrite);
    stream.put("1");
    stream.open((dir / "second").c_str(), kWrite);
    EXPECT_TRUE(openFlags(dir / "first").empty());
    stream.put("2");
  }
  EXPECT_TRUE(openFlags(dir / "second").empty());
  EXPECT_EQ("1", readFile(dir / "first"));
  EXPECT_EQ("2", readFile(dir / "second"));
}

TEST(WideWriter, PutsWideTextInTheEncodingOfTheLocale) {
  struct Row {
    const char* locale;
    std::string text;
  };
  const Latin1Locale latin1;
  for (const Row& row : {Row{"C.UTF-8", "a\xC3\xA4z"}, Row{Latin1Locale::kName, "a\xE4z"}}) {
    SCOPED_TRACE(row.locale);
    runInChild([&] {
      latin1.offer();
      setLocale(row.locale);
      OpenWriter writer;
      EXPECT_EQ(static_cast<std::wint_t>(L'a'), writer.stream.put(L'a'));
      EXPECT_GE(writer.stream.put(L"\xE4z"), 0);
      EXPECT_EQ(0, writer.stream.fail());
      EXPECT_EQ(row.text, writer.written());
    });
  }
}

TEST(WideWriter, PutsBytesAsTheyAre) {
  OpenWriter writer;
  std::string all;
  for (int byte = 0; byte < 256; ++byte) {
    all += static_cast<char>(byte);
    EXPECT_EQ(byte, writer.stream.put(static_cast<char>(byte)));
  }
  EXPECT_GE(writer.stream.put("text"), 0);
  EXPECT_EQ(2U, writer.stream.write("recordrecord", 6, 2));
  EXPECT_EQ(0U, writer.stream.write("record", 6, 0));
  EXPECT_EQ(all + "textrecordrecord", writer.written());
}

TEST(WideWriter, RefusesBytesOnceItIsWide) {
  OpenWriter writer;
  writer.stream.put(L"wide");
  EXPECT_EQ(-1, writer.stream.put("bytes"));
  EXPECT_EQ(0U, writer.stream.write("bytes", 1, 5));
  writer.stream.put(L'!');
  EXPECT_EQ("wide!", writer.written());
}

TEST(WideWriter, RefusesWideTextOnceItIsBytes) {
  OpenWriter writer;
  writer.stream.put("bytes");
  EXPECT_EQ(WEOF, writer.stream.put(L'w'));
  EXPECT_EQ(-1, writer.stream.put(L"wide"));
  writer.stream.put('!');
  EXPECT_EQ("bytes!", writer.written());
}

TEST(WideWriter, PutsNothingOnDiskBeforeAFlush) {
  OpenWriter writer;
  writer.stream.put(L'a');
  writer.stream.put(L"b");
  EXPECT_EQ("", writer.onDisk());
  wflush(writer.stream);
  EXPECT_EQ("ab", writer.onDisk());
}

/// Limits files to size 0 until the first refused write, and not at all after it.
void refuseOneWrite() {
  struct sigaction action {};
  action.sa_handler = [](int /*signal*/) {
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_FSIZE, &limit);
  };
  ASSERT_EQ(0, ::sigaction(SIGXFSZ, &action, nullptr));
  rlimit limit{};
  ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &limit));
  limit.rlim_cur = 0;
  ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
}

TEST(WideWriter, ClosingDropsWhatCouldNotBeWritten) {
  for (const std::size_t size : {100U, 1000U}) {
    SCOPED_TRACE(size);
    runInChild([size] {
      setLocale("C.UTF-8");
      OpenWriter writer;
      writer.stream.put(std::wstring(size, L'\u00e4').c_str());
      refuseOneWrite();
      EXPECT_EQ("", writer.written());
      rlimit limit{};
      ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &limit));
      EXPECT_EQ(limit.rlim_max, limit.rlim_cur) << "closing wrote nothing";
    });
  }
}

TEST(WideWriter, ManipulatorsActOnTheHandle) {
  OpenWriter writer;
  writer.stream.put(L"a");
  EXPECT_EQ(&writer.stream, &wends(writer.stream));
  EXPECT_EQ("", writer.onDisk());
  EXPECT_EQ(&writer.stream, &wendl(writer.stream));
  EXPECT_EQ(std::string("a\0\n", 3), writer.onDisk());
  writer.stream.put(L"b");
  EXPECT_EQ(&writer.stream, &wflush(writer.stream));
  EXPECT_EQ(std::string("a\0\nb", 4), writer.onDisk());
}

TEST(WideWriter, ManipulatorsWorkInsideAnExpression) {
  OpenWriter writer;
  writer.stream << L"a" << wendl;
  writer.stream << L"b" << wends << wflush;
  EXPECT_EQ(std::string("a\nb\0", 4), writer.onDisk());
}

TEST(WideWriter, FlushingAClosedWriterDoesNotFlushTheProcess) {
  const TempDir dir;
  const std::string path = dir / "other";
  std::FILE* const other = std::fopen(path.c_str(), "w");
  ASSERT_NE(nullptr, other);
  std::fputs("pending", other);
  Vexawofstream stream;
  stream << wflush << wends << wendl;
  EXPECT_EQ("", readFile(path));
  std::fclose(other);
}

}  // namespace
