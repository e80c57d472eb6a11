// The process lock while another process swaps the lock file or its directory, before and after
// each file call. What is at the path when it is opened is locked; no file is ever changed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "VexaLocks.h"
#include "hostile/attacked_path.h"
#include "support/file_state.h"
#include "support/fixtures.h"
#include "support/watched_calls.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::AttackedPath;
using commutil_test::Plant;
using commutil_test::positionOf;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::stateOf;
using commutil_test::Stop;
using commutil_test::TempDir;
using commutil_test::watchCalls;
using commutil_test::withEachSwap;
using commutil_test::writeFile;

using Names = std::vector<std::string>;

const Names kCalls = {"access locks", "open backup_PROCESSMUTEX", "fcntl backup_PROCESSMUTEX",
                      "fcntl backup_PROCESSMUTEX", "close backup_PROCESSMUTEX"};
constexpr std::size_t kBeforeOpen = 2;  // positions
constexpr std::size_t kBeforeLock = 4;
constexpr std::size_t kBeforeUnlock = 6;

/// Enters and, if that succeeds, exits. Returns the calls.
Names enterAndExit(int expected, const std::function<void(const Stop&)>& atStop) {
  return watchCalls(
      [expected] {
        VexaProcessLock lock("backup", "/locks/");
        lock.SetOutputType(OUTPUT_TYPE_SILENT);
        EXPECT_EQ(expected, lock.EnterProcessMutex());
        if (expected == 0) {
          EXPECT_EQ(0, lock.ExitProcessMutex());
        }
      },
      atStop);
}

/// Expects a lock of this process on the file that `path` leads to.
void expectLocked(const std::string& path) {
  runInChild([&path] {
    const int fd = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    ASSERT_EQ(0, ::fcntl(fd, F_GETLK, &lock)) << path;
    EXPECT_EQ(::getppid(), lock.l_type == F_UNLCK ? 0 : lock.l_pid);
  });
}

TEST(LockFileRaces, LockTheOpenedFileAndChangeNone) {
  withEachSwap(kCalls.size(), [](Plant plant, std::size_t position) {
    AttackedPath lockFile("locks/backup_PROCESSMUTEX", [](const char* who) { return who; });
    const ScopedEnv share("_APP_SHARE_DIR", lockFile.directory().path().string());
    const bool found = position <= kBeforeOpen;
    const bool refused = found && plant == Plant::directory;
    // The swap reads the files, and this process drops its lock when it closes them.
    const bool isDropped = position > kBeforeLock && position <= kBeforeUnlock;
    const Names calls = enterAndExit(refused ? -1 : 0, [&](const Stop& stop) {
      if (positionOf(stop) == position) lockFile.swap(plant);
      if (positionOf(stop) != kBeforeUnlock || refused || isDropped) return;
      expectLocked(found || position > kBeforeUnlock ? lockFile.path() : lockFile.moved());
    });
    if (!refused) {
      EXPECT_EQ(kCalls, calls);
    }
    lockFile.expectUnchanged();
    EXPECT_EQ(found && plant == Plant::danglingLink, fs::exists(lockFile.nowhere()));
    if (fs::exists(lockFile.nowhere())) {
      EXPECT_EQ("", readFile(lockFile.nowhere()));
    }
  });
}

/// What takes the place of the lock directory, and the results where the first check or the open
/// finds it.
struct DirectorySwap {
  const char* name;
  std::function<void(const TempDir&)> plant;
  int foundByCheck;
  int foundByOpen;
};

const DirectorySwap kDirectorySwaps[] = {
    {"link to another directory",
     [](const TempDir& share) { fs::create_directory_symlink("other", share / "locks"); }, 0, 0},
    {"link that leads nowhere",
     [](const TempDir& share) { fs::create_directory_symlink("nowhere", share / "locks"); }, -1,
     -1},
    {"file", [](const TempDir& share) { writeFile(share / "locks", "file"); }, -1, -1},
    {"nothing", [](const TempDir& /*share*/) {}, 0, -1},
};

/// Swaps the directory at `position` of calls of which `check` is the last that finds it missing.
void expectDirectorySwap(const DirectorySwap& swap, bool exists, std::size_t position) {
  const TempDir share;
  const ScopedEnv variable("_APP_SHARE_DIR", share.path().string());
  const std::string victim = share.write("other/backup_PROCESSMUTEX", "someone else's");
  if (exists) share.write("locks/backup_PROCESSMUTEX", "");
  const std::string before = stateOf(victim);
  const std::size_t beforeOpen = exists ? 2 : 4;
  const std::size_t lastCheck = exists ? 0 : 2;
  int expected = position <= lastCheck ? swap.foundByCheck : swap.foundByOpen;
  if (position > beforeOpen) expected = 0;
  enterAndExit(expected, [&](const Stop& stop) {
    if (positionOf(stop) != position) return;
    std::error_code ignored;
    fs::rename(share / "locks", share / "moved", ignored);
    swap.plant(share);
  });
  EXPECT_EQ(before, stateOf(victim));
  EXPECT_FALSE(fs::exists(share / "nowhere"));
  if (fs::is_regular_file(share / "locks")) {
    EXPECT_EQ("file", readFile(share / "locks"));
  }
}

TEST(LockFileRaces, FollowTheDirectoryUntilTheFileIsOpen) {
  for (const DirectorySwap& swap : kDirectorySwaps) {
    for (const bool exists : {true, false}) {
      const std::size_t positions = 2 * (exists ? kCalls.size() : kCalls.size() + 1);
      for (std::size_t position = 0; position < positions; ++position) {
        SCOPED_TRACE(std::string(swap.name) + (exists ? ", existing" : ", missing") +
                     " directory, position " + std::to_string(position));
        runInChild([&] { expectDirectorySwap(swap, exists, position); });
      }
    }
  }
}

}  // namespace
