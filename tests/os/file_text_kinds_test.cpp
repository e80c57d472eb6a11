// Only regular files and the null device are read. Nothing else is opened, even if it replaces the
// file between two steps. This program replaces the functions that examine and open files.

// The headers define checked forms of these functions, and clang refuses a second definition.
#undef _FORTIFY_SOURCE

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "os/file_text.h"
#include "os/handles.h"
#include "support/c_library.h"
#include "support/fixtures.h"

namespace {

using commutil::readFileText;
using commutil_test::cLibrary;
using commutil_test::runInChild;
using commutil_test::TempDir;

/// The reader's calls, in order, and what the test does before and after each.
struct Watch {
  Watch() { current = this; }
  ~Watch() { current = nullptr; }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  static Watch* current;
  std::vector<std::string> calls;
  std::function<void(std::size_t)> before = [](std::size_t) {};  // gets the number of the call
  std::function<void(std::size_t)> after = before;
  std::function<int(int)> failOpen;  // gets the flags; the error to fail with, or 0
  bool failsReads = false;           // of descriptors that do not wait
};

Watch* Watch::current = nullptr;

template <class Call>
auto watched(const char* name, const Call& call) {
  Watch* const watch = Watch::current;
  if (watch == nullptr) return call();
  const std::size_t number = watch->calls.size();
  watch->calls.emplace_back(name);
  watch->before(number);
  const auto result = call();
  const commutil::ErrnoKeeper keep;
  watch->after(number);
  return result;
}

int failureOfOpen(int flags) {
  return Watch::current != nullptr && Watch::current->failOpen ? Watch::current->failOpen(flags)
                                                               : 0;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  static auto* const function = cLibrary<int(const char*, int, ...)>("open");
  std::va_list args;
  va_start(args, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(args, mode_t) : 0;
  va_end(args);
  return watched((flags & O_PATH) != 0 ? "open path" : "open", [&] {
    errno = failureOfOpen(flags);
    return errno != 0 ? -1 : function(path, flags, mode);
  });
}

int stat(const char* path, struct stat* status) noexcept {
  static auto* const function = cLibrary<int(const char*, struct stat*)>("stat");
  return watched("stat", [&] { return function(path, status); });
}

ssize_t read(int fd, void* data, std::size_t size) {
  static auto* const function = cLibrary<ssize_t(int, void*, std::size_t)>("read");
  if (Watch::current == nullptr || !Watch::current->failsReads ||
      (::fcntl(fd, F_GETFL) & O_NONBLOCK) == 0)
    return function(fd, data, size);
  errno = EWOULDBLOCK;
  return -1;
}

int fstat(int fd, struct stat* status) noexcept {
  static auto* const function = cLibrary<int(int, struct stat*)>("fstat");
  return watched("fstat", [&] { return function(fd, status); });
}
}

namespace {

/// Ends a test whose reader waits forever.
void limitTime() { ::alarm(60); }

void makeFifo(const std::string& path) { ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600)); }

