// The file utilities on the tests' own file systems: full, read-only, with another root.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <list>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::enterNamespaces;
using commutil_test::mountTmpfs;
using commutil_test::runInChild;
using commutil_test::TempDir;
using commutil_test::writeFile;

int copy(const std::string& source, const std::string& target) {
  return VexaCommonUtils_i::copyFile(source, target, false, true);
}

std::uintmax_t freeBytes(const std::string& path) { return fs::space(path).available; }

/// Runs `body` with a file system of 256 KiB at `small`.
class SmallFileSystem : public ::testing::Test {
 protected:
  void run(const std::function<void()>& body) {
    runInChild([&] {
      fs::create_directory(small);
      ASSERT_NO_FATAL_FAILURE(enterNamespaces(CLONE_NEWNS));
      ASSERT_NO_FATAL_FAILURE(mountTmpfs(small, "size=256k"));
      body();
    });
  }

  TempDir directory;
  std::string small = directory / "small";
};

TEST_F(SmallFileSystem, CopyThatFillsItLeavesNothingBehind) {
  for (const std::size_t size : {256U * 1024U + 1U, 300'000U, 3U << 20U}) {
    SCOPED_TRACE(size);
    const std::string source = directory.write("source", std::string(size, 'x'));
    run([&] {
      const std::uintmax_t before = freeBytes(small);
      EXPECT_EQ(-1, copy(source, small + "/target"));
      EXPECT_TRUE(fs::is_empty(small));
      EXPECT_EQ(before, freeBytes(small));
    });
  }
}

TEST_F(SmallFileSystem, CopyThatJustFitsSucceeds) {
  const std::string bytes(256 * 1024, 'x');
  const std::string source = directory.write("source", bytes);
  run([&] {
    EXPECT_EQ(0, copy(source, small + "/target"));
    EXPECT_TRUE(bytes == commutil_test::readFile(small + "/target"));
    EXPECT_EQ(0U, freeBytes(small));
  });
}

TEST_F(SmallFileSystem, SmallestCopyIntoAFullOneFails) {
  const std::string source = directory.write("source", "x");
  run([&] {
    writeFile(small + "/filler", std::string(256 * 1024, 'f'));
    ASSERT_EQ(0U, freeBytes(small));
    EXPECT_EQ(-1, copy(source, small + "/target"));
    EXPECT_FALSE(fs::exists(small + "/target"));
  });
}

TEST_F(SmallFileSystem, FailedCopyTakesTheOldTargetWithIt) {
  const std::string source = directory.write("source", std::string(300'000, 'x'));
  run([&] {
    writeFile(small + "/target", "old");
    EXPECT_EQ(-1, copy(source, small + "/target"));
    EXPECT_FALSE(fs::exists(small + "/target"));
  });
}

TEST_F(SmallFileSystem, CopiesBetweenFileSystemsBothWays) {
  const std::string source = directory.write("source", "text");
  run([&] {
    EXPECT_EQ(0, copy(source, small + "/there"));
    EXPECT_EQ(0, copy(small + "/there", directory / "back"));
    EXPECT_EQ("text", commutil_test::readFile(directory / "back"));
  });
}

TEST_F(SmallFileSystem, ItsDirectoriesAreNotFiles) {
  run([&] {
    fs::create_directory(small + "/sub");
    for (const std::string& path : {small, small + "/sub"}) {
      SCOPED_TRACE(path);
      std::string content = "kept";
      EXPECT_EQ(1, VexaCommonUtils::readFile(path, content));
      EXPECT_EQ("kept", content);
    }
  });
}

TEST_F(SmallFileSystem, WalkCrossesMounts) {
  run([&] {
    writeFile(small + "/file", "");
    std::list<std::string> files;
    EXPECT_EQ(0, VexaCommonUtils::getFilesByDir(directory.path().string(), "file", files));
    EXPECT_EQ(std::list<std::string>{small + "/file"}, files);
  });
}

TEST_F(SmallFileSystem, ReadOnlyStaysAsItIs) {
  const std::string source = directory.write("source", "text");
  run([&] {
    writeFile(small + "/target", "kept");
    ASSERT_EQ(0, ::mount(nullptr, small.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr))
        << std::strerror(errno);
    EXPECT_EQ(-1, copy(source, small + "/target"));
    EXPECT_EQ("kept", commutil_test::readFile(small + "/target"));
    EXPECT_EQ(-1, copy(source, small + "/new"));
    VexaCommonUtils::mkdir_all(small + "/a/b");
    EXPECT_EQ(1, std::distance(fs::directory_iterator(small), fs::directory_iterator()));
    EXPECT_EQ(0, copy(small + "/target", directory / "copy"));
    EXPECT_EQ("kept", commutil_test::readFile(directory / "copy"));
  });
}

TEST(ChangedRoot, FilesDirectlyBelowItAreCopied) {
  const TempDir root;
  root.write("source", "text");
  root.write("sub/file", "");
  runInChild([&] {
    ASSERT_NO_FATAL_FAILURE(enterNamespaces(CLONE_NEWNS));
    ASSERT_EQ(0, ::chroot(root.path().c_str())) << std::strerror(errno);
    ASSERT_EQ(0, ::chdir("/"));
    EXPECT_EQ(0, copy("/source", "target"));
    EXPECT_EQ("text", commutil_test::readFile("/target"));
    EXPECT_EQ(-1, copy("/source", "source"));
    std::list<std::string> files;
    EXPECT_EQ(0, VexaCommonUtils::getFilesByDir("/", "file", files));
    EXPECT_EQ(std::list<std::string>{"//sub/file"}, files);
  });
}

}  // namespace
