#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "VexaCommonUtils_i.h"
#include "files/sample_files.h"
#include "support/fixtures.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::contentOf;
using commutil_test::dropRoot;
using commutil_test::existsOrDangles;
using commutil_test::kHostileName;
using commutil_test::modeOf;
using commutil_test::openDescriptors;
using commutil_test::patternOfSize;
using commutil_test::runInChild;
using commutil_test::ScopedUmask;
using commutil_test::TempDir;
using commutil_test::treeBelow;
using commutil_test::writeFile;
using namespace std::string_literals;

class CopyFile : public ::testing::Test {
 protected:
  int copy(const std::string& from, const std::string& to, bool noOverwrite = false,
           bool keepAttributes = false) {
    return VexaCommonUtils_i::copyFile(from, to, noOverwrite, keepAttributes);
  }

  TempDir directory;
  std::string source = directory.write("source", "the source");
  std::string target = directory / "target";
};

TEST_F(CopyFile, CopiesEveryByte) {
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, std::size_t{4096}, std::size_t{65535}, std::size_t{65536},
        std::size_t{65537}, (std::size_t{1} << 20) - 1, std::size_t{1} << 20,
        (std::size_t{1} << 20) + 1, (std::size_t{3} << 20) + 7}) {
    SCOPED_TRACE(size);
    const std::string bytes = patternOfSize(size);
    writeFile(source, bytes);
    EXPECT_EQ(0, copy(source, target));
    EXPECT_TRUE(bytes == contentOf(target));
    EXPECT_TRUE(bytes == contentOf(source));
  }
}

