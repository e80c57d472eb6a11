// Compares wide output with plain stdio: the same operations on a stream and on a plain handle.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cwchar>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "VexaWideIO.h"
#include "os/handles.h"
#include "os/wide_stdio.h"
#include "support/fixtures.h"
#include "support/full_pipe.h"
#include "support/locales.h"
#include "support/threads.h"
#include "wideio/modes.h"

namespace {

using commutil_test::FullPipe;
using commutil_test::kAppend;
using commutil_test::kWrite;
using commutil_test::Latin1Locale;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::setLocale;
using commutil_test::TempDir;
using commutil_test::WatchedThread;

/// The results of operations, and the file's contents at the end.
struct Outcome {
  std::vector<long> results;
  std::string content;

  bool operator==(const Outcome&) const = default;
};

struct Operation {
  char kind = 0;  // of the ones in `apply`
  std::wstring wide;
  std::string bytes;
};
using Operations = std::vector<Operation>;

long apply(const Operation& operation, Vexawofstream& stream) {
  switch (operation.kind) {
    case 't':
      return stream.put(operation.wide.c_str());
    case 'c':
      return stream.put(operation.wide[0]);
    case 'b':
      return stream.put(operation.bytes[0]);
    case 's':
      return stream.put(operation.bytes.c_str());
    case 'w':
      return static_cast<long>(stream.write(operation.bytes.data(), 1, operation.bytes.size()));
    case 'e':
      wendl(stream);
      return stream.fail();
    default:
      wflush(stream);
      return stream.fail();
  }
}

long apply(const Operation& operation, std::FILE* file) {
  switch (operation.kind) {
    case 't':
      return std::fputws(operation.wide.c_str(), file);
    case 'c':
      return std::fputwc(operation.wide[0], file);
    case 'b':
      return std::fputc(operation.bytes[0], file);
    case 's':
      return std::fputs(operation.bytes.c_str(), file);
    case 'w':
      return static_cast<long>(
          std::fwrite(operation.bytes.data(), 1, operation.bytes.size(), file));
    case 'e':
      std::fputwc(L'\n', file);
      std::fflush(file);
      return std::ferror(file);
    default:
      std::fflush(file);
      return std::ferror(file);
  }
}

Outcome ofStream(const Operations& operations, const std::string& path, int mode) {
  Outcome outcome;
  Vexawofstream stream;
  stream.open(path.c_str(), mode);
  for (const Operation& operation : operations) outcome.results.push_back(apply(operation, stream));
  stream.close();
  outcome.content = readFile(path);
  return outcome;
}

Outcome ofStdio(const Operations& operations, const std::string& path, int mode) {
  Outcome outcome;
  std::FILE* const file = std::fopen(path.c_str(), mode == kWrite ? "w" : "a");
  for (const Operation& operation : operations) outcome.results.push_back(apply(operation, file));
  std::fclose(file);
  outcome.content = readFile(path);
  return outcome;
}

std::wstring randomText(std::mt19937& random) {
  static constexpr std::size_t kSizes[] = {0,    1,    2,    15,   16,   17,   18,
                                           60,   1000, 4079, 4080, 4081, 4095, 4096,
                                           4097, 5000, 8191, 8192, 8193, 9000, 20000};
  static const std::wstring kMixed = L"a\x7F\x80\xE9\x7FF\x800\x4E2D\xFFFD\xFFFF\x10000\x1F600";
  static const std::wstring kForeign = L"\xD800\xDFFF\x110000\x7FFFFFFF";
  std::wstring text(kSizes[random() % std::size(kSizes)], L'a');
  switch (random() % 8) {
    case 0:
      for (wchar_t& c : text) c = L'\x4E2D';
      break;
    case 1:
      for (wchar_t& c : text) c = L'\x1F600';
      break;
    case 2:
    case 3:
      for (wchar_t& c : text) c = kMixed[random() % kMixed.size()];
      break;
    case 4:
      if (!text.empty()) text[random() % text.size()] = kForeign[random() % kForeign.size()];
      break;
    default:
      for (wchar_t& c : text) c = static_cast<wchar_t>(L' ' + random() % 90);
  }
  return text;
}

Operation randomOperation(std::mt19937& random) {
  static const std::string kKinds = "tttttttcccefbsw";
  Operation operation{kKinds[random() % kKinds.size()], randomText(random), "bytes"};
  if (operation.wide.empty() && operation.kind == 'c') operation.wide = L"\x4E2D";
  operation.bytes.resize(1 + random() % 5);
  return operation;
}

/// Mostly wide text; some with bytes in between, which stdio mixes in its own way.
Operations randomOperations(std::mt19937& random) {
  const bool withBytes = random() % 4 == 0;
  Operations operations;
  for (auto count = 1 + random() % 12; count > 0; --count) {
    Operation operation = randomOperation(random);
    const bool isOfBytes = std::string("bsw").find(operation.kind) != std::string::npos;
    if (!isOfBytes || withBytes) operations.push_back(std::move(operation));
  }
  return operations;
}

std::string described(const Operations& operations) {
  std::string text;
  for (const Operation& operation : operations) {
    text += std::string(1, operation.kind) + std::to_string(operation.wide.size()) + " ";
  }
  return text;
}

void expectTheSame(const Operations& operations, std::optional<rlim_t> room = std::nullopt) {
  const TempDir dir;
  for (const int mode : {kWrite, kAppend}) {
    const Outcome stream = ofStream(operations, dir / "stream", mode);
    const Outcome stdio = ofStdio(operations, dir / "stdio", mode);
    ASSERT_EQ(stdio.results, stream.results) << described(operations) << room.value_or(0);
    ASSERT_TRUE(stdio.content == stream.content)
        << described(operations) << stdio.content.size() << " bytes, not " << stream.content.size();
  }
}

void compareRandomOperations(unsigned seed, int rounds) {
  std::mt19937 random(seed);
  for (int round = 0; round < rounds && !testing::Test::HasFatalFailure(); ++round) {
    SCOPED_TRACE(round);
    expectTheSame(randomOperations(random));
  }
}

TEST(WideStdio, AgreeWithStdioInUtf8) {
  runInChild([] {
    setLocale("C.UTF-8");
    compareRandomOperations(1, 60);
  });
}

// stdio drops fewer bytes than a piece and writes more before the text.
TEST(WideStdio, AgreeWithStdioOnBytesBeforeWideText) {
  runInChild([] {
    setLocale("C.UTF-8");
    for (const std::size_t count : {1U, 15U, 16U, 20U}) {
      Operations operations{{'t', L"first", ""}, {'f', L"", ""}};
      operations.insert(operations.end(), count, {'b', L"", "b"});
      operations.push_back({'t', std::wstring(100, L'\xE9'), ""});
      expectTheSame(operations);
    }
  });
}

TEST(WideStdio, AgreeWithStdioInOtherEncodings) {
  runInChild([] { compareRandomOperations(2, 20); });
  runInChild([] {
    const Latin1Locale locale;
    locale.set();
    compareRandomOperations(3, 20);
  });
}

TEST(WideStdio, KeepTheFirstEncodingOfTheHandle) {
  runInChild([] {
    const Latin1Locale locale;
    locale.offer();
    const TempDir dir;
    Vexawofstream stream;
    setLocale(Latin1Locale::kName);
    stream.open((dir / "text").c_str(), kWrite);
    stream.put(L"\xE9");
    setLocale("C.UTF-8");
    stream.put(std::wstring(5000, L'\xE9').c_str());
    stream.close();
    EXPECT_EQ(std::string(5001, '\xE9'), readFile(dir / "text"));
  });
}

TEST(WideStdio, AgreeWithStdioWhenTheFileIsFull) {
  runInChild([] {
    setLocale("C.UTF-8");
    std::signal(SIGXFSZ, SIG_IGN);
    std::mt19937 random(4);
    for (int round = 0; round < 50 && !testing::Test::HasFatalFailure(); ++round) {
      SCOPED_TRACE(round);
      const rlim_t room = random() % 20000;
      const rlimit limit{room, RLIM_INFINITY};
      ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
      expectTheSame(randomOperations(random), room);
    }
  });
}

TEST(WideStdio, LeaveToStdioWhatIsPendingAtExit) {
  const TempDir dir;
  const std::wstring text(10000, L'\x4E2D');
  runInChild([&] {
    setLocale("C.UTF-8");
    auto* const stream = new Vexawofstream;  // closed only by exit
    stream->open((dir / "text").c_str(), kWrite);
    stream->put(text.c_str());
    stream->put(L'!');
    std::fflush(nullptr);
  });
  EXPECT_EQ(30001U, readFile(dir / "text").size());
  EXPECT_EQ('!', readFile(dir / "text").back());
}

struct Closing {
  const char* name;
  void (*close)(std::optional<Vexawofstream>&);
};

// A thread that flushes every stream waits for one that is being closed, whatever closes it.
TEST(WideStdio, CloseOnceWhileEveryStreamIsFlushed) {
  for (const Closing& way :
       {Closing{"close", [](auto& stream) { stream->close(); }},
        Closing{"open anew", [](auto& stream) { stream->open("/dev/null", kWrite); }},
        Closing{"destructor", [](auto& stream) { stream.reset(); }}}) {
    SCOPED_TRACE(way.name);
    runInChild([&way] {
      setLocale("C.UTF-8");
      FullPipe pipe;
      std::optional<Vexawofstream> stream(std::in_place);
      stream->open(pipe.path().c_str(), kWrite);
      stream->put(std::wstring(1000, L'a').c_str());
      WatchedThread closer([&] { way.close(stream); });
      closer.await({SYS_write});
      WatchedThread flusher([] { std::fflush(nullptr); });
      flusher.await({SYS_write, SYS_futex});
      EXPECT_EQ(std::string(1000, 'a'), pipe.drain());
    });
  }
}

TEST(WideStdio, DropWhatClosingCouldNotWrite) {
  runInChild([] {
    setLocale("C.UTF-8");
    static std::atomic<bool> interrupted{false};
    struct sigaction action = {};
    action.sa_handler = [](int) { interrupted = true; };
    ASSERT_EQ(0, ::sigaction(SIGUSR1, &action, nullptr));
    FullPipe pipe;
    std::FILE* const file = std::fopen(pipe.path().c_str(), "w");
    commutil::putWideText(file, std::wstring(1000, L'a').c_str());
    int result = 0;
    WatchedThread closer([&] { result = commutil::closeWide(file); });
    closer.await({SYS_write});
    closer.signal(SIGUSR1);
    while (!interrupted) std::this_thread::yield();
    EXPECT_EQ("", pipe.drain());
    closer.join();
    EXPECT_EQ(EOF, result);
  });
}

#if COMMUTIL_HAS_WIDE_STDIO

/// Returns what takeDecoded takes, in order, after the first character of `text`; 10 parts at most.
std::vector<std::wstring> takenOf(const std::string& text, std::size_t limit, std::wint_t delim) {
  const TempDir dir;
  const commutil::FileHandle file(std::fopen(dir.write("text", text).c_str(), "r"));
  EXPECT_EQ(0U, commutil::takeDecoded(file.get(), nullptr, limit, delim)) << "nothing is decoded";
  std::fgetwc(file.get());
  std::vector<std::wstring> all;
  std::wstring part(limit, L'#');
  while (all.size() < 10) {
    const std::size_t size = commutil::takeDecoded(file.get(), part.data(), limit, delim);
    if (size == 0) break;
    all.push_back(part.substr(0, size));
  }
  return all;
}

TEST(WideStdio, TakeDecodedTextUpToALineFeedOrDelimiter) {
  using Parts = std::vector<std::wstring>;
  EXPECT_EQ((Parts{L"ab\n", L"\n", L"cd;ef"}), takenOf("xab\n\ncd;ef", 9, L'\n'));
  EXPECT_EQ((Parts{L"ab\n", L"\n", L"cd;", L"ef"}), takenOf("xab\n\ncd;ef", 9, L';'));
  EXPECT_EQ((Parts{L"ab", L"\n", L"cd", L"e"}), takenOf("xab\ncde", 2, L'\n'));
  EXPECT_EQ((Parts{L"ab", L";", L"cd", L"e"}), takenOf("xab;cde", 2, L';'));
}

struct Writing {
  const char* name;
  void (*write)(Vexawofstream&);
};
constexpr Writing kFlush{"flush", [](Vexawofstream& stream) { wflush(stream); }};

/// Cancels a thread that writes `text` to a pipe, after it has written `blocks` blocks, and returns
/// what the pipe has received when the stream is closed.
std::string textOfCanceled(FullPipe& pipe, const std::wstring& text, const Writing& way,
                           int blocks) {
  Vexawofstream stream;
  stream.open(pipe.path().c_str(), kWrite);
  stream.put(text.c_str());
  WatchedThread writer([&] { way.write(stream); });
  writer.await({SYS_write});
  for (int block = 0; block < blocks; ++block) {
    pipe.makeRoom();
    writer.await({SYS_write});
  }
  writer.cancel();
  std::string received;
  WatchedThread reader([&] { received = pipe.drain(); });
  stream.close();
  reader.join();
  return received;
}

/// The same string as `count` wide characters and as bytes.
std::wstring wideChinese(std::size_t count) { return std::wstring(count, L'\x4E2D'); }
std::string chinese(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += "\xE4\xB8\xAD";
  return text;
}

TEST(WideStdio, KeepWhatACanceledThreadCouldNotWrite) {
  for (const Writing& way : {kFlush, Writing{"text", [](auto& stream) { stream.put(L"more"); }},
                             Writing{"character", [](auto& stream) { stream.put(L'm'); }},
                             Writing{"close", [](auto& stream) { stream.close(); }}}) {
    for (int blocks = 0; blocks < 3; ++blocks) {
      SCOPED_TRACE(std::string(way.name) + " after blocks: " + std::to_string(blocks));
      runInChild([&] {
        setLocale("C.UTF-8");
        FullPipe pipe;
        const std::string received = textOfCanceled(pipe, wideChinese(4096), way, blocks);
        EXPECT_TRUE(chinese(4096) == received) << received.size() << " bytes";
      });
    }
  }
}

// glibc would write two pieces: 15 bytes, which fit, and 3, which wait.
TEST(WideStdio, KeepTheUnwrittenPartOfAShortString) {
  runInChild([] {
    setLocale("C.UTF-8");
    FullPipe pipe(16);
    EXPECT_EQ(chinese(6), textOfCanceled(pipe, wideChinese(6), kFlush, 0));
  });
}

// glibc would write what is pending and a piece of 15 bytes, which fit, and repeat the piece later.
TEST(WideStdio, WriteNoPieceTwiceAfterAFullBufferOfOnePiece) {
  runInChild([] {
    setLocale("C.UTF-8");
    FullPipe pipe(31);
    std::FILE* const file = std::fopen(pipe.path().c_str(), "w");
    std::array<char, 64> buffer{};  // stdio keeps at most 16 characters
    std::setvbuf(file, buffer.data(), _IOFBF, buffer.size());
    EXPECT_LE(0, commutil::putWideText(file, std::wstring(16, L'x').c_str()));
    WatchedThread writer([&] { commutil::putWideText(file, wideChinese(17).c_str()); });
    writer.await({SYS_write});
    writer.cancel();
    std::string received;
    WatchedThread reader([&] { received = pipe.drain(); });
    EXPECT_EQ(0, commutil::closeWide(file));
    reader.join();
    EXPECT_EQ(std::string(16, 'x') + chinese(16), received);
  });
}

TEST(WideStdio, FailOnAHandleForReading) {
  runInChild([] {
    setLocale("C.UTF-8");
    std::FILE* const file = std::fopen("/dev/null", "r");
    ASSERT_NE(nullptr, file);
    errno = 0;
    EXPECT_EQ(EOF, commutil::putWideText(file, std::wstring(4096, L'x').c_str()));
    EXPECT_EQ(EBADF, errno);
    std::fclose(file);
  });
}

/// Returns the number of write(2) calls of this process so far.
long writeCalls() {
  const std::string text = readFile("/proc/self/io");
  return std::stol(text.substr(text.find("syscw: ") + 7));
}

TEST(WideStdio, WriteABlockACall) {
  runInChild([] {
    setLocale("C.UTF-8");
    const TempDir dir;
    for (const wchar_t c : {L'a', L'\xE9', L'\x4E2D', L'\x1F600'}) {
      const std::wstring text(60, c);
      Vexawofstream stream;
      stream.open((dir / "text").c_str(), kWrite);
      const long before = writeCalls();
      for (int i = 0; i < 10000; ++i) stream << text.c_str();
      stream.close();
      const auto bytes = static_cast<long>(readFile(dir / "text").size());
      EXPECT_LE(writeCalls() - before, bytes / 2000) << bytes;
    }
  });
}

TEST(WideStdio, WriteALineACall) {
  runInChild([] {
    setLocale("C.UTF-8");
    const TempDir dir;
    Vexawofstream stream;
    stream.open((dir / "text").c_str(), kWrite);
    const long before = writeCalls();
    for (int i = 0; i < 100; ++i) stream << std::wstring(200, L'\x4E2D').c_str() << wendl;
    const long calls = writeCalls() - before;
    EXPECT_LE(100, calls);
    EXPECT_GE(110, calls) << "more calls than a sanitizer adds";
  });
}

#endif

}  // namespace
