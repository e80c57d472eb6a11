// Compares wide output with plain stdio over random operations, faults and buffers. Prints its
// seed; COMMUTIL_TEST_SEED repeats a run.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "os/wide_stdio.h"
#include "support/fixtures.h"
#include "support/full_pipe.h"
#include "support/locales.h"
#include "support/namespaces.h"
#include "support/random_seed.h"
#include "support/threads.h"

namespace {

using commutil_test::enterNamespaces;
using commutil_test::FullPipe;
using commutil_test::inThreads;
using commutil_test::Latin1Locale;
using commutil_test::mountTmpfs;
using commutil_test::randomSeed;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::setLocale;
using commutil_test::TempDir;
using commutil_test::WatchedThread;
using commutil_test::writeFile;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kSlower = 8;
#else
constexpr int kSlower = 1;
#endif
constexpr int kRounds = 500 / kSlower;        // of each comparison with plain stdio
constexpr int kThreadRounds = 300 / kSlower;  // of those with threads

using Random = std::mt19937;

std::size_t below(Random& random, std::size_t limit) { return random() % limit; }

bool oneIn(Random& random, unsigned count) { return random() % count == 0; }

// Operations

struct Step {
  char kind;  // of the ones in `apply`
  std::wstring text{};
};
using Steps = std::vector<Step>;

/// How a handle is buffered (setvbuf(3)); the default without a mode.
struct Buffering {
  std::optional<int> mode;
  std::size_t size = 0;
};

/// A round: the operations, and the kind of handle.
struct Round {
  Buffering buffering;
  Steps steps;
};

std::ostream& operator<<(std::ostream& out, const Round& round) {
  out << "buffer " << round.buffering.mode.value_or(-1) << ":" << round.buffering.size;
  for (const Step& step : round.steps) out << ' ' << step.kind << step.text.size();
  return out;
}

/// `none` allows an unbuffered handle too, requested in either way.
Buffering randomBuffering(Random& random, bool none) {
  const std::size_t least = none ? 0 : 1;
  switch (below(random, 20)) {
    case 0:
      return none ? Buffering{_IONBF, 0} : Buffering{};
    case 1:
      return {_IOLBF, least + below(random, 200)};
    case 2:
    case 3:
      return {_IOFBF, 65 + below(random, 400)};
    case 4:
    case 5:
      return {_IOFBF, 16 + below(random, 9)};
    case 6:
    case 7:
    case 8:
    case 9:
    case 10:
    case 11:
    case 12:
      return {_IOFBF, least + below(random, 65 - least)};
    default:
      return {};
  }
}

std::size_t randomSize(Random& random, std::size_t most) {
  switch (below(random, 16)) {
    case 0:
      return std::min<std::size_t>(most, oneIn(random, 2) ? 4000 + below(random, 300) : 600);
    case 1:
      return std::min<std::size_t>(most, below(random, 1500));
    case 2:
    case 3:
    case 4:
      return 14 + below(random, 6);
    default:
      return below(random, 120);
  }
}

/// `valid` omits what UTF-8 cannot encode.
std::wstring randomText(Random& random, std::size_t size, bool valid) {
  static const std::wstring kMixed = L"ab\n\x7F\x80\xE9\x7FF\x800\x4E2D\xFFFD\xFFFF\x10000\x1F600";
  static const std::wstring kForeign = L"\xD800\xDFFF\x110000\x7FFFFFFF";
  static const std::wstring kAlike = L"a\xE9\x4E2D\x1F600";
  std::wstring text(size, kAlike[below(random, kAlike.size())]);
  if (oneIn(random, 2)) {
    for (wchar_t& c : text) c = kMixed[below(random, kMixed.size())];
  } else {
    for (std::size_t i = 0; i < size; i += 7) text[i] = static_cast<wchar_t>(L' ' + i % 90);
  }
  if (!valid && size != 0 && oneIn(random, 8)) {
    text[below(random, size)] = kForeign[below(random, kForeign.size())];
  }
  return text;
}

/// The variations of a comparison.
struct Plan {
  bool valid = true;          ///< wide text that UTF-8 encodes, and no bytes
  std::size_t most = 100000;  ///< characters of a round
  bool disturbs = true;       ///< writes fail: the medium's fault happens or ends in between
};

Round randomRound(Random& random, const Plan& plan) {
  // After a write error on an unbuffered handle, stdio itself overruns the handle's buffer.
  Round round{randomBuffering(random, !plan.disturbs), {}};
  // In stdio itself, bytes put to a wide handle overrun a small buffer.
  const bool withBytes = !plan.valid && (!round.buffering.mode || round.buffering.size > 64);
  const std::string kinds = withBytes ? "tttttttcccfebbbs" : "tttttttcccfe";
  std::size_t left = plan.most;
  for (auto count = 1 + below(random, 10); count > 0; --count) {
    Step step{kinds[below(random, kinds.size())]};
    if (step.kind == 't') step.text = randomText(random, randomSize(random, left), plan.valid);
    if (step.kind == 'c') step.text = randomText(random, 1, plan.valid);
    if (step.kind == 'b') step.text.assign(below(random, 6), L'b');
    left -= std::min(left, step.text.size());
    if (step.text.size() <= left) round.steps.push_back(std::move(step));
  }
  if (plan.disturbs) {
    const auto place = static_cast<Steps::difference_type>(below(random, round.steps.size() + 1));
    round.steps.insert(round.steps.begin() + place, Step{'!'});
  }
  return round;
}

// Media

/// The medium that a handle writes to, opened again for each side of a comparison.
class Medium {
 public:
  Medium() = default;
  virtual ~Medium() = default;
  Medium(const Medium&) = delete;
  Medium& operator=(const Medium&) = delete;