TEST_F(CopyFile, ReplacesALongerTarget) {
  writeFile(target, patternOfSize(100'000));
  EXPECT_EQ(0, copy(source, target));
  EXPECT_EQ("the source", contentOf(target));
}

TEST_F(CopyFile, CopiesSparseFiles) {
  const off_t size = (off_t{8} << 20) + 3;
  ASSERT_EQ(0, ::truncate(source.c_str(), size));
  EXPECT_EQ(0, copy(source, target));
  EXPECT_TRUE(contentOf(target) == contentOf(source));
}

TEST_F(CopyFile, NeverCopiesAFileOntoItself) {
  fs::create_directory(directory / "sub");
  fs::create_directory_symlink(".", directory / "here");
  fs::create_symlink("source", directory / "link");
  fs::create_symlink("link", directory / "link to link");
  fs::create_hard_link(source, directory / "hard link");
  std::vector<std::string> names;
  for (const char* const name :
       {"/source", "/./source", "//source", "/sub/../source", "/here/source", "/source ", "/link",
        "/hard link", "/here/link", "/link to link", "/sub/..//link"}) {
    names.push_back(directory.path().string() + name);
  }
  names.push_back("  " + source);
  const std::size_t before = openDescriptors();
  for (const std::string& from : names) {
    for (const std::string& to : names) {
      for (const bool noOverwrite : {false, true}) {
        SCOPED_TRACE(from + " to " + to);
        EXPECT_EQ(-1, copy(from, to, noOverwrite, true));
        EXPECT_EQ("the source", contentOf(source));
      }
    }
  }
  EXPECT_EQ(before, openDescriptors());
  EXPECT_TRUE(fs::is_symlink(directory / "link"));
  EXPECT_EQ(2U, fs::hard_link_count(source));
}

TEST_F(CopyFile, RecognizesRelativePathsOfTheSameFile) {
  runInChild([&] {
    ASSERT_EQ(0, ::chdir(directory.path().c_str()));
    EXPECT_EQ(-1, copy("source", "./source"));
    EXPECT_EQ(-1, copy(source, "source"));
    EXPECT_EQ("the source", contentOf(source));
    EXPECT_EQ(0, copy("source", "./target"));
    EXPECT_EQ("the source", contentOf("target"));
  });
}

TEST_F(CopyFile, KeepsAnExistingTargetOnRequest) {
  writeFile(target, "the target");
  EXPECT_EQ(-1, copy(source, target, true));
  EXPECT_EQ("the target", contentOf(target));
  EXPECT_EQ(0, copy(source, directory / "new", true));
  EXPECT_EQ("the source", contentOf(directory / "new"));
  fs::create_symlink("target", directory / "link");
  EXPECT_EQ(-1, copy(source, directory / "link", true));
  EXPECT_EQ("the target", contentOf(target));
}

TEST_F(CopyFile, TreatsADanglingLinkAsNoTarget) {
  fs::create_symlink("through", directory / "link");
  EXPECT_EQ(0, copy(source, directory / "link", true));
  EXPECT_TRUE(fs::is_symlink(directory / "link"));
  EXPECT_EQ("the source", contentOf(directory / "through"));
}

TEST_F(CopyFile, FollowsLinksAtBothEnds) {
  writeFile(target, "the target");
  fs::create_symlink("source", directory / "from");
  fs::create_symlink("target", directory / "to");
  EXPECT_EQ(0, copy(directory / "from", directory / "to"));
  EXPECT_TRUE(fs::is_symlink(directory / "to"));
  EXPECT_EQ("the source", contentOf(target));
}

TEST_F(CopyFile, FailsBeforeItTouchesTheTarget) {
  fs::create_directory(directory / "sub");
  struct Case {
    std::string source;
    std::string target;
  };
  const std::vector<Case> cases = {
      {"missing", "target"},
      {"missing/source", "target"},
      {"source/", "target"},
      {"sub/", "target"},
      {"source", "missing/target"},
      {"source", "target/"},
      {"source/x", "target"},
      {"source", "target/x"},
      {"source", "sub"},
      {"source", "sub/."},
      {"source", "sub/.."},
      {"/", "target"},
      {std::string(300, 'x'), "target"},
  };
  writeFile(target, "the target");
  const auto before = treeBelow(directory.path());
  const std::size_t descriptors = openDescriptors();
  for (const auto& test : cases) {
    SCOPED_TRACE(test.source + " to " + test.target);
    EXPECT_EQ(-1, copy(directory / test.source, directory / test.target));
    EXPECT_EQ("the target", contentOf(target));
    EXPECT_EQ("the source", contentOf(source));
    EXPECT_EQ(before, treeBelow(directory.path()));
  }
  EXPECT_EQ(-1, copy(source, directory / std::string(300, 'x')));
  EXPECT_EQ(descriptors, openDescriptors());
}

TEST_F(CopyFile, FailsWithoutPermissionToReadOrWrite) {
  writeFile(target, "the target");
  writeFile(directory / "readable", "readable");
  ASSERT_EQ(0, ::chmod(directory.path().c_str(), 0755));
  ASSERT_EQ(0, ::chmod(source.c_str(), 0200));
  ASSERT_EQ(0, ::chmod(target.c_str(), 0444));
  writeFile(directory / "writable", "kept");
  ASSERT_EQ(0, ::chmod((directory / "writable").c_str(), 0666));
  runInChild([&] {
    dropRoot();
    EXPECT_EQ(-1, copy(source, directory / "writable"));
    EXPECT_EQ("kept", contentOf(directory / "writable"));
    EXPECT_EQ(-1, copy(directory / "readable", target));
    EXPECT_EQ("the target", contentOf(target));
    EXPECT_EQ(-1, copy(directory / "readable", directory / "new"));
    EXPECT_FALSE(existsOrDangles(directory / "new"));
  });
}

TEST_F(CopyFile, RemovesTheTargetWhenTheSourceTurnsOutToBeADirectory) {
  fs::create_directory(directory / "sub");
  EXPECT_EQ(-1, copy(directory / "sub", target));
  EXPECT_FALSE(existsOrDangles(target));

  writeFile(target, "lost: the target is emptied before the first read");
  EXPECT_EQ(-1, copy(directory / "sub", target));
  EXPECT_FALSE(existsOrDangles(target));

  fs::create_symlink("through", directory / "link");
  EXPECT_EQ(-1, copy(directory / "sub", directory / "link"));
  EXPECT_FALSE(existsOrDangles(directory / "link"));
}

TEST_F(CopyFile, ReadsPipesToTheirEnd) {
  const std::string bytes = patternOfSize(300'000);
  const std::string fifo = directory / "fifo";
  ASSERT_EQ(0, ::mkfifo(fifo.c_str(), 0600));
  std::thread writer([&] { writeFile(fifo, bytes); });
  EXPECT_EQ(0, copy(fifo, target));
  writer.join();
  EXPECT_TRUE(bytes == contentOf(target));
}

TEST_F(CopyFile, ReadsKernelFilesToTheirEnd) {
  EXPECT_EQ(0, copy("/proc/version", target));
  EXPECT_EQ(contentOf("/proc/version"), contentOf(target));
  EXPECT_NE("", contentOf(target));
  EXPECT_EQ(0, copy("/dev/null", target));
  EXPECT_EQ("", contentOf(target));
}

TEST_F(CopyFile, WritesToDevices) {
  fs::create_symlink("/dev/null", directory / "null");
  EXPECT_EQ(0, copy(source, directory / "null"));
  EXPECT_TRUE(fs::is_symlink(directory / "null"));
}

TEST_F(CopyFile, RemovesTheTargetWhenAWriteFails) {
  fs::create_symlink("/dev/full", directory / "full");
  EXPECT_EQ(-1, copy(source, directory / "full", false, true));
  EXPECT_FALSE(existsOrDangles(directory / "full"));
}

TEST_F(CopyFile, RemovesTheTargetAtTheFileSizeLimit) {
  writeFile(source, patternOfSize(200'000));
  runInChild([&] {
    const rlimit limit = {100'000, 100'000};
    ::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
    EXPECT_EQ(-1, copy(source, target));
    EXPECT_FALSE(existsOrDangles(target));
  });
}

TEST_F(CopyFile, CreatesTheTargetUnderTheUmask) {
  ASSERT_EQ(0, ::chmod(source.c_str(), 0751));
  for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{077}, mode_t{0137}}) {
    SCOPED_TRACE(mask);
    const ScopedUmask scope(mask);
    ::unlink(target.c_str());
    EXPECT_EQ(0, copy(source, target));
    EXPECT_EQ(0666 & ~mask, modeOf(target));
  }
}

TEST_F(CopyFile, LeavesTheModeOfAnExistingTarget) {
  writeFile(target, "");
  ASSERT_EQ(0, ::chmod(target.c_str(), 0600));
  EXPECT_EQ(0, copy(source, target));
  EXPECT_EQ(mode_t{0600}, modeOf(target));
}

TEST_F(CopyFile, KeepsTimesModeAndOwnerOnRequest) {
  const bool isRoot = ::geteuid() == 0;
  ASSERT_EQ(0, ::chown(source.c_str(), isRoot ? 1234 : ::geteuid(), isRoot ? 5678 : ::getegid()));
  ASSERT_EQ(0, ::chmod(source.c_str(), 0641));
  const timespec times[] = {{1'000'000'000, 0}, {1'111'111'111, 0}};
  const ScopedUmask mask(077);
  for (const bool existing : {false, true}) {
    SCOPED_TRACE(existing);
    if (existing) writeFile(target, "longer than the source by some bytes");
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, source.c_str(), times, 0));
    EXPECT_EQ(0, copy(source, target, false, true));
    struct stat status = {};
    ASSERT_EQ(0, ::stat(target.c_str(), &status));
    EXPECT_EQ(1'000'000'000, status.st_atim.tv_sec);
    EXPECT_EQ(1'111'111'111, status.st_mtim.tv_sec);
    EXPECT_EQ(mode_t{0641}, status.st_mode & 07777);
    EXPECT_EQ(isRoot ? 1234 : ::geteuid(), status.st_uid);
    EXPECT_EQ(isRoot ? 5678 : ::getegid(), status.st_gid);
    EXPECT_EQ("the source", contentOf(target));
    ::unlink(target.c_str());
  }
}

TEST_F(CopyFile, LosesSetUserIdBitsToTheChangeOfOwner) {
  ASSERT_EQ(0, ::chmod(source.c_str(), 06755));
  EXPECT_EQ(0, copy(source, target, false, true));
  EXPECT_EQ(mode_t{0755}, modeOf(target));
}

TEST_F(CopyFile, SucceedsEvenIfAttributesCannotBeKept) {
  const bool isRoot = ::geteuid() == 0;
  ASSERT_EQ(0, ::chmod(directory.path().c_str(), 0777));
  ASSERT_EQ(0, ::chmod(source.c_str(), 0644));
  writeFile(target, "");
  ASSERT_EQ(0, ::chmod(target.c_str(), 0666));
  runInChild([&] {
    dropRoot();
    EXPECT_EQ(0, copy(source, target, false, true));
    EXPECT_EQ("the source", contentOf(target));
    EXPECT_EQ(isRoot ? mode_t{0666} : mode_t{0644}, modeOf(target));
  });
}

TEST_F(CopyFile, LeavesAttributesUnchangedByDefault) {
  const timespec times[] = {{1'000'000'000, 0}, {1'111'111'111, 0}};
  ASSERT_EQ(0, ::chmod(source.c_str(), 0751));
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, source.c_str(), times, 0));
  const ScopedUmask mask(022);
  for (const bool noOverwrite : {false, true}) {
    SCOPED_TRACE(noOverwrite);
    EXPECT_EQ(0, copy(source, target, noOverwrite));
    struct stat status = {};
    ASSERT_EQ(0, ::stat(target.c_str(), &status));
    EXPECT_GT(status.st_mtim.tv_sec, 1'111'111'111);
    EXPECT_EQ(mode_t{0644}, status.st_mode & 07777);
    ::unlink(target.c_str());
  }
}

TEST_F(CopyFile, DropsSpacesAroundThePaths) {
  EXPECT_EQ(0, copy("  " + source + " ", " " + target + "  "));
  EXPECT_EQ("the source", contentOf(target));
  writeFile(directory / " inner", "inner");
  EXPECT_EQ(0, copy(directory / " inner", target));
  EXPECT_EQ("inner", contentOf(target));
}

TEST_F(CopyFile, TakesAnyName) {
  EXPECT_EQ(0, copy(source, directory / kHostileName));
  EXPECT_EQ(0, copy(directory / kHostileName, target));
  EXPECT_EQ("the source", contentOf(target));
  EXPECT_EQ((std::set<std::string>{"source", "target", kHostileName}), treeBelow(directory.path()));
  EXPECT_EQ(-1, copy(source, directory / std::string(1 << 20, 'x')));
}

TEST_F(CopyFile, ThrowsForOnlySpaces) {
  writeFile(target, "the target");
  for (const char* const spaces : {"", "   "}) {
    EXPECT_THROW(copy(spaces, target), std::out_of_range);
    EXPECT_THROW(copy(source, spaces), std::out_of_range);
    EXPECT_THROW(copy(directory / "missing/x", spaces), std::out_of_range);
  }
  EXPECT_EQ("the target", contentOf(target));
}

}  // namespace
