// The file utilities with faults that no real file can have at the right moment. This program
// replaces some functions of the C library.

// The headers define checked forms of these functions, and clang refuses a second definition.
#undef _FORTIFY_SOURCE

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <list>
#include <set>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/c_library.h"
#include "support/fixtures.h"

namespace {

using commutil_test::cLibrary;

/// Functions called instead of the real ones; an empty one calls the real one.
struct Faults {
  std::function<ssize_t(int, void*, std::size_t)> read;
  std::function<ssize_t(int, const void*, std::size_t)> write;
  std::function<ssize_t(int, int)> sendfile;
  std::function<int(int)> close;
  std::function<int(int, struct stat*)> fstat;
  std::function<dirent*(DIR*)> readdir;
  std::function<int(DIR*)> closedir;
  std::function<int()> madvise;
};

Faults faults;

ssize_t realRead(int fd, void* data, std::size_t size) {
  static auto* const function = cLibrary<ssize_t(int, void*, std::size_t)>("read");
  return function(fd, data, size);
}

ssize_t realWrite(int fd, const void* data, std::size_t size) {
  static auto* const function = cLibrary<ssize_t(int, const void*, std::size_t)>("write");
  return function(fd, data, size);
}

int realClose(int fd) {
  static auto* const function = cLibrary<int(int)>("close");
  return function(fd);
}

int realFstat(int fd, struct stat* status) {
  static auto* const function = cLibrary<int(int, struct stat*)>("fstat");
  return function(fd, status);
}

dirent* realReaddir(DIR* directory) {
  static auto* const function = cLibrary<dirent*(DIR*)>("readdir");
  return function(directory);
}

int realClosedir(DIR* directory) {
  static auto* const function = cLibrary<int(DIR*)>("closedir");
  return function(directory);
}

ssize_t failWith(int error) {
  errno = error;
  return -1;
}

}  // namespace

extern "C" {

ssize_t read(int fd, void* data, std::size_t size) {
  return faults.read ? faults.read(fd, data, size) : realRead(fd, data, size);
}

ssize_t write(int fd, const void* data, std::size_t size) {
  return faults.write ? faults.write(fd, data, size) : realWrite(fd, data, size);
}

ssize_t sendfile(int out, int in, off_t* offset, std::size_t size) noexcept {
  static auto* const function = cLibrary<ssize_t(int, int, off_t*, std::size_t)>("sendfile");
  return faults.sendfile ? faults.sendfile(out, in) : function(out, in, offset, size);
}

int madvise(void* data, std::size_t size, int advice) noexcept {
  static auto* const function = cLibrary<int(void*, std::size_t, int)>("madvise");
  return faults.madvise ? faults.madvise() : function(data, size, advice);
}

int close(int fd) { return faults.close ? faults.close(fd) : realClose(fd); }

int fstat(int fd, struct stat* status) noexcept {
  return faults.fstat ? faults.fstat(fd, status) : realFstat(fd, status);
}

dirent* readdir(DIR* directory) {
  return faults.readdir ? faults.readdir(directory) : realReaddir(directory);
}

int closedir(DIR* directory) {
  return faults.closedir ? faults.closedir(directory) : realClosedir(directory);
}
}

namespace {

namespace fs = std::filesystem;
using commutil_test::TempDir;

class FilesFaults : public ::testing::Test {
 protected:
  ~FilesFaults() override { faults = {}; }

  int readWithFaults() {
    const int result = VexaCommonUtils::readFile(source, content);
    faults = {};
    return result;
  }
  int copyWithFaults() {
    const int result = VexaCommonUtils_i::copyFile(source, target, false, false);
    faults = {};
    return result;
  }
  int listWithFaults() {
    const int result = VexaCommonUtils::getFilesByDir(directory.path().string(), "", files);
    faults = {};
    return result;
  }