  virtual std::FILE* open() = 0;
  /// Starts or ends the medium's fault.
  virtual void disturb(std::FILE*) {}
  /// Returns the end of the written part.
  virtual long position(std::FILE* file) const { return ::lseek(::fileno(file), 0, SEEK_CUR); }
  /// Returns everything that the medium has received.
  virtual std::string content() = 0;
};

using MakeMedium = std::function<std::unique_ptr<Medium>(Random&)>;

class PlainFile : public Medium {
 public:
  explicit PlainFile(std::string path, const char* mode = "w")
      : m_path(std::move(path)), m_mode(mode) {
    ::unlink(m_path.c_str());
  }
  ~PlainFile() override { ::unlink(m_path.c_str()); }
  std::FILE* open() override { return std::fopen(m_path.c_str(), m_mode); }
  std::string content() override { return readFile(m_path); }

 private:
  std::string m_path;
  const char* m_mode;
};

/// Loses its descriptor.
class ClosedFile : public PlainFile {
 public:
  using PlainFile::PlainFile;
  void disturb(std::FILE* file) override { ::close(::fileno(file)); }
};

/// Has a size limit, until that is lifted.
class LimitedFile : public PlainFile {
 public:
  LimitedFile(const std::string& path, rlim_t limit) : PlainFile(path), m_limit(limit) {}
  ~LimitedFile() override { limitTo(RLIM_INFINITY); }
  std::FILE* open() override {
    limitTo(m_limit);
    return PlainFile::open();
  }
  void disturb(std::FILE*) override { limitTo(RLIM_INFINITY); }

 private:
  static void limitTo(rlim_t size) {
    const rlimit limit{size, RLIM_INFINITY};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
  }

  const rlim_t m_limit;
};

/// Is on a disk that another file almost fills, until that is removed.
class FileOnFullDisk : public PlainFile {
 public:
  FileOnFullDisk(const std::string& folder, std::size_t otherSize)
      : PlainFile(folder + "/text"), m_other(folder + "/other") {
    writeFile(m_other, std::string(otherSize, '#'));
  }
  ~FileOnFullDisk() override { ::unlink(m_other.c_str()); }
  void disturb(std::FILE*) override { ::unlink(m_other.c_str()); }

 private:
  const std::string m_other;
};

class FullDevice : public Medium {
 public:
  std::FILE* open() override { return std::fopen("/dev/full", "w"); }
  std::string content() override { return ""; }
};

/// A pipe whose reader closes it.
class BrokenPipe : public Medium {
 public:
  BrokenPipe() { EXPECT_EQ(0, ::pipe2(m_ends, O_CLOEXEC)); }
  ~BrokenPipe() override { closeReader(); }
  std::FILE* open() override { return ::fdopen(m_ends[1], "w"); }
  void disturb(std::FILE*) override { closeReader(); }
  long position(std::FILE*) const override {
    int ready = -1;
    return m_ends[0] < 0 || ::ioctl(m_ends[0], FIONREAD, &ready) != 0 ? -1 : ready;
  }
  std::string content() override {
    receive();
    return m_received;
  }

