#include "os/file_io.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "support/c_library.h"
#include "support/failing_call.h"
#include "support/fixtures.h"

namespace {

using commutil::closeWritten;
using commutil::Descriptor;
using commutil::openFile;
using commutil::openInheritable;
using commutil::readAll;
using commutil::uninterrupted;
using commutil::writeAll;
using commutil_test::TempDir;

/// What close(2) reports after it has closed; 0 for its own result.
int errorOfClose = 0;

}  // namespace

extern "C" int close(int fd) {
  static auto* const function = commutil_test::cLibrary<int(int)>("close");
  const int result = function(fd);
  return errorOfClose == 0 ? result : commutil_test::failedWith<int>(errorOfClose);
}

namespace {

struct Answer {
  ssize_t count;
  int error;
};

TEST(Uninterrupted, CallsAgainAfterASignalOnly) {
  struct Row {
    std::vector<Answer> answers;
    ssize_t count;
    std::size_t calls;
  };
  for (const Row& row : {Row{{{5, 0}}, 5, 1}, Row{{{0, EINTR}}, 0, 1}, Row{{{-1, EIO}}, -1, 1},
                         Row{{{-1, EINTR}, {-1, EINTR}, {7, 0}}, 7, 3},
                         Row{{{-1, EINTR}, {-1, EAGAIN}, {7, 0}}, -1, 2}}) {
    std::size_t calls = 0;
    const ssize_t count = uninterrupted([&] {
      const Answer& answer = row.answers[calls++];
      errno = answer.error;
      return answer.count;
    });
    EXPECT_EQ(row.count, count);
    EXPECT_EQ(row.calls, calls);
  }
}

TEST(OpenFile, ClosesInExecUnlessInheritable) {
  const TempDir dir;
  const std::string path = dir / "file";
  const Descriptor inheritable = openInheritable(path, O_RDWR | O_CREAT | O_EXCL, 0600);
  const Descriptor file = openFile(path, O_RDONLY);
  EXPECT_EQ(0, ::fcntl(inheritable.get(), F_GETFD));
  EXPECT_EQ(FD_CLOEXEC, ::fcntl(file.get(), F_GETFD));
  EXPECT_FALSE(openFile(dir / "missing", O_RDONLY));
}

TEST(ReadAll, AppendsWhatIsLeftOfAnySize) {
  const TempDir dir;
  for (const std::size_t size : {0U, 1U, 65'536U, 1'000'000U}) {
    std::string bytes(size, 'x');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i % 251);
    const Descriptor file(::open(dir.write("file", "ab" + bytes).c_str(), O_RDONLY));
    ASSERT_EQ(1, ::lseek(file.get(), 1, SEEK_SET));
    std::string text = "before";
    EXPECT_TRUE(readAll(file.get(), text));
    EXPECT_TRUE(text == "beforeb" + bytes) << size;
  }
}

TEST(ReadAll, ReportsAFailure) {
  const TempDir dir;
  const Descriptor folder(::open(dir.path().c_str(), O_RDONLY));
  std::string text = "before";
  EXPECT_FALSE(readAll(folder.get(), text));
  EXPECT_FALSE(readAll(-1, text));
  EXPECT_EQ("before", text);
}

TEST(WriteAll, WritesEveryByte) {
  const TempDir dir;
  for (const std::size_t size : {0U, 1U, 1'000'000U}) {
    const std::string bytes(size, '\0');
    const Descriptor file(::open((dir / "file").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
    EXPECT_TRUE(writeAll(file.get(), bytes));
    EXPECT_EQ(bytes, commutil_test::readFile(dir / "file"));
  }
}

TEST(WriteAll, ReportsAFailure) {
  const Descriptor full(::open("/dev/full", O_WRONLY));
  EXPECT_FALSE(writeAll(full.get(), "x"));
  EXPECT_FALSE(writeAll(-1, "x"));
  EXPECT_TRUE(writeAll(-1, "")) << "nothing to write";
}

TEST(WriteAll, ReportsAFailureAfterAPart) {
  const TempDir dir;
  const Descriptor file(::open((dir / "file").c_str(), O_WRONLY | O_CREAT, 0600));
  commutil_test::runInChild([&file] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{500, 500};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
    EXPECT_FALSE(writeAll(file.get(), std::string(1000, 'x')));
  });
  EXPECT_EQ(std::string(500, 'x'), commutil_test::readFile(dir / "file"));
}

TEST(CloseWritten, ClosesOnce) {
  Descriptor file(::open("/dev/null", O_WRONLY));
  const int fd = file.get();
  EXPECT_TRUE(closeWritten(file));
  EXPECT_FALSE(file);
  EXPECT_EQ(-1, ::fcntl(fd, F_GETFD));
  EXPECT_FALSE(closeWritten(file)) << "nothing to close";
}

TEST(CloseWritten, FailsIfAWriteFailedAndNotAfterASignal) {
  struct Row {
    int error;
    bool success;
  };
  for (const Row& row : {Row{EINTR, true}, Row{EIO, false}, Row{ENOSPC, false}}) {
    Descriptor file(::open("/dev/null", O_WRONLY));
    const int fd = file.get();
    errorOfClose = row.error;
    const bool success = closeWritten(file);
    errorOfClose = 0;
    EXPECT_EQ(row.success, success) << row.error;
    EXPECT_FALSE(file);
    EXPECT_EQ(-1, ::fcntl(fd, F_GETFD));
  }
}

}  // namespace
