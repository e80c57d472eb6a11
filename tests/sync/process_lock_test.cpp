#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <streambuf>
#include <string>
#include <utility>

#include "VexaLocks.h"
#include "support/fixtures.h"
#include "support/lock_holder.h"
#include "support/system_calls.h"
#include "sync/lock_fields.h"

namespace {

using commutil_test::CapturedOutput;
using commutil_test::enterElsewhere;
using commutil_test::failSystemCall;
using commutil_test::fieldsOf;
using commutil_test::forbidSystemCall;
using commutil_test::isOpen;
using commutil_test::LockHolder;
using commutil_test::modeOf;
using commutil_test::openDescriptors;
using commutil_test::outputOf;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::ScopedUmask;
using commutil_test::TempDir;
using std::chrono::steady_clock;

constexpr char kNoShareText[] = "Getting the envionment variable _APP_SHARE_DIR failed.\n";

/// A share directory, named by `_APP_SHARE_DIR`, with an empty lock directory "/lock/".
class ProcessLock : public ::testing::Test {
 protected:
  ProcessLock() { std::filesystem::create_directory(m_share / "lock"); }

  TempDir m_share;
  ScopedEnv m_variable{"_APP_SHARE_DIR", m_share.path().string()};
};

TEST_F(ProcessLock, ConstructionTouchesNoFile) {
  const VexaProcessLock lock("backup", "/new/");
  EXPECT_FALSE(std::filesystem::exists(m_share / "new"));
  EXPECT_TRUE(std::filesystem::is_empty(m_share / "lock"));
}

TEST_F(ProcessLock, IsTakenAndReleasedSilently) {
  VexaProcessLock lock("backup", "/lock/");
  const std::size_t before = openDescriptors();
  EXPECT_EQ("", outputOf([&] {
              EXPECT_EQ(0, lock.EnterProcessMutex());
              EXPECT_EQ(-9, enterElsewhere("backup", "/lock/"));
              EXPECT_EQ(0, enterElsewhere("other", "/lock/"));
              EXPECT_EQ(0, lock.ExitProcessMutex());
              EXPECT_EQ(0, enterElsewhere("backup", "/lock/"));
            }));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(ProcessLock, FileStaysUnchanged) {
  const std::string file = m_share.write("lock/backup_PROCESSMUTEX", "kept");
  VexaProcessLock lock("backup", "/lock/");
  EXPECT_EQ(0, lock.EnterProcessMutex());
  EXPECT_EQ(0, lock.ExitProcessMutex());
  EXPECT_EQ("kept", commutil_test::readFile(file));
}

TEST_F(ProcessLock, LockCoversTheWholeFileWhateverItsSize) {
  const std::string file = m_share.write("lock/backup_PROCESSMUTEX", "kept");
  VexaProcessLock lock("backup", "/lock/");
  ASSERT_EQ(0, lock.EnterProcessMutex());
  runInChild([&file] {
    const int fd = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    struct flock found {};
    found.l_type = F_RDLCK;
    found.l_whence = SEEK_SET;
    ASSERT_EQ(0, ::fcntl(fd, F_GETLK, &found));
    EXPECT_EQ(F_WRLCK, found.l_type);
    EXPECT_EQ(0, found.l_start);
    EXPECT_EQ(0, found.l_len) << "to the end, wherever that will be";
    EXPECT_EQ(::getppid(), found.l_pid);
  });
  EXPECT_EQ(0, lock.ExitProcessMutex());
}

TEST_F(ProcessLock, FieldsShowItsState) {
  VexaProcessLock lock("backup", "/lock/");
  EXPECT_EQ("backup_PROCESSMUTEX", fieldsOf(lock).fileName);
  EXPECT_EQ("/lock/", fieldsOf(lock).directory);
  EXPECT_EQ(0, fieldsOf(lock).descriptor);
  EXPECT_EQ(1, fieldsOf(lock).outputType);
  const int next = ::dup(STDOUT_FILENO);
  ASSERT_EQ(0, ::close(next));
  ASSERT_EQ(0, lock.EnterProcessMutex());
  EXPECT_EQ(next, fieldsOf(lock).descriptor);
  ASSERT_EQ(0, lock.ExitProcessMutex());
  EXPECT_EQ(0, fieldsOf(lock).descriptor);
  lock.SetOutputType(static_cast<OUTPUT_TYPE>(7));
  EXPECT_EQ(7, fieldsOf(lock).outputType);
}

TEST_F(ProcessLock, PathIsPlainConcatenation) {
  struct Case {
    const char* name;
    const char* directory;
    const char* file;  // below the parent of the share directory "part"
  };
  const Case cases[] = {
      {"backup", "/lock/", "part/lock/backup_PROCESSMUTEX"},
      {"backup", "/lock", "part/lockbackup_PROCESSMUTEX"},
      {"backup", "ial/", "partial/backup_PROCESSMUTEX"},
      {"backup", "", "partbackup_PROCESSMUTEX"},
      {"/backup", "", "part/backup_PROCESSMUTEX"},
      {"", "/lock/", "part/lock/_PROCESSMUTEX"},
      {"a b%s%n", "/lock/", "part/lock/a b%s%n_PROCESSMUTEX"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.file);
    const TempDir parent;
    std::filesystem::create_directories(parent / "part");
    const ScopedEnv variable("_APP_SHARE_DIR", parent / "part");
    VexaProcessLock lock(row.name, row.directory);
    EXPECT_EQ(0, lock.EnterProcessMutex());
    EXPECT_TRUE(std::filesystem::is_regular_file(parent / row.file));
    EXPECT_EQ(0, lock.ExitProcessMutex());
  }
}

TEST_F(ProcessLock, ModesFollowTheUmask) {
  struct Case {
    mode_t mask;
    mode_t directory;
    mode_t file;
  };
  for (const Case row : {Case{0, 0750, 0666},
                         {022, 0750, 0644},
                         {077, 0700, 0600},
                         {0027, 0750, 0640},
                         {0050, 0700, 0626}}) {
    SCOPED_TRACE(row.mask);
    const TempDir share;
    const ScopedEnv variable("_APP_SHARE_DIR", share.path().string());
    const ScopedUmask mask(row.mask);
    VexaProcessLock lock("backup", "/new/");
    EXPECT_EQ(0, lock.EnterProcessMutex());
    EXPECT_EQ(row.directory, modeOf(share / "new"));
    EXPECT_EQ(row.file, modeOf(share / "new/backup_PROCESSMUTEX"));
    EXPECT_EQ(0, lock.ExitProcessMutex());
  }
}

TEST_F(ProcessLock, MissingParentIsNotCreated) {
  VexaProcessLock lock("backup", "/a/b/");
  const std::size_t before = openDescriptors();
  EXPECT_EQ("Failed to lock backup_PROCESSMUTEX. The error is 9.\n",
            outputOf([&] { EXPECT_EQ(-1, lock.EnterProcessMutex()); }));
  EXPECT_FALSE(std::filesystem::exists(m_share / "a"));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(ProcessLock, WithoutShareDirectoryNothingIsDone) {
  VexaProcessLock lock("backup", "/lock/");
  ASSERT_EQ(0, lock.EnterProcessMutex());
  for (const std::optional<std::string>& value : {std::optional<std::string>(), {""}}) {
    const ScopedEnv variable("_APP_SHARE_DIR", value);
    EXPECT_EQ(kNoShareText, outputOf([&] { EXPECT_EQ(-1, lock.EnterProcessMutex()); }));
    EXPECT_EQ(kNoShareText, outputOf([&] { EXPECT_EQ(-1, lock.ExitProcessMutex()); }));
    EXPECT_EQ(kNoShareText, outputOf([&] { EXPECT_EQ(-1, lock.WaitMaxTime(3, "wait")); }));
  }
  EXPECT_EQ(-9, enterElsewhere("backup", "/lock/"));
  EXPECT_EQ(0, lock.ExitProcessMutex());
}

TEST_F(ProcessLock, ShareDirectoryIsReadOnEveryCall) {
  const TempDir other;
  std::filesystem::create_directory(other / "lock");
  VexaProcessLock lock("backup", "/lock/");
  {
    const ScopedEnv variable("_APP_SHARE_DIR", other.path().string());
    EXPECT_EQ(0, lock.EnterProcessMutex());
    EXPECT_EQ(-9, enterElsewhere("backup", "/lock/"));
  }
  EXPECT_TRUE(std::filesystem::exists(other / "lock/backup_PROCESSMUTEX"));
  EXPECT_TRUE(std::filesystem::is_empty(m_share / "lock"));
  EXPECT_EQ(0, lock.ExitProcessMutex());
}

TEST_F(ProcessLock, OnlyTwoOutputTypesPrint) {
  const ScopedEnv variable("_APP_SHARE_DIR", std::nullopt);
  VexaProcessLock lock("backup", "/lock/");
  for (const int type : {-1, 0, 1, 2, 3, 256, INT_MAX, INT_MIN}) {
    SCOPED_TRACE(type);
    lock.SetOutputType(static_cast<OUTPUT_TYPE>(type));
    const bool prints = type == 1 || type == 2;
    EXPECT_EQ(prints ? kNoShareText : "", outputOf([&] { lock.EnterProcessMutex(); }));
    EXPECT_EQ(prints ? kNoShareText : "", outputOf([&] { lock.ExitProcessMutex(); }));
    EXPECT_EQ(prints ? "text\n" : "", outputOf([&] { lock.OutputScreen("text"); }));
  }
}

TEST_F(ProcessLock, OutputScreenPrintsALine) {
  const VexaProcessLock lock("backup", "/lock/");
  EXPECT_EQ("", outputOf([&] { lock.OutputScreen(nullptr); }));
  EXPECT_EQ("\n", outputOf([&] { lock.OutputScreen(""); }));
  EXPECT_EQ("100%s\n", outputOf([&] { lock.OutputScreen("100%s"); }));
  const std::string longText(1 << 20, 'x');
  EXPECT_EQ(longText + "\n", outputOf([&] { lock.OutputScreen(longText.c_str()); }));
}

TEST_F(ProcessLock, OutputScreenKeepsTheOrderOfStdioAndFlushes) {
  runInChild([] {
    const TempDir directory;
    const int file = ::open((directory / "out").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(STDOUT_FILENO, ::dup2(file, STDOUT_FILENO));
    std::printf("before ");
    VexaProcessLock("backup", "/lock/").OutputScreen("text");
    EXPECT_EQ("before text\n", commutil_test::readFile(directory / "out"));
  });
}

/// Records the output to std::cout, and the number of open descriptors meanwhile.
class StandardOutputBuffer : public std::streambuf {
 public:
  StandardOutputBuffer() : m_before(std::cout.rdbuf(this)) {}
  ~StandardOutputBuffer() override { std::cout.rdbuf(m_before); }
  StandardOutputBuffer(const StandardOutputBuffer&) = delete;
  StandardOutputBuffer& operator=(const StandardOutputBuffer&) = delete;

  std::string text;
  std::size_t descriptors = 0;
  int flushes = 0;

 protected:
  int_type overflow(int_type byte) override {
    text += traits_type::to_char_type(byte);
    descriptors = openDescriptors();
    return byte;
  }
  int sync() override {
    ++flushes;
    return 0;
  }

 private:
  std::streambuf* m_before;
};

TEST_F(ProcessLock, OutputScreenGoesWhereStandardOutputGoes) {
  StandardOutputBuffer output;
  VexaProcessLock("backup", "/lock/").OutputScreen("text");
  EXPECT_EQ("text\n", output.text);
  EXPECT_EQ(1, output.flushes);
}

TEST_F(ProcessLock, OutputScreenIgnoresTheStreamsSettings) {
  runInChild([] {
    const VexaProcessLock lock("backup", "/lock/");
    CapturedOutput output(STDOUT_FILENO);
    std::cout.width(10);
    std::cout.fill('*');
    lock.OutputScreen("plain");
    std::cout.width(0);
    std::cout.exceptions(std::ios::goodbit);
    std::cout.setstate(std::ios::badbit);  // as after an earlier failed write
    lock.OutputScreen("after a failure");
    std::cout.clear();
    std::cout.exceptions(std::ios::badbit);
    const int out = ::dup(STDOUT_FILENO);
    ::close(STDOUT_FILENO);
    EXPECT_NO_THROW(lock.OutputScreen("to a closed descriptor"));
    ::dup2(out, STDOUT_FILENO);
    std::clearerr(stdout);
    lock.OutputScreen("opened again");
    EXPECT_THAT(output.stop(), ::testing::StartsWith("plain\nafter a failure\n"));
  });
}

TEST_F(ProcessLock, FileIsClosedBeforeTheFailureIsReported) {
  runInChild([] {
    VexaProcessLock lock("backup", "/lock/");
    failSystemCall(SYS_fcntl, F_SETLK, ENOLCK);
    const std::size_t before = openDescriptors();
    const StandardOutputBuffer output;
    EXPECT_EQ(-1, lock.EnterProcessMutex());
    EXPECT_EQ("Failed to lock backup_PROCESSMUTEX. The error is 37.\n", output.text);
    EXPECT_EQ(before, output.descriptors);
  });
}

TEST_F(ProcessLock, FailedLockingIsReportedAndClosed) {
  struct Case {
    int error;
    int result;
    const char* output;
  };
  const Case cases[] = {
      {EAGAIN, -9, ""},
      {EACCES, -9, ""},
      {ENOLCK, -1, "Failed to lock backup_PROCESSMUTEX. The error is 37.\n"},
      {EINTR, -1, "Failed to lock backup_PROCESSMUTEX. The error is 4.\n"},
      {EPERM, -1, "Failed to lock backup_PROCESSMUTEX. The error is 1.\n"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.error);
    runInChild([&row] {
      VexaProcessLock lock("backup", "/lock/");
      const std::size_t before = openDescriptors();
      failSystemCall(SYS_fcntl, F_SETLK, row.error);
      EXPECT_EQ(row.output, outputOf([&] { EXPECT_EQ(row.result, lock.EnterProcessMutex()); }));
      EXPECT_EQ(before, openDescriptors());
    });
  }
}

TEST_F(ProcessLock, ErrorIsSavedBeforeTheClose) {
  runInChild([] {
    VexaProcessLock lock("backup", "/lock/");
    CapturedOutput output(STDOUT_FILENO);
    failSystemCall(SYS_fcntl, F_SETLK, ENOLCK);
    failSystemCall(SYS_close, EIO);
    EXPECT_EQ(-1, lock.EnterProcessMutex());
    EXPECT_EQ("Failed to lock backup_PROCESSMUTEX. The error is 37.\n", output.stop());
  });
}

TEST_F(ProcessLock, RefusedUnlockLeavesTheFileOpen) {
  struct Case {
    int error;
    int result;
    const char* output;
  };
  const Case cases[] = {
      {EAGAIN, -9, ""},
      {EACCES, -9, ""},
      {ENOLCK, -1, "Failed to unlock backup_PROCESSMUTEX. The error is 37.\n"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.error);
    runInChild([&row] {
      VexaProcessLock lock("backup", "/lock/");
      ASSERT_EQ(0, lock.EnterProcessMutex());
      const std::size_t before = openDescriptors();
      failSystemCall(SYS_fcntl, F_SETLK, row.error);
      const int kept = fieldsOf(lock).descriptor;
      EXPECT_EQ(row.output, outputOf([&] { EXPECT_EQ(row.result, lock.ExitProcessMutex()); }));
      EXPECT_EQ(before, openDescriptors());
      EXPECT_EQ(kept, fieldsOf(lock).descriptor) << "for another try";
    });
  }
}

TEST_F(ProcessLock, FailedCloseIsReported) {
  runInChild([] {
    VexaProcessLock lock("backup", "/lock/");
    const int next = ::dup(STDOUT_FILENO);  // the number that the lock file gets
    ASSERT_EQ(0, ::close(next));
    ASSERT_EQ(0, lock.EnterProcessMutex());
    CapturedOutput output(STDOUT_FILENO);
    failSystemCall(SYS_close, EIO);
    EXPECT_EQ(-1, lock.ExitProcessMutex());
    EXPECT_EQ("close file fd " + std::to_string(next) + " failed, errno=5.\n", output.stop());
  });
}

TEST_F(ProcessLock, ExitWithoutEnterActsOnStandardInput) {
  runInChild([this] {
    const std::string file = m_share.write("lock/backup_PROCESSMUTEX", "");
    const int fd = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(STDIN_FILENO, ::dup2(fd, STDIN_FILENO));
    VexaProcessLock lock("backup", "/lock/");
    CapturedOutput output(STDOUT_FILENO);  // before the number 0 is free
    EXPECT_EQ(0, lock.ExitProcessMutex());
    EXPECT_FALSE(isOpen(STDIN_FILENO));
    EXPECT_EQ(-1, lock.ExitProcessMutex());
    EXPECT_EQ("Failed to unlock backup_PROCESSMUTEX. The error is 9.\n", output.stop());
  });
}

TEST_F(ProcessLock, ExitReturnsTheObjectToItsFirstState) {
  runInChild([] {
    ASSERT_TRUE(isOpen(STDIN_FILENO) || ::open("/dev/null", O_RDONLY | O_CLOEXEC) == 0);
    VexaProcessLock lock("backup", "/lock/");
    ASSERT_EQ(0, lock.EnterProcessMutex());
    ASSERT_EQ(0, lock.ExitProcessMutex());
    EXPECT_EQ(0, lock.ExitProcessMutex());
    EXPECT_FALSE(isOpen(STDIN_FILENO));
  });
}

TEST_F(ProcessLock, ExitAfterARefusalTouchesNoOtherFile) {
  const LockHolder holder("backup", "/lock/");
  ASSERT_EQ(0, holder.entered());
  VexaProcessLock lock("backup", "/lock/");
  ASSERT_EQ(-9, lock.EnterProcessMutex());
  const int stranger = ::open("/dev/null", O_RDWR | O_CLOEXEC);  // the number just closed
  EXPECT_EQ("Failed to unlock backup_PROCESSMUTEX. The error is 9.\n",
            outputOf([&] { EXPECT_EQ(-1, lock.ExitProcessMutex()); }));
  EXPECT_TRUE(isOpen(stranger));
  EXPECT_TRUE(isOpen(STDIN_FILENO));
  ::close(stranger);
}

TEST_F(ProcessLock, MessageOver1022CharactersIsNotPrinted) {
  const std::size_t frame = std::string("Failed to lock _PROCESSMUTEX. The error is 9.").size();
  for (const std::size_t size : {1021U, 1022U, 1023U, 1024U, 5000U}) {
    SCOPED_TRACE(size);
    const std::string name(size - frame, 'n');  // over 255 characters: the file cannot be opened
    VexaProcessLock lock(name, "/lock/");
    const std::string text = "Failed to lock " + name + "_PROCESSMUTEX. The error is 9.\n";
    EXPECT_EQ(size <= 1022 ? text : "", outputOf([&] { EXPECT_EQ(-1, lock.EnterProcessMutex()); }));
  }
}

TEST_F(ProcessLock, UnlockMessageOver1022CharactersIsNotPrinted) {
  const std::size_t frame = std::string("Failed to unlock _PROCESSMUTEX. The error is 9.").size();
  for (const std::size_t size : {1021U, 1022U, 1023U}) {
    SCOPED_TRACE(size);
    const std::string name(size - frame, 'n');
    VexaProcessLock lock(name, "/lock/");
    lock.SetOutputType(OUTPUT_TYPE_SILENT);
    ASSERT_EQ(-1, lock.EnterProcessMutex());
    lock.SetOutputType(OUTPUT_TYPE_SCREEN);
    const std::string text = "Failed to unlock " + name + "_PROCESSMUTEX. The error is 9.\n";
    EXPECT_EQ(size <= 1022 ? text : "", outputOf([&] { EXPECT_EQ(-1, lock.ExitProcessMutex()); }));
  }
}

TEST_F(ProcessLock, DestructionNeitherUnlocksNorCloses) {
  runInChild([] {
    const std::size_t before = openDescriptors();
    {
      VexaProcessLock lock("backup", "/lock/");
      ASSERT_EQ(0, lock.EnterProcessMutex());
      lock.LeaveProcessMutex();
      EXPECT_EQ(-9, enterElsewhere("backup", "/lock/"));
    }
    EXPECT_EQ(before + 1, openDescriptors());
    EXPECT_EQ(-9, enterElsewhere("backup", "/lock/"));
  });
}

TEST_F(ProcessLock, CopyHoldsTheSameLock) {
  VexaProcessLock lock("backup", "/lock/");
  ASSERT_EQ(0, lock.EnterProcessMutex());
  VexaProcessLock copy = lock;
  EXPECT_EQ(0, copy.ExitProcessMutex());
  EXPECT_EQ(0, enterElsewhere("backup", "/lock/"));
}

TEST_F(ProcessLock, NegativeWaitLocksNothing) {
  VexaProcessLock lock("backup", "/lock/");
  for (const int times : {-1, INT_MIN}) {
    EXPECT_EQ("", outputOf([&] { EXPECT_EQ(0, lock.WaitMaxTime(times, "wait")); }));
  }
  EXPECT_TRUE(std::filesystem::is_empty(m_share / "lock"));
}

TEST_F(ProcessLock, WaitTakesAFreeLockSilently) {
  VexaProcessLock lock("backup", "/lock/");
  EXPECT_EQ("", outputOf([&] { EXPECT_EQ(0, lock.WaitMaxTime(0, std::string(5000, 'x'))); }));
  EXPECT_EQ(-9, enterElsewhere("backup", "/lock/"));
  EXPECT_EQ(0, lock.ExitProcessMutex());
}

TEST_F(ProcessLock, WaitEndsAtOnceOnAnyOtherFailure) {
  runInChild([] {
    VexaProcessLock lock("backup", "/a/b/");
    forbidSystemCall(SYS_clock_nanosleep);
    EXPECT_EQ("Failed to lock backup_PROCESSMUTEX. The error is 9.\n",
              outputOf([&] { EXPECT_EQ(-1, lock.WaitMaxTime(9, "wait")); }));
  });
}

TEST_F(ProcessLock, WaitPrintsAndSleepsAfterEveryRefusal) {
  const LockHolder holder("backup", "/lock/");
  VexaProcessLock lock("backup", "/lock/");
  for (const int times : {0, 2}) {
    SCOPED_TRACE(times);
    const auto start = steady_clock::now();
    std::string expected;
    for (int round = 0; round <= times; ++round) expected += "wait %d\n";
    EXPECT_EQ(expected, outputOf([&] { EXPECT_EQ(-1, lock.WaitMaxTime(times, "wait %d")); }));
    EXPECT_GE(steady_clock::now() - start, std::chrono::seconds(times + 1));
  }
}

TEST_F(ProcessLock, SilentWaitSleepsTheSame) {
  const LockHolder holder("backup", "/lock/");
  VexaProcessLock lock("backup", "/lock/");
  lock.SetOutputType(OUTPUT_TYPE_SILENT);
  const auto start = steady_clock::now();
  EXPECT_EQ("", outputOf([&] { EXPECT_EQ(-1, lock.WaitMaxTime(0, "wait")); }));
  EXPECT_GE(steady_clock::now() - start, std::chrono::seconds(1));
}

TEST_F(ProcessLock, HandledSignalDoesNotShortenTheSleep) {
  const LockHolder holder("backup", "/lock/");
  runInChild([] {
    static volatile std::sig_atomic_t handled = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { handled = handled + 1; };
    ASSERT_EQ(0, ::sigaction(SIGALRM, &action, nullptr));
    const itimerval every{{0, 50'000}, {0, 50'000}};
    ASSERT_EQ(0, ::setitimer(ITIMER_REAL, &every, nullptr));
    const auto start = steady_clock::now();
    EXPECT_EQ("wait\n", outputOf([] {
                EXPECT_EQ(-1, VexaProcessLock("backup", "/lock/").WaitMaxTime(0, "wait"));
              }));
    EXPECT_GE(steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_GT(handled, 0);
  });
}

TEST_F(ProcessLock, WaitMessageOver1022CharactersEndsTheWaitAtOnce) {
  const LockHolder holder("backup", "/lock/");
  for (const std::size_t size : {1023U, 1024U, 5000U}) {
    SCOPED_TRACE(size);
    runInChild([size] {
      VexaProcessLock lock("backup", "/lock/");
      forbidSystemCall(SYS_clock_nanosleep);
      EXPECT_EQ("", outputOf([&] { EXPECT_EQ(-1, lock.WaitMaxTime(9, std::string(size, 'x'))); }));
    });
  }
}

TEST_F(ProcessLock, WaitPrintsMessagesOfEveryAllowedKind) {
  const LockHolder holder("backup", "/lock/");
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {std::string(1022, 'x'), std::string(1022, 'x')},
      {std::string("cut\0off", 7), "cut"},
      {std::string("cut\0", 4) + std::string(5000, 'x'), "cut"},
      {"100%n%s", "100%n%s"},
  };
  for (const auto& [message, printed] : cases) {
    SCOPED_TRACE(printed);
    runInChild([&message = message, &printed = printed] {
      failSystemCall(SYS_clock_nanosleep, EINVAL);  // no need to wait for these
      VexaProcessLock lock("backup", "/lock/");
      const std::string line = printed + "\n";
      EXPECT_EQ(line + line, outputOf([&] { EXPECT_EQ(-1, lock.WaitMaxTime(1, message)); }));
    });
  }
}

}  // namespace