 protected:
  int end(int index) const { return m_ends[index]; }
  void receive() {
    std::array<char, 4096> block{};
    while (position(nullptr) > 0) {
      const ssize_t count = ::read(m_ends[0], block.data(), block.size());
      m_received.append(block.data(), static_cast<std::size_t>(count));
    }
  }

 private:
  void closeReader() {
    if (m_ends[0] < 0) return;
    receive();
    ::close(m_ends[0]);
    m_ends[0] = -1;
  }

  int m_ends[2] = {-1, -1};
  std::string m_received;
};

/// A pipe of one page that refuses bytes instead of waiting, until it is read.
class RefusingPipe : public BrokenPipe {
 public:
  RefusingPipe() {
    EXPECT_LT(0, ::fcntl(end(0), F_SETPIPE_SZ, 4096));
    EXPECT_EQ(0, ::fcntl(end(1), F_SETFL, O_NONBLOCK));
  }
  void disturb(std::FILE*) override { receive(); }
};

class Terminal : public Medium {
 public:
  Terminal() : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_EQ(0, ::grantpt(m_master));
    EXPECT_EQ(0, ::unlockpt(m_master));
    // Kept open: the master loses its input if no one has the terminal open.
    m_slave = ::open(::ptsname(m_master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(0, ::fcntl(m_master, F_SETFL, O_NONBLOCK));
  }
  ~Terminal() override {
    ::close(m_slave);
    ::close(m_master);
  }
  std::FILE* open() override { return std::fopen(::ptsname(m_master), "w"); }
  long position(std::FILE*) const override { return 0; }
  std::string content() override {
    std::array<char, 4096> block{};
    for (ssize_t count = 0; (count = ::read(m_master, block.data(), block.size())) > 0;) {
      m_received.append(block.data(), static_cast<std::size_t>(count));
    }
    return m_received;
  }

 private:
  const int m_master;
  int m_slave = -1;
  std::string m_received;
};

// Comparison

/// The two ways to write.
struct Writer {
  int (*putText)(std::FILE*, const wchar_t*);
  std::wint_t (*putCharacter)(std::FILE*, wchar_t);
  int (*flush)(std::FILE*);
  int (*close)(std::FILE*);
};
constexpr Writer kOurs{commutil::putWideText, commutil::putWideCharacter, commutil::flushWide,
                       commutil::closeWide};
constexpr Writer kPlain{
    [](std::FILE* file, const wchar_t* text) { return std::fputws(text, file); },
    [](std::FILE* file, wchar_t c) { return std::fputwc(c, file); }, std::fflush, std::fclose};

/// What can be observed of a call.
struct Seen {
  long value;
  int error;  ///< errno, if the call failed
  bool failed;
  long position;
  std::optional<std::string> content;  ///< after a flush or close that succeeded

