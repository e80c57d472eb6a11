// How a snapshot's file is replaced: whole, with its owner's permissions, by one writer at a time.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "settings_snapshot/snapshot.h"
#include "support/fixtures.h"
#include "support/namespaces.h"
#include "support/system_calls.h"

namespace {

using commutil_test::modeOf;
using commutil_test::runInChild;
using commutil_test::ScopedUmask;
using commutil_test::TempDir;
using settings::readSnapshot;
using settings::Snapshot;
using settings::SnapshotError;
using settings::writeSnapshot;

Snapshot sample(const std::string& value) { return {{1, 2, 3}, {{"/k", value, 2}}}; }

std::string valueIn(const std::string& path) { return readSnapshot(path).entries.at(0).value; }

std::string errorOf(const std::string& path, const std::string& value) {
  try {
    writeSnapshot(path, sample(value));
  } catch (const SnapshotError& error) {
    return error.what();
  }
  return "(no error)";
}

class WriteSnapshot : public testing::Test {
 protected:
  TempDir m_dir;
  const std::string m_path = m_dir / "settings.snap";
  const std::string m_new = m_path + ".new";
};

TEST_F(WriteSnapshot, CreatesAndReplaces) {
  const ScopedUmask mask(0777);
  for (const std::string value : {"1", "2"}) {
    writeSnapshot(m_path, sample(value));
    EXPECT_EQ(value, valueIn(m_path));
    EXPECT_EQ(0644U, modeOf(m_path));
    EXPECT_FALSE(std::filesystem::exists(m_new));
  }
}

TEST_F(WriteSnapshot, TakesARelativePath) {
  runInChild([this] {
    std::filesystem::current_path(m_dir.path());
    writeSnapshot("settings.snap", sample("1"));
    EXPECT_EQ("1", valueIn(m_path));
  });
}

TEST_F(WriteSnapshot, SetsModeAndGroup) {
  writeSnapshot(m_path, sample("1"), {0640, ::getgid()});
  struct stat status {};
  ASSERT_EQ(0, ::stat(m_path.c_str(), &status));
  EXPECT_EQ(0640U, status.st_mode & 07777);
  EXPECT_EQ(::getgid(), status.st_gid);
}

TEST_F(WriteSnapshot, LeavesTheOldFileToItsReaders) {
  writeSnapshot(m_path, sample("1"));
  struct stat before {};
  ASSERT_EQ(0, ::stat(m_path.c_str(), &before));
  std::filesystem::create_hard_link(m_path, m_dir / "kept");
  writeSnapshot(m_path, sample("2"));
  EXPECT_EQ("1", valueIn(m_dir / "kept"));
  struct stat after {};
  ASSERT_EQ(0, ::stat(m_path.c_str(), &after));
  EXPECT_NE(before.st_ino, after.st_ino);
}

TEST_F(WriteSnapshot, ReplacesALinkNotItsTarget) {
  writeSnapshot(m_dir / "target", sample("1"));
  std::filesystem::create_symlink("target", m_path);
  writeSnapshot(m_path, sample("2"));
  EXPECT_FALSE(std::filesystem::is_symlink(m_path));
  EXPECT_EQ("1", valueIn(m_dir / "target"));
}

TEST_F(WriteSnapshot, ReplacesWhatAKilledWriterLeft) {
  commutil_test::writeFile(m_new, "half a snapshot");
  writeSnapshot(m_path, sample("1"));
  EXPECT_EQ("1", valueIn(m_path));
  EXPECT_FALSE(std::filesystem::exists(m_new));
}

TEST_F(WriteSnapshot, DoesNotFollowALinkInThePlaceOfItsNewFile) {
  commutil_test::writeFile(m_dir / "victim", "untouched");
  std::filesystem::create_symlink("victim", m_new);
  EXPECT_EQ(m_new +
                ": Too many levels of symbolic links; the last snapshot stays in use; check the "
                "file system",
            errorOf(m_path, "1"));
  EXPECT_EQ("untouched", commutil_test::readFile(m_dir / "victim"));
}

TEST_F(WriteSnapshot, KeepsOutASecondWriter) {
  writeSnapshot(m_path, sample("old"));
  commutil_test::writeFile(m_new, "");
  const int other = ::open(m_new.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, ::flock(other, LOCK_EX));
  EXPECT_EQ(m_new +
                ": another writer has it; the last snapshot stays in use; try again when the other "
                "writer has finished",
            errorOf(m_path, "1"));
  EXPECT_TRUE(std::filesystem::exists(m_new));
  EXPECT_EQ("old", valueIn(m_path));
  ::close(other);
  EXPECT_EQ("(no error)", errorOf(m_path, "1"));
}

TEST_F(WriteSnapshot, ManyWritersLeaveOneWholeSnapshot) {
  writeSnapshot(m_path, sample("0"));
  std::atomic<int> written{0};
  std::vector<std::thread> writers(4);
  for (std::thread& writer : writers) {
    writer = std::thread([&] {
      for (int i = 0; i < 50; ++i) {
        if (errorOf(m_path, std::string(1000, 'v')) == "(no error)") ++written;
        EXPECT_NO_THROW(readSnapshot(m_path));
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_LT(0, written);
  EXPECT_EQ(std::string(1000, 'v'), valueIn(m_path));
  EXPECT_FALSE(std::filesystem::exists(m_new));
}

TEST_F(WriteSnapshot, AFullDiskLeavesTheOldFile) {
  runInChild([this] {
    commutil_test::enterNamespaces(CLONE_NEWNS);
    commutil_test::mountTmpfs(m_dir.path(), "size=64k");
    writeSnapshot(m_path, sample("old"));
    EXPECT_EQ(m_new +
                  ": No space left on device; the last snapshot stays in use; free space on its "
                  "file system",
              errorOf(m_path, std::string(100'000, 'v')));
    EXPECT_EQ("old", valueIn(m_path));
    EXPECT_FALSE(std::filesystem::exists(m_new));
    EXPECT_EQ("(no error)", errorOf(m_path, "new"));
  });
}

TEST_F(WriteSnapshot, AReadOnlyDirectoryLeavesTheOldFile) {
  runInChild([this] {
    commutil_test::enterNamespaces(CLONE_NEWNS);
    commutil_test::mountTmpfs(m_dir.path());
    writeSnapshot(m_path, sample("old"));
    commutil_test::shell("mount -o remount,ro " + m_dir.path().string());
    EXPECT_EQ(m_new +
                  ": Read-only file system; the last snapshot stays in use; let the writer's user "
                  "write to the directory",
              errorOf(m_path, "new"));
    EXPECT_EQ("old", valueIn(m_path));
  });
}

TEST_F(WriteSnapshot, AMissingDirectoryIsNamed) {
  const std::string path = m_dir / "missing/settings.snap";
  EXPECT_EQ(path +
                ".new: No such file or directory; the last snapshot stays in use; create the "
                "directory",
            errorOf(path, "1"));
}

TEST_F(WriteSnapshot, EveryFailureLeavesAWholeFile) {
  for (const long call : {SYS_write, SYS_fsync, SYS_rename, SYS_fchmod, SYS_flock}) {
    writeSnapshot(m_path, sample("old"));
    runInChild([&] {
      commutil_test::failSystemCall(call, EIO);
      EXPECT_THAT(errorOf(m_path, "new"), testing::HasSubstr("Input/output error")) << call;
    });
    EXPECT_EQ("old", valueIn(m_path)) << call;
    EXPECT_EQ(call == SYS_flock, std::filesystem::exists(m_new)) << call;
  }
}

}  // namespace