void makeSocket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  const commutil::Descriptor end(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(0, ::bind(end.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

void makeDirectory(const std::string& path) { ASSERT_EQ(0, ::mkdir(path.c_str(), 0755)); }

void makeLink(const std::string& path, const char* target) {
  ASSERT_EQ(0, ::symlink(target, path.c_str()));
}

struct Kind {
  const char* name;
  std::function<void(const std::string&)> make;
};

const Kind kUnreadable[] = {
    {"FIFO", makeFifo},
    {"socket", makeSocket},
    {"directory", makeDirectory},
    {"link to /dev/zero", [](const std::string& path) { makeLink(path, "/dev/zero"); }},
    {"link to /dev/full", [](const std::string& path) { makeLink(path, "/dev/full"); }},
    {"link to a terminal", [](const std::string& path) { makeLink(path, "/dev/ptmx"); }},
    {"dangling link", [](const std::string& path) { makeLink(path, "missing"); }},
    {"link to itself", [](const std::string& path) { makeLink(path, path.c_str()); }},
};

TEST(FileKinds, WhatIsNotAFileIsNotEvenOpened) {
  for (const Kind& kind : kUnreadable) {
    SCOPED_TRACE(kind.name);
    const TempDir dir;
    const std::string path = dir / "a.cfg";
    kind.make(path);
    runInChild([&path] {
      limitTime();
      std::string text = "before";
      const Watch watch;
      EXPECT_FALSE(readFileText(path, text));
      EXPECT_EQ("before", text);
      EXPECT_EQ(std::vector<std::string>{"stat"}, watch.calls);
    });
  }
}

TEST(FileKinds, AFifoWithAWriterKeepsWhatIsInIt) {
  const TempDir dir;
  const std::string path = dir / "a.cfg";
  makeFifo(path);
  const commutil::Descriptor both(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
  ASSERT_EQ(5, ::write(both.get(), "[IP]\n", 5));
  runInChild([&path] {
    limitTime();
    std::string text;
    EXPECT_FALSE(readFileText(path, text));
  });
  char kept[6] = {};
  EXPECT_EQ(5, ::read(both.get(), kept, 5));
  EXPECT_STREQ("[IP]\n", kept);
}

TEST(FileKinds, TheNullDeviceReadsAsAnEmptyFile) {
  const TempDir dir;
  const std::string path = dir / "a.cfg";
  makeLink(path, "/dev/null");
  for (const std::string& name : {path, std::string("/dev/null")}) {
    std::string text = "before";
    EXPECT_TRUE(readFileText(name, text));
    EXPECT_EQ("", text);
  }
}

TEST(FileKinds, ALinkToAFileAndAFileOfTheKernelAreRead) {
  const TempDir dir;
  dir.write("target", "text");
  makeLink(dir / "a.cfg", "target");
  std::string text;
  EXPECT_TRUE(readFileText(dir / "a.cfg", text));
  EXPECT_EQ("text", text);
  EXPECT_TRUE(readFileText("/proc/self/status", text)) << "a file whose size is 0";
  EXPECT_EQ(0U, text.find("Name:"));
}

/// The steps for a regular file.
const std::vector<std::string> kSteps = {"stat", "open", "fstat"};

TEST(FileKinds, AReplacementOfTheFileIsNotRead) {
  for (const Kind& kind : kUnreadable) {
    for (std::size_t step = 0; step <= kSteps.size(); ++step) {
      SCOPED_TRACE(kind.name + std::string(" before step ") + std::to_string(step));
      const TempDir dir;
      const std::string path = dir.write("a.cfg", "the file");
      kind.make(dir / "other");
      runInChild([&] {
        limitTime();
        Watch watch;
        const auto swap = [&] {
          std::filesystem::rename(path, dir / "old");
          std::filesystem::rename(dir / "other", path);
        };
        watch.before = [&](std::size_t number) {
          if (number == step) swap();
        };
        std::string text = "before";
        const bool opened = step >= 2;  // from then on the path does not matter
        EXPECT_EQ(opened, readFileText(path, text));
        EXPECT_EQ(opened ? "the file" : "before", text);
      });
    }
  }
}

TEST(FileKinds, AFileThatReplacesAFifoAfterTheCheckIsNotRead) {
  const TempDir dir;
  const std::string path = dir / "a.cfg";
  makeFifo(path);
  dir.write("file", "the file");
  runInChild([&] {
    limitTime();
    Watch watch;
    watch.after = [&](std::size_t) { std::filesystem::rename(dir / "file", path); };
    std::string text = "before";
    EXPECT_FALSE(readFileText(path, text));
    EXPECT_EQ(std::vector<std::string>{"stat"}, watch.calls);
  });
}

TEST(FileKinds, WaitsForAnOpenThatWouldBlock) {
  const TempDir dir;
  const std::string path = dir.write("a.cfg", "text");
  Watch watch;
  watch.failOpen = [](int flags) { return (flags & O_NONBLOCK) != 0 ? EWOULDBLOCK : 0; };
  std::string text;
  EXPECT_TRUE(readFileText(path, text));
  EXPECT_EQ("text", text);
  EXPECT_EQ((std::vector<std::string>{"stat", "open", "open path", "fstat", "open", "fstat"}),
            watch.calls);
}

TEST(FileKinds, WaitsForAReadThatWouldBlock) {
  const TempDir dir;
  const std::string path = dir.write("a.cfg", "text");
  Watch watch;
  watch.failsReads = true;
  std::string text;
  EXPECT_TRUE(readFileText(path, text));
  EXPECT_EQ("text", text);
}

TEST(FileKinds, AReplacementDuringTheWaitIsNotRead) {
  for (const Kind& kind : kUnreadable) {
    for (std::size_t step = 2; step <= 6; ++step) {
      SCOPED_TRACE(kind.name + std::string(" before step ") + std::to_string(step));
      const TempDir dir;
      const std::string path = dir.write("a.cfg", "the file");
      kind.make(dir / "other");
      runInChild([&] {
        limitTime();
        Watch watch;
        watch.failOpen = [](int flags) { return (flags & O_NONBLOCK) != 0 ? EWOULDBLOCK : 0; };
        watch.before = [&](std::size_t number) {
          if (number != step) return;
          std::filesystem::rename(path, dir / "old");
          std::filesystem::rename(dir / "other", path);
        };
        std::string text = "before";
        const bool opened = step >= 3;
        EXPECT_EQ(opened, readFileText(path, text));
        EXPECT_EQ(opened ? "the file" : "before", text);
      });
    }
  }
}

TEST(FileKinds, OtherFailuresOfTheOpenAreFinal) {
  const TempDir dir;
  const std::string path = dir.write("a.cfg", "text");
  for (const int error : {EACCES, EMFILE, ENXIO, EIO}) {
    Watch watch;
    watch.failOpen = [error](int) { return error; };
    std::string text = "before";
    EXPECT_FALSE(readFileText(path, text));
    EXPECT_EQ("before", text);
    EXPECT_EQ((std::vector<std::string>{"stat", "open"}), watch.calls);
  }
}

TEST(FileKinds, AnOpenWithoutMemoryThrows) {
  const TempDir dir;
  const std::string path = dir.write("a.cfg", "text");
  Watch watch;
  watch.failOpen = [](int) { return ENOMEM; };
  std::string text = "before";
  EXPECT_THROW(readFileText(path, text), std::bad_alloc);
  EXPECT_EQ("before", text);
}

TEST(FileKinds, EveryOpenIsCloseOnExecAndTakesNoTerminal) {
  const TempDir dir;
  const std::string path = dir.write("a.cfg", "text");
  Watch watch;
  std::vector<int> missing;
  watch.failOpen = [&missing](int flags) {
    const int needed = O_CLOEXEC | ((flags & O_PATH) != 0 ? 0 : O_NOCTTY);
    missing.push_back(needed & ~flags);
    return (flags & O_NONBLOCK) != 0 ? EWOULDBLOCK : 0;
  };
  std::string text;
  EXPECT_TRUE(readFileText(path, text));
  EXPECT_EQ(std::vector<int>(3, 0), missing);
}

/// Holds a lease on the file at `path` until another process opens it, then releases it.
void holdLease(const std::string& path, int ready) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGIO);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  const commutil::Descriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(0, ::fcntl(file.get(), F_SETLEASE, F_WRLCK)) << std::strerror(errno);
  ASSERT_EQ(1, ::write(ready, "r", 1));
  int signal = 0;
  ASSERT_EQ(0, sigwait(&set, &signal));
  ASSERT_EQ(4, ::pwrite(file.get(), "late", 4, 0));
  ASSERT_EQ(0, ::fcntl(file.get(), F_SETLEASE, F_UNLCK));
}

TEST(FileKinds, AFileWithALeaseIsReadOnceTheLeaseIsReleased) {
  const TempDir dir;
  const std::string path = dir.write("a.cfg", "text");
  int ends[2];
  ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
  const commutil::Descriptor reading(ends[0]);
  commutil::Descriptor writing(ends[1]);
  const pid_t holder = ::fork();
  ASSERT_LE(0, holder);
  if (holder == 0) {
    limitTime();
    holdLease(path, writing.get());
    std::_Exit(testing::Test::HasFailure() ? 1 : 0);
  }
  writing.reset();
  char ready = 0;
  EXPECT_EQ(1, ::read(reading.get(), &ready, 1));
  std::string text;
  EXPECT_TRUE(readFileText(path, text));
  EXPECT_EQ("late", text);
  int status = -1;
  EXPECT_EQ(holder, ::waitpid(holder, &status, 0));
  EXPECT_EQ(0, status);
}

}  // namespace