  bool operator==(const Seen&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Seen& seen) {
  return out << "value " << seen.value << ", errno " << seen.error << ", ferror " << seen.failed
             << ", position " << seen.position << ", bytes "
             << (seen.content ? static_cast<long>(seen.content->size()) : -1);
}

long apply(const Writer& writer, const Step& step, std::FILE* file) {
  switch (step.kind) {
    case 't':
      return writer.putText(file, step.text.c_str());
    case 'c':
      return static_cast<int>(writer.putCharacter(file, step.text[0]));
    case 'b':
      for (const wchar_t c : step.text) std::fputc(c, file);
      return std::fputc('b', file);
    case 's':
      return std::fputs("bytes", file);
    case 'e':
      writer.putCharacter(file, L'\n');
      return writer.flush(file);
    default:
      return writer.flush(file);
  }
}

/// Returns the part of a string that UTF-8 encodes, as bytes.
std::string encoded(const std::wstring& text) {
  std::string bytes(text.size() * 4 + 1, '\0');
  bytes.resize(std::wcstombs(bytes.data(), text.c_str(), bytes.size()));
  return bytes;
}

/// After the first failure, the received bytes must be a prefix of the output.
void expectPrefix(const Round& round, std::size_t done, const std::string& content) {
  std::string all;
  for (std::size_t i = 0; i < done; ++i) {
    all += round.steps[i].kind == 'e' ? "\n" : encoded(round.steps[i].text);
  }
  EXPECT_EQ(0, all.compare(0, content.size(), content)) << round;
}

std::vector<Seen> run(const Writer& writer, const Round& round, Medium& medium, bool valid) {
  std::vector<Seen> all;
  std::array<char, 512> buffer{};
  std::FILE* const file = medium.open();
  const Buffering& buffering = round.buffering;
  if (buffering.mode) std::setvbuf(file, buffer.data(), *buffering.mode, buffering.size);
  bool hasFailed = false;
  for (std::size_t i = 0; i < round.steps.size(); ++i) {
    const Step& step = round.steps[i];
    if (step.kind == '!') {
      medium.disturb(file);
      continue;
    }
    errno = 0;
    const long value = apply(writer, step, file);
    const int error = value == EOF ? errno : 0;
    const bool flushed = value == 0 && (step.kind == 'f' || step.kind == 'e');
    Seen seen{value, error, std::ferror(file) != 0, medium.position(file), {}};
    if (flushed) seen.content = medium.content();
    all.push_back(std::move(seen));
    if (value == EOF && !hasFailed && valid) expectPrefix(round, i + 1, medium.content());
    hasFailed = hasFailed || value == EOF;
  }
  errno = 0;
  const int closed = writer.close(file);
  all.push_back({closed, closed == 0 ? 0 : errno, false, 0, medium.content()});
  return all;
}

void compareOnce(const Round& round, const Plan& plan, const MakeMedium& make, Random& random) {
  Random same = random;  // both media are alike
  const std::unique_ptr<Medium> plainMedium = make(random);
  const std::vector<Seen> plain = run(kPlain, round, *plainMedium, plan.valid);
  const std::unique_ptr<Medium> ourMedium = make(same);
  const std::vector<Seen> ours = run(kOurs, round, *ourMedium, plan.valid);
  for (std::size_t i = 0; i < plain.size(); ++i) {
    ASSERT_TRUE(plain[i] == ours[i]) << "call " << i << " of " << round
                                     << "\nplain stdio: " << plain[i] << "\nours: " << ours[i];
  }
}

/// Runs the rounds of one comparison in a child, which has its own locale and signals.
void compare(
    unsigned shard, const Plan& plan, const MakeMedium& make,
    const std::function<void()>& prepare = [] { setLocale("C.UTF-8"); }) {
  const unsigned start = randomSeed() + shard;
  runInChild([&] {
    prepare();
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    Random random(start);
    for (int number = 0; number < kRounds && !testing::Test::HasFailure(); ++number) {
      SCOPED_TRACE(number);
      compareOnce(randomRound(random, plan), plan, make, random);
    }
  });
}

MakeMedium plainFile(const TempDir& dir) {
  return [&dir](Random& random) {
    return std::make_unique<PlainFile>(dir / "text", oneIn(random, 2) ? "w" : "a");
  };
}

TEST(WideStdioRandom, Utf8) {
  const TempDir dir;
  compare(1, {false, 100000, false}, plainFile(dir));
}

TEST(WideStdioRandom, OtherEncodings) {
  const TempDir dir;
  const Latin1Locale locale;
  compare(2, {false, 100000, false}, plainFile(dir), [&locale] { locale.set(); });
}

std::atomic<int> signals{0};  // that have arrived

/// Sends this process a signal as often as the kernel can.
void startSignals() {
  setLocale("C.UTF-8");
  struct sigaction action = {};
  action.sa_handler = [](int) { ++signals; };
  ASSERT_EQ(0, ::sigaction(SIGALRM, &action, nullptr));
  const itimerval often{{0, 100}, {0, 100}};
  ASSERT_EQ(0, ::setitimer(ITIMER_REAL, &often, nullptr));
}

TEST(WideStdioRandom, ManySignals) {
  const TempDir dir;
  compare(3, {}, plainFile(dir), startSignals);
}

TEST(WideStdioRandom, LimitedFile) {
  const TempDir dir;
  compare(4, {}, [&dir](Random& random) {
    return std::make_unique<LimitedFile>(dir / "text",
                                         below(random, oneIn(random, 4) ? 12000 : 400));
  });
}

TEST(WideStdioRandom, FullDisk) {
  const TempDir dir;
  compare(
      5, {},
      [&dir](Random& random) {
        return std::make_unique<FileOnFullDisk>(dir.path().string(), 4096 * below(random, 4));
      },
      [&dir] {
        setLocale("C.UTF-8");
        enterNamespaces(CLONE_NEWNS);
        mountTmpfs(dir.path().string(), "size=16k");
      });
}

TEST(WideStdioRandom, FullDevice) {
  compare(6, {}, [](Random&) { return std::make_unique<FullDevice>(); });
}

TEST(WideStdioRandom, ClosedDescriptor) {
  const TempDir dir;
  compare(7, {}, [&dir](Random&) { return std::make_unique<ClosedFile>(dir / "text"); });
}

constexpr std::size_t kPipeful = 12000;  // characters that fit into a pipe, whatever they are

TEST(WideStdioRandom, BrokenPipe) {
  compare(8, {true, kPipeful, true}, [](Random&) { return std::make_unique<BrokenPipe>(); });
}

TEST(WideStdioRandom, RefusingPipe) {
  compare(9, {}, [](Random&) { return std::make_unique<RefusingPipe>(); });
}

TEST(WideStdioRandom, Terminal) {
  compare(10, {false, 800, false}, [](Random&) { return std::make_unique<Terminal>(); });
}

// Threads

/// A line that names its thread and number.
std::string line(Random& random, int thread, int number) {
  static constexpr std::array<const char*, 4> kFillings{"x", "\xC3\xA9", "\xE4\xB8\xAD",
                                                        "x\xF0\x9F\x98\x80"};
  const std::string filling = kFillings[below(random, kFillings.size())];
  std::string text = std::to_string(thread) + ":" + std::to_string(number) + ":";
  for (auto count = below(random, oneIn(random, 8) ? 3000 : 200); count > 0; --count) {
    text += filling;
  }
  return text + "\n";
}

std::wstring widened(const std::string& text) {
  std::wstring wide(text.size(), L'\0');
  wide.resize(std::mbstowcs(wide.data(), text.c_str(), wide.size()));
  return wide;
}

/// Returns whether each line of each thread is there, whole, once and in order.
void expectLinesOf(const std::vector<std::vector<std::string>>& threads,
                   const std::string& content) {
  std::vector<std::size_t> next(threads.size());
  std::istringstream stream(content);
  for (std::string text; std::getline(stream, text);) {
    const auto thread = static_cast<std::size_t>(text.empty() ? 99 : text[0] - '0');
    ASSERT_LT(thread, threads.size()) << text;
    ASSERT_LT(next[thread], threads[thread].size()) << text;
    ASSERT_EQ(threads[thread][next[thread]++], text + "\n");
  }
  for (std::size_t i = 0; i < threads.size(); ++i) EXPECT_EQ(threads[i].size(), next[i]);
}

/// Three threads share a handle, and one flushes it, or all handles until it is closed.
void shareAHandle(Random& random, const std::string& path) {
  constexpr int kThreads = 3;
  std::vector<std::vector<std::string>> lines(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    for (int number = 0; number < 30; ++number) {
      lines[static_cast<std::size_t>(thread)].push_back(line(random, thread, number));
    }
  }
  std::FILE* const file = std::fopen(path.c_str(), "w");
  const bool flushesAll = oneIn(random, 2);
  std::atomic<bool> ends{false};
  std::thread flusher([&] {
    while (!ends) flushesAll ? std::fflush(nullptr) : commutil::flushWide(file);
  });
  inThreads(kThreads, [&](int thread) {
    for (const std::string& text : lines[static_cast<std::size_t>(thread)]) {
      EXPECT_LE(0, commutil::putWideText(file, widened(text).c_str()));
    }
  });
  if (!flushesAll) {
    ends = true;
    flusher.join();
  }
  EXPECT_EQ(0, commutil::closeWide(file));
  ends = true;
  if (flusher.joinable()) flusher.join();
  expectLinesOf(lines, readFile(path));
}

TEST(WideStdioRandom, ThreadsWithAFlusher) {
  const unsigned start = randomSeed() + 11;
  runInChild([start] {
    setLocale("C.UTF-8");
    const TempDir dir;
    Random random(start);
    for (int number = 0; number < kThreadRounds && !testing::Test::HasFailure(); ++number) {
      SCOPED_TRACE(number);
      shareAHandle(random, dir / "text");
    }
  });
}

#if COMMUTIL_HAS_WIDE_STDIO

/// A string that was written, and whether the call returned and succeeded.
struct Put {
  std::string text;
  bool accepted = false;
};

/// Returns whether `received` is the strings in order: accepted ones whole, any prefix of others.
bool isOfPuts(const std::string& received, const std::vector<Put>& puts) {
  std::set<std::size_t> ends{0};
  for (const Put& put : puts) {
    std::set<std::size_t> next;
    for (const std::size_t end : ends) {
      const std::string_view rest = std::string_view(received).substr(end);
      const std::size_t size = put.text.size();
      const auto same = static_cast<std::size_t>(
          std::mismatch(rest.begin(), rest.begin() + static_cast<long>(std::min(size, rest.size())),
                        put.text.begin())
              .first -
          rest.begin());
      if (same == size) next.insert(end + size);
      for (std::size_t part = 0; !put.accepted && part <= same; ++part) next.insert(end + part);
    }
    ends = std::move(next);
  }
  return ends.count(received.size()) != 0;
}

// Plain stdio repeats pieces if an interrupted or canceled write is retried; blocks are never
// repeated.

/// Writes to a pipe of one page while signals interrupt the writes.
void writeInterrupted(Random& random) {
  int ends[2];
  ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
  ASSERT_LT(0, ::fcntl(ends[0], F_SETPIPE_SZ, 4096));
  std::string received;
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  ::pthread_sigmask(SIG_BLOCK, &alarm, nullptr);  // the reader blocks it
  std::thread reader([&] {
    std::array<char, 4096> block{};
    for (ssize_t count = 0; (count = ::read(ends[0], block.data(), block.size())) > 0;) {
      received.append(block.data(), static_cast<std::size_t>(count));
      for (const int before = signals; signals < before + 2;) std::this_thread::yield();
    }
  });
  ::pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
  std::FILE* const file = ::fdopen(ends[1], "w");
  std::vector<char> buffer(4096 * (1 + below(random, 16)));
  std::setvbuf(file, buffer.data(), _IOFBF, buffer.size());
  std::vector<Put> puts;
  for (int number = 0; number < 20; ++number) {
    Put put{line(random, 0, number)};
    put.accepted = commutil::putWideText(file, widened(put.text).c_str()) >= 0;
    puts.push_back(std::move(put));
    if (oneIn(random, 3)) commutil::flushWide(file);
  }
  while (commutil::flushWide(file) != 0) {
  }
  EXPECT_EQ(0, commutil::closeWide(file));
  reader.join();
  ::close(ends[0]);
  EXPECT_TRUE(isOfPuts(received, puts));
}

TEST(WideStdioRandom, InterruptedWrites) {
  const unsigned start = randomSeed() + 12;
  runInChild([start] {
    startSignals();
    Random random(start);
    for (int number = 0; number < kThreadRounds && !testing::Test::HasFailure(); ++number) {
      SCOPED_TRACE(number);
      writeInterrupted(random);
    }
  });
}

/// Cancels a thread that waits for a full pipe, after some blocks.
void cancelAWriter(Random& random) {
  FullPipe pipe;
  std::FILE* const file = std::fopen(pipe.path().c_str(), "w");
  std::vector<Put> puts;
  puts.reserve(400);
  for (int number = 0; number < 400; ++number) puts.push_back({line(random, 0, number)});
  WatchedThread writer([&] {
    for (Put& put : puts)
      put.accepted = commutil::putWideText(file, widened(put.text).c_str()) >= 0;
  });
  writer.await({SYS_write});
  for (auto blocks = below(random, 4); blocks > 0; --blocks) {
    pipe.makeRoom();
    writer.await({SYS_write});
  }
  writer.cancel();
  while (puts.size() > 1 && !puts[puts.size() - 2].accepted) puts.pop_back();
  std::string received;
  WatchedThread reader([&] { received = pipe.drain(); });
  EXPECT_EQ(0, commutil::closeWide(file));
  reader.join();
  EXPECT_TRUE(isOfPuts(received, puts));
}

TEST(WideStdioRandom, CanceledWriters) {
  const unsigned start = randomSeed() + 13;
  runInChild([start] {
    setLocale("C.UTF-8");
    Random random(start);
    for (int number = 0; number < kThreadRounds && !testing::Test::HasFailure(); ++number) {
      SCOPED_TRACE(number);
      cancelAWriter(random);
    }
  });
}

#endif

}  // namespace
