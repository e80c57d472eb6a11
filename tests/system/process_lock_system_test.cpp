// The process lock between real processes and on file systems that refuse.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "VexaLocks.h"
#include "support/fixtures.h"
#include "support/lock_holder.h"
#include "support/namespaces.h"

namespace {

using commutil_test::CapturedOutput;
using commutil_test::enterElsewhere;
using commutil_test::enterNamespaces;
using commutil_test::LockHolder;
using commutil_test::mountTmpfs;
using commutil_test::outputOf;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::shell;
using commutil_test::TempDir;

constexpr char kNotOpened[] = "Failed to lock backup_PROCESSMUTEX. The error is 9.\n";

class ProcessLockSystem : public ::testing::Test {
 protected:
  ProcessLockSystem() { std::filesystem::create_directory(m_share / "lock"); }

  TempDir m_share;
  ScopedEnv m_variable{"_APP_SHARE_DIR", m_share.path().string()};
  VexaProcessLock m_lock{"backup", "/lock/"};
};

TEST_F(ProcessLockSystem, IsFreeOnceTheHolderExitsIt) {
  LockHolder holder("backup", "/lock/");
  ASSERT_EQ(0, holder.entered());
  EXPECT_EQ("", outputOf([&] { EXPECT_EQ(-9, m_lock.EnterProcessMutex()); }));
  EXPECT_EQ(0, holder.exitMutex());
  EXPECT_EQ(0, m_lock.EnterProcessMutex());
  EXPECT_EQ(0, m_lock.ExitProcessMutex());
}

TEST_F(ProcessLockSystem, IsFreeOnceTheHolderEnds) {
  LockHolder holder("backup", "/lock/");
  ASSERT_EQ(-9, m_lock.EnterProcessMutex());
  holder.leave();
  EXPECT_EQ(0, m_lock.EnterProcessMutex());
  EXPECT_EQ(0, m_lock.ExitProcessMutex());
}

TEST_F(ProcessLockSystem, IsFreeOnceTheHolderIsKilled) {
  LockHolder holder("backup", "/lock/");
  ASSERT_EQ(-9, m_lock.EnterProcessMutex());
  holder.kill();
  EXPECT_EQ(0, m_lock.EnterProcessMutex());
  EXPECT_EQ(0, m_lock.ExitProcessMutex());
}

TEST_F(ProcessLockSystem, WaitTakesItWhenTheHolderEnds) {
  auto holder = std::make_unique<LockHolder>("backup", "/lock/");
  ASSERT_EQ(0, holder->entered());
  std::array<int, 2> lines{};
  ASSERT_EQ(0, ::pipe2(lines.data(), O_CLOEXEC));
  const pid_t waiter = ::fork();
  if (waiter == 0) {
    ::dup2(lines[1], STDOUT_FILENO);
    ::_exit(m_lock.WaitMaxTime(60, "wait") == 0 ? 0 : 1);
  }
  std::array<char, 5> line{};
  EXPECT_EQ(5, ::read(lines[0], line.data(), line.size()));  // refused once
  EXPECT_EQ("wait\n", std::string(line.data(), line.size()));
  holder.reset();
  int status = -1;
  EXPECT_EQ(waiter, ::waitpid(waiter, &status, 0));
  EXPECT_EQ(0, status);
  ::close(lines[0]);
  ::close(lines[1]);
}

TEST_F(ProcessLockSystem, ForkedChildHasNoPartInTheLock) {
  ASSERT_EQ(0, m_lock.EnterProcessMutex());
  runInChild([this] {
    VexaProcessLock own("backup", "/lock/");
    EXPECT_EQ(-9, own.EnterProcessMutex());
    // The inherited descriptor is open, and the child has no lock to lose by unlocking.
    EXPECT_EQ(0, m_lock.ExitProcessMutex());
  });
  EXPECT_EQ(-9, enterElsewhere("backup", "/lock/"));
  EXPECT_EQ(0, m_lock.ExitProcessMutex());
  EXPECT_EQ(0, enterElsewhere("backup", "/lock/"));
}

TEST_F(ProcessLockSystem, LockSurvivesExec) {
  std::array<int, 2> ready{};
  ASSERT_EQ(0, ::pipe2(ready.data(), O_CLOEXEC));
  const pid_t holder = ::fork();
  if (holder == 0) {
    // The shell reports that it runs, and waits to be killed.
    ::dup2(ready[1], STDOUT_FILENO);
    if (m_lock.EnterProcessMutex() == 0) {
      ::execl("/bin/sh", "sh", "-c", "echo x; exec sleep 600", nullptr);
    }
    ::_exit(1);
  }
  ::close(ready[1]);
  char x = 0;
  EXPECT_EQ(1, ::read(ready[0], &x, 1));
  EXPECT_EQ(-9, m_lock.EnterProcessMutex());
  ::kill(holder, SIGKILL);
  ::waitpid(holder, nullptr, 0);
  EXPECT_EQ(0, m_lock.EnterProcessMutex());
  EXPECT_EQ(0, m_lock.ExitProcessMutex());
  ::close(ready[0]);
}

TEST_F(ProcessLockSystem, SecondObjectOfTheProcessSharesTheLock) {
  VexaProcessLock second("backup", "/lock/");
  ASSERT_EQ(0, m_lock.EnterProcessMutex());
  EXPECT_EQ(0, second.EnterProcessMutex());
  EXPECT_EQ(-9, enterElsewhere("backup", "/lock/"));
  EXPECT_EQ(0, second.ExitProcessMutex());
  EXPECT_EQ(0, enterElsewhere("backup", "/lock/"));
  EXPECT_EQ(0, m_lock.ExitProcessMutex());
}

TEST_F(ProcessLockSystem, ClosingAnyDescriptorOfTheFileDropsTheLock) {
  ASSERT_EQ(0, m_lock.EnterProcessMutex());
  EXPECT_EQ(-9, enterElsewhere("backup", "/lock/"));
  ::close(::open((m_share / "lock/backup_PROCESSMUTEX").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(0, enterElsewhere("backup", "/lock/"));
  EXPECT_EQ(0, m_lock.ExitProcessMutex());
}

TEST_F(ProcessLockSystem, DirectoryThatIsAFile) {
  const TempDir share;
  const ScopedEnv variable("_APP_SHARE_DIR", share.path().string());
  share.write("lock", "");
  EXPECT_EQ(kNotOpened, outputOf([&] { EXPECT_EQ(-1, m_lock.EnterProcessMutex()); }));
}

TEST_F(ProcessLockSystem, DirectoryThatIsASymbolicLink) {
  const TempDir share;
  const ScopedEnv variable("_APP_SHARE_DIR", share.path().string());
  std::filesystem::create_directory_symlink(m_share / "lock", share / "lock");
  EXPECT_EQ(0, m_lock.EnterProcessMutex());
  EXPECT_TRUE(std::filesystem::is_regular_file(m_share / "lock/backup_PROCESSMUTEX"));
  EXPECT_EQ(0, m_lock.ExitProcessMutex());
}

TEST_F(ProcessLockSystem, DirectoryThatIsADanglingLink) {
  const TempDir share;
  const ScopedEnv variable("_APP_SHARE_DIR", share.path().string());
  std::filesystem::create_directory_symlink(share / "nowhere", share / "lock");
  EXPECT_EQ(kNotOpened, outputOf([&] { EXPECT_EQ(-1, m_lock.EnterProcessMutex()); }));
  EXPECT_FALSE(std::filesystem::exists(share / "nowhere"));
}

TEST_F(ProcessLockSystem, LockFileThatIsADirectory) {
  std::filesystem::create_directory(m_share / "lock/backup_PROCESSMUTEX");
  EXPECT_EQ(kNotOpened, outputOf([&] { EXPECT_EQ(-1, m_lock.EnterProcessMutex()); }));
}

/// Gives up root, so that permissions apply.
void becomeNobody() {
  if (::geteuid() == 0) {
    ASSERT_EQ(0, ::setresuid(65534, 65534, 65534));
  }
}

TEST_F(ProcessLockSystem, UnwritableDirectoryIsNotAHeldLock) {
  for (const mode_t mode : {0555U, 0000U}) {
    SCOPED_TRACE(mode);
    ASSERT_EQ(0, ::chmod(m_share.path().c_str(), 0755));
    ASSERT_EQ(0, ::chmod((m_share / "lock").c_str(), mode));
    runInChild([this] {
      CapturedOutput output(STDOUT_FILENO);
      becomeNobody();
      EXPECT_EQ(-1, m_lock.EnterProcessMutex());
      EXPECT_EQ(kNotOpened, output.stop());
    });
  }
  ASSERT_EQ(0, ::chmod((m_share / "lock").c_str(), 0755));
}

TEST_F(ProcessLockSystem, ReadOnlyFileSystem) {
  runInChild([this] {
    enterNamespaces(CLONE_NEWNS);
    mountTmpfs(m_share / "lock", "size=64k");
    ASSERT_EQ(0, m_lock.EnterProcessMutex());
    ASSERT_EQ(0, m_lock.ExitProcessMutex());
    shell("mount -o remount,ro '" + m_share / "lock" + "'");
    EXPECT_EQ(kNotOpened, outputOf([&] { EXPECT_EQ(-1, m_lock.EnterProcessMutex()); }));
  });
}

TEST_F(ProcessLockSystem, FullDisk) {
  runInChild([this] {
    enterNamespaces(CLONE_NEWNS);
    mountTmpfs(m_share / "lock", "size=16k");
    shell("cat /dev/zero > '" + m_share / "lock/full" + "' 2>/dev/null || true");
    EXPECT_EQ(0, m_lock.EnterProcessMutex());  // an empty file takes no block
    EXPECT_EQ(-9, enterElsewhere("backup", "/lock/"));
    EXPECT_EQ(0, m_lock.ExitProcessMutex());
  });
}

TEST_F(ProcessLockSystem, DiskWithoutInodes) {
  runInChild([this] {
    enterNamespaces(CLONE_NEWNS);
    mountTmpfs(m_share / "lock", "nr_inodes=2");
    EXPECT_EQ(0, m_lock.EnterProcessMutex());
    EXPECT_EQ(0, m_lock.ExitProcessMutex());
    VexaProcessLock other("other", "/lock/");
    EXPECT_EQ("Failed to lock other_PROCESSMUTEX. The error is 9.\n",
              outputOf([&] { EXPECT_EQ(-1, other.EnterProcessMutex()); }));
  });
}

TEST_F(ProcessLockSystem, StandardOutputThatIsFull) {
  runInChild([this] {
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(STDOUT_FILENO, ::dup2(full, STDOUT_FILENO));
    std::filesystem::remove_all(m_share / "lock");
    VexaProcessLock lock("backup", "/a/b/");
    EXPECT_EQ(-1, lock.EnterProcessMutex());
    std::clearerr(stdout);
  });
}

TEST_F(ProcessLockSystem, MessageOf5000BytesIsNeverCut) {
  const LockHolder holder("backup", "/lock/");
  EXPECT_EQ("", outputOf([&] { EXPECT_EQ(-1, m_lock.WaitMaxTime(5, std::string(5000, 'x'))); }));
}

/// Increments the number in `file` in two steps, which only a lock makes atomic. Returns whether it
/// was below `limit`.
bool raise(int file, int limit) {
  int number = 0;
  if (::pread(file, &number, sizeof number, 0) != sizeof number) ::_exit(2);
  if (number >= limit) return false;
  ::sched_yield();
  ++number;
  if (::pwrite(file, &number, sizeof number, 0) != sizeof number) ::_exit(2);
  return true;
}

/// Takes turns under the lock up to `limit`; returns the number of its own.
int takeTurns(int file, int limit) {
  VexaProcessLock lock("turns", "/lock/");
  int turns = 0;
  for (bool more = true; more;) {
    const int result = lock.EnterProcessMutex();
    if (result == -9) {
      ::sched_yield();
      continue;
    }
    if (result != 0) ::_exit(3);
    more = raise(file, limit);
    if (more) ++turns;
    if (lock.ExitProcessMutex() != 0) ::_exit(4);
  }
  return turns;
}

TEST_F(ProcessLockSystem, SixtyFourProcessesTakeAThousandTurns) {
  constexpr int kProcesses = 64;
  constexpr int kTurns = 1000;
  const int counter = ::open((m_share / "counter").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  int number = 0;
  ASSERT_EQ(ssize_t{sizeof number}, ::pwrite(counter, &number, sizeof number, 0));
  std::array<int, 2> results{};
  ASSERT_EQ(0, ::pipe2(results.data(), O_CLOEXEC));
  std::vector<pid_t> children;
  for (int i = 0; i < kProcesses; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      const int turns = takeTurns(counter, kTurns);
      ::_exit(::write(results[1], &turns, sizeof turns) == sizeof turns ? 0 : 5);
    }
    children.push_back(child);
  }
  int sum = 0;
  for (const pid_t child : children) {
    int status = -1;
    EXPECT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    int turns = 0;
    ASSERT_EQ(ssize_t{sizeof turns}, ::read(results[0], &turns, sizeof turns));
    sum += turns;
  }
  EXPECT_EQ(ssize_t{sizeof number}, ::pread(counter, &number, sizeof number, 0));
  EXPECT_EQ(kTurns, number);
  EXPECT_EQ(kTurns, sum);  // more if two processes ever incremented the same number
  for (const int fd : {counter, results[0], results[1]}) ::close(fd);
}

}  // namespace