  TempDir directory;
  std::string bytes = std::string(100'000, 'a') + std::string(100'000, 'b');
  std::string source = directory.write("source", bytes);
  std::string target = directory / "target";
  std::string content = "kept";
  std::list<std::string> files;
};

TEST_F(FilesFaults, ReadFileFailsWhenTheFileShrinks) {
  for (const off_t left : {off_t{0}, off_t{1}, off_t{199'999}}) {
    SCOPED_TRACE(left);
    commutil_test::writeFile(source, bytes);
    faults.read = [this, left](int fd, void* data, std::size_t size) {
      EXPECT_EQ(0, ::truncate(source.c_str(), left));
      return realRead(fd, data, size);
    };
    EXPECT_EQ(1, readWithFaults());
    EXPECT_EQ("kept", content);
  }
}

TEST_F(FilesFaults, ReadFileIgnoresWhatIsAppendedMeanwhile) {
  faults.read = [this](int fd, void* data, std::size_t size) {
    EXPECT_EQ(0, ::truncate(source.c_str(), 1'000'000));
    return realRead(fd, data, size);
  };
  EXPECT_EQ(0, readWithFaults());
  EXPECT_TRUE(bytes == content);
}

TEST_F(FilesFaults, ReadFileFailsOnAReadError) {
  int calls = 0;
  faults.read = [&calls](int fd, void* data, std::size_t size) {
    return ++calls == 2 ? failWith(EIO) : realRead(fd, data, std::min<std::size_t>(size, 1000));
  };
  EXPECT_EQ(1, readWithFaults());
  EXPECT_EQ(2, calls);
  EXPECT_EQ("kept", content);
}

TEST_F(FilesFaults, ReadFileContinuesAfterShortAndInterruptedReads) {
  int calls = 0;
  faults.read = [&calls](int fd, void* data, std::size_t size) {
    return ++calls % 2 == 1 ? failWith(EINTR)
                            : realRead(fd, data, std::min<std::size_t>(size, 70'000));
  };
  EXPECT_EQ(0, readWithFaults());
  EXPECT_TRUE(bytes == content);
}

TEST_F(FilesFaults, ReadFileReadsUpToTwoGibibytesLessOne) {
  struct Case {
    off_t size;
    int reads;
  };
  constexpr off_t kLimit = off_t{1} << 31;
  for (const Case& test : {Case{kLimit - 1, 1}, Case{kLimit, 0}, Case{kLimit + 1, 0}}) {
    SCOPED_TRACE(test.size);
    ASSERT_EQ(0, ::truncate(source.c_str(), test.size));
    int reads = 0;
    faults.read = [&reads](int /*fd*/, void* /*data*/, std::size_t /*size*/) {
      ++reads;
      return failWith(EIO);
    };
    EXPECT_EQ(1, readWithFaults());
    EXPECT_EQ(test.reads, reads);
  }
}

TEST_F(FilesFaults, ReadFileKeepsErrnoWhenMemoryCannotBeAdvised) {
  constexpr off_t kLarge = off_t{64} << 20;
  ASSERT_EQ(0, ::truncate(source.c_str(), kLarge));
  int calls = 0;
  faults.madvise = [&calls] {
    ++calls;
    return static_cast<int>(failWith(EINVAL));
  };
  errno = 0;
  const int result = VexaCommonUtils::readFile(source, content);
  const int after = errno;
  faults = {};
  EXPECT_EQ(0, result);
  EXPECT_EQ(0, after);
  EXPECT_EQ(1, calls);
  EXPECT_EQ(std::size_t{kLarge}, content.size());
}

TEST_F(FilesFaults, CopyFileRemovesTheTargetOnAReadError) {
  faults.sendfile = [](int, int) { return failWith(EINVAL); };
  int calls = 0;
  faults.read = [&calls](int fd, void* data, std::size_t size) {
    return ++calls == 3 ? failWith(EIO) : realRead(fd, data, size);
  };
  EXPECT_EQ(-1, copyWithFaults());
  EXPECT_EQ(3, calls);
  EXPECT_FALSE(fs::exists(target));
}

TEST_F(FilesFaults, CopyFileRemovesTheTargetOnAWriteError) {
  faults.sendfile = [](int, int) { return failWith(EINVAL); };
  int calls = 0;
  faults.write = [&calls](int fd, const void* data, std::size_t size) {
    return ++calls == 2 ? failWith(ENOSPC) : realWrite(fd, data, size);
  };
  EXPECT_EQ(-1, copyWithFaults());
  EXPECT_EQ(2, calls);
  EXPECT_FALSE(fs::exists(target));
}

TEST_F(FilesFaults, CopyFileContinuesAfterShortAndInterruptedCalls) {
  int calls = 0;
  const auto everyOther = [&calls] { return ++calls % 2 == 1; };
  faults.sendfile = [](int, int) { return failWith(EINVAL); };
  faults.read = [&](int fd, void* data, std::size_t size) {
    return everyOther() ? failWith(EINTR) : realRead(fd, data, std::min<std::size_t>(size, 9'999));
  };
  faults.write = [&](int fd, const void* data, std::size_t size) {
    return everyOther() ? failWith(EINTR) : realWrite(fd, data, std::min<std::size_t>(size, 7'777));
  };
  EXPECT_EQ(0, copyWithFaults());
  EXPECT_TRUE(bytes == commutil_test::readFile(target));
}

TEST_F(FilesFaults, CopyFileContinuesWhereTheKernelStops) {
  for (const int error : {EINVAL, ENOSYS, EIO, EINTR, 0}) {
    SCOPED_TRACE(error);
    int calls = 0;
    faults.sendfile = [&calls, error](int out, int in) -> ssize_t {
      if (++calls > 1) return calls == 2 && error != 0 ? failWith(error) : 0;
      std::string piece(30'000, '\0');
      EXPECT_EQ(30'000, realRead(in, piece.data(), piece.size()));
      return realWrite(out, piece.data(), piece.size());
    };
    EXPECT_EQ(0, copyWithFaults());
    EXPECT_TRUE(bytes == commutil_test::readFile(target));
  }
}

TEST_F(FilesFaults, CopyFileRemovesTheTargetWhenItsClosingFails) {
  faults.close = [this](int fd) {
    std::string path = "/proc/self/fd/" + std::to_string(fd);
    const bool isTarget = fs::read_symlink(path) == fs::canonical(directory.path()) / "target";
    realClose(fd);
    return isTarget ? static_cast<int>(failWith(EDQUOT)) : 0;
  };
  EXPECT_EQ(-1, copyWithFaults());
  EXPECT_FALSE(fs::exists(target));
}

// The first call is for the source, the second for the target, which is open by then.
TEST_F(FilesFaults, CopyFileLeavesNoNewFileWhenAFileCannotBeExamined) {
  for (const int failing : {1, 2}) {
    SCOPED_TRACE(failing);
    int calls = 0;
    faults.fstat = [&calls, failing](int fd, struct stat* status) {
      return ++calls == failing ? static_cast<int>(failWith(EIO)) : realFstat(fd, status);
    };
    EXPECT_EQ(-1, copyWithFaults());
    EXPECT_FALSE(fs::exists(target));
  }
}

TEST_F(FilesFaults, CopyFileKeepsAnOldFileThatCannotBeExamined) {
  directory.write("target", "old");
  for (const int failing : {1, 2}) {
    SCOPED_TRACE(failing);
    int calls = 0;
    faults.fstat = [&calls, failing](int fd, struct stat* status) {
      return ++calls == failing ? static_cast<int>(failWith(EIO)) : realFstat(fd, status);
    };
    EXPECT_EQ(-1, copyWithFaults());
    EXPECT_EQ("old", commutil_test::readFile(target));
  }
}

TEST_F(FilesFaults, GetFilesByDirTreatsEntriesWithoutATypeAsFiles) {
  directory.write("sub/inside", "");
  faults.readdir = [](DIR* stream) {
    dirent* const entry = realReaddir(stream);
    if (entry != nullptr) entry->d_type = DT_UNKNOWN;
    return entry;
  };
  EXPECT_EQ(0, listWithFaults());
  EXPECT_EQ((std::set<std::string>{source, directory / "sub"}),
            std::set<std::string>(files.begin(), files.end()));
  EXPECT_EQ(2U, files.size());
}

TEST_F(FilesFaults, GetFilesByDirFailsOnAReadError) {
  bool ended = false;
  faults.readdir = [&ended](DIR* stream) -> dirent* {
    dirent* const entry = realReaddir(stream);
    if (entry == nullptr) {
      ended = true;
      errno = EIO;
    }
    return entry;
  };
  EXPECT_EQ(-1, listWithFaults());
  EXPECT_TRUE(ended);
  EXPECT_EQ(std::list<std::string>{source}, files);
}

TEST_F(FilesFaults, GetFilesByDirFailsOnAnErrorInClosing) {
  faults.closedir = [](DIR* stream) {
    realClosedir(stream);
    errno = EIO;
    return -1;
  };
  EXPECT_EQ(-1, listWithFaults());
  EXPECT_EQ(std::list<std::string>{source}, files);
}

}  // namespace
