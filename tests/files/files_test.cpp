#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <list>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "files/sample_files.h"
#include "support/fixtures.h"
#include "support/threads.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::allBytes;
using commutil_test::contentOf;
using commutil_test::dropRoot;
using commutil_test::inThreads;
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

/// Returns the file names of a directory, in its own order.
std::vector<std::string> namesInOrder(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

class TreeListing {
 public:
  TreeListing(const std::string& directory, const std::string& pattern)
      : result(VexaCommonUtils::getFilesByDir(directory, pattern, files)) {}

  std::list<std::string> files;
  int result;
};

// mkdir_all

TEST(MkdirAll, CreatesWhatIsBeforeEachSeparatorAndTheWhole) {
  struct Case {
    std::string path;
    std::set<std::string> created;
  };
  const std::vector<Case> cases = {
      {"", {}},
      {"/", {}},
      {"\\", {}},
      {"a", {"a"}},
      {"a/", {"a"}},
      {"a/b/c", {"a", "a/b", "a/b/c"}},
      {"a/b/c/", {"a", "a/b", "a/b/c"}},
      {"a//b", {"a", "a/b"}},
      {"./a/../b", {"a", "b"}},
      {"a\\b\\", {"a", "a\\b"}},
      {"a\\b", {"a", "a\\b"}},
      {"a\\b/c", {"a", "a\\b", "a\\b/c"}},
      {"a/b\\c", {"a", "a/b", "a/b\\c"}},
      {"\\a", {"\\a"}},
      {"a\\\\", {"a", "a\\"}},
      {" a /b", {" a ", " a /b"}},
      {"a\0b/c"s, {"a"}},
      {"a\0"s + std::string(5000, 'x') + "/", {"a"}},
      {"a/\0"s + std::string(5000, '/'), {"a"}},
      {kHostileName + "/x",
       {kHostileName.substr(0, kHostileName.find('\\')), kHostileName, kHostileName + "/x"}},
      {std::string(256, 'x') + "/a", {}},
      {std::string(1 << 20, '/'), {}},
      {std::string(1 << 20, 'x'), {}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.path.substr(0, 80));
    const TempDir directory;
    runInChild([&] {
      ASSERT_EQ(0, ::chdir(directory.path().c_str()));
      VexaCommonUtils::mkdir_all(test.path);
    });
    EXPECT_EQ(test.created, treeBelow(directory.path()));
  }
}

TEST(MkdirAll, TakesAbsolutePaths) {
  const TempDir directory;
  VexaCommonUtils::mkdir_all(directory / "x/y");
  EXPECT_EQ((std::set<std::string>{"x", "x/y"}), treeBelow(directory.path()));
}

TEST(MkdirAll, SetsTheModeOfEveryNewDirectoryByTheUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{027}, mode_t{070}}) {
    SCOPED_TRACE(mask);
    const TempDir directory;
    {
      const ScopedUmask scope(mask);
      VexaCommonUtils::mkdir_all(directory / "a/b");
    }
    EXPECT_EQ(0755 & ~mask, modeOf(directory / "a"));
    EXPECT_EQ(0755 & ~mask, modeOf(directory / "a/b"));
  }
}

TEST(MkdirAll, LeavesWhatExistsUnchanged) {
  const TempDir directory;
  ASSERT_EQ(0, ::mkdir((directory / "a").c_str(), 0700));
  ASSERT_EQ(0, ::chmod((directory / "a").c_str(), 01711));
  VexaCommonUtils::mkdir_all(directory / "a/b");
  EXPECT_EQ(mode_t{01711}, modeOf(directory / "a"));
  EXPECT_TRUE(fs::is_directory(directory / "a/b"));
}

TEST(MkdirAll, IgnoresErrors) {
  const TempDir directory;
  directory.write("file", "kept");
  VexaCommonUtils::mkdir_all(directory / "file/x/y");
  EXPECT_EQ("kept", contentOf(directory / "file"));

  ASSERT_EQ(0, ::chmod(directory.path().c_str(), 0555));
  runInChild([&] {
    dropRoot();
    VexaCommonUtils::mkdir_all(directory / "a/b");
  });
  EXPECT_EQ(std::set<std::string>{"file"}, treeBelow(directory.path()));
}

// readFile

TEST(ReadFile, ReturnsExactlyTheBytes) {
  const std::vector<std::string> contents = {
      "",
      "x",
      "\0"s,
      "\n",
      "line\r\n\0\xff\n"s,
      allBytes(),
      patternOfSize(15),
      patternOfSize(16),
      patternOfSize(4095),
      patternOfSize(4096),
      patternOfSize(4097),
      patternOfSize(65537),
      patternOfSize((1 << 20) + 1),
      patternOfSize((32 << 20) - 1),
      patternOfSize((32 << 20) + 12345),
  };
  const TempDir directory;
  for (const std::string& expected : contents) {
    SCOPED_TRACE(expected.size());
    const std::string path = directory.write("file", expected);
    std::string content = "the old content";
    EXPECT_EQ(0, VexaCommonUtils::readFile(path, content));
    EXPECT_TRUE(expected == content);
  }
}

TEST(ReadFile, FailsAndLeavesTheContentUnchanged) {
  const TempDir directory;
  directory.write("file", "text");
  ASSERT_EQ(0, ::mkfifo((directory / "fifo").c_str(), 0600));
  const int keepsFifoOpen = ::open((directory / "fifo").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(4, ::write(keepsFifoOpen, "text", 4));
  fs::create_symlink("missing", directory / "dangling");
  fs::create_symlink("loop", directory / "loop");
  const std::vector<std::string> paths = {
      "",
      directory / "missing",
      directory / "missing/file",
      directory / "file/",
      directory / "file/x",
      directory / "fifo",
      directory / "dangling",
      directory / "loop",
      directory.path().string(),
      directory / ".",
      "/",
      "/proc",
      "/proc/self/fd",
      "/dev",
      "/sys",
      std::string(1 << 20, 'x'),
      directory / kHostileName,
      directory / "mis\0sing"s,
  };
  const std::size_t before = openDescriptors();
  for (const std::string& path : paths) {
    SCOPED_TRACE(path.substr(0, 80));
    std::string content = "kept";
    EXPECT_EQ(1, VexaCommonUtils::readFile(path, content));
    EXPECT_EQ("kept", content);
  }
  EXPECT_EQ(before, openDescriptors());
  ::close(keepsFifoOpen);
}

TEST(ReadFile, FailsOnAFileThatMayNotBeRead) {
  const TempDir directory;
  ASSERT_EQ(0, ::chmod(directory.path().c_str(), 0755));
  const std::string path = directory.write("file", "secret");
  ASSERT_EQ(0, ::chmod(path.c_str(), 0200));
  runInChild([&] {
    dropRoot();
    std::string content = "kept";
    EXPECT_EQ(1, VexaCommonUtils::readFile(path, content));
    EXPECT_EQ("kept", content);
  });
}

TEST(ReadFile, FailsFromTwoGibibytesOn) {
  const TempDir directory;
  const std::string path = directory.write("sparse", "");
  const off_t limit = off_t{1} << 31;
  for (const off_t size : {limit, limit + 1, 2 * limit, 2 * limit + 1, off_t{1} << 40}) {
    SCOPED_TRACE(size);
    ASSERT_EQ(0, ::truncate(path.c_str(), size)) << std::strerror(errno);
    std::string content = "kept";
    EXPECT_EQ(1, VexaCommonUtils::readFile(path, content));
    EXPECT_EQ("kept", content);
  }
}

TEST(ReadFile, TakesTheSizeThatTheFileStates) {
  for (const char* const path : {"/proc/version", "/proc/self/status", "/dev/null", "/dev/zero"}) {
    SCOPED_TRACE(path);
    std::string content = "before";
    EXPECT_EQ(0, VexaCommonUtils::readFile(path, content));
    EXPECT_EQ("", content);
  }
}

TEST(ReadFile, FollowsLinksAndTakesAnyName) {
  const TempDir directory;
  directory.write(kHostileName, "hostile");
  fs::create_symlink(kHostileName, directory / "link");
  std::string content;
  EXPECT_EQ(0, VexaCommonUtils::readFile(directory / kHostileName, content));
  EXPECT_EQ("hostile", content);
  content.clear();
  EXPECT_EQ(0, VexaCommonUtils::readFile(directory / "link", content));
  EXPECT_EQ("hostile", content);
  content.clear();
  // The system reads a path up to its first NUL byte.
  EXPECT_EQ(0, VexaCommonUtils::readFile((directory / "link") + "\0/x"s, content));
  EXPECT_EQ("hostile", content);
}

TEST(ReadFile, AllowsConcurrentCalls) {
  const TempDir directory;
  const std::string expected = patternOfSize(100'000);
  const std::string path = directory.write("file", expected);
  inThreads(4, [&](int) {
    std::string content;
    EXPECT_EQ(0, VexaCommonUtils::readFile(path, content));
    EXPECT_TRUE(expected == content);
  });
}

// getParentDirectory

struct ParentCase {
  std::string path;
  std::string directory;
  std::string fileName;
};

/// Paths and their parents in the directory `root`.
std::vector<ParentCase> parentCases(const std::string& root) {
  return {
      {"/etc/hosts", "/etc", "hosts"},
      {"  /etc/hosts   ", "/etc", "hosts"},
      {"hosts", root, "hosts"},
      {" hosts ", root, "hosts"},
      {"./hosts", root, "hosts"},
      {"/etc/", "", ""},
      {"/etc/ ", "", ""},
      {"/", "", ""},
      {" / ", "", ""},
      {"//", "", ""},
      {"/x", "/", "x"},
      {"//x", "/", "x"},
      {".", root, "."},
      {"..", root, ".."},
      {"real dir/..", root + "/real dir", ".."},
      {"real dir/./sub/../x y", root + "/real dir", "x y"},
      {"link/x", root + "/real dir/sub", "x"},
      {"link/../x", root + "/real dir", "x"},
      {"link", root, "link"},
      {"real dir//x", root + "/real dir", "x"},
      {"real dir/ x", root + "/real dir", " x"},
      {"\thosts\t", root, "\thosts\t"},
      {"\n", root, "\n"},
      {"a\\b", root, "a\\b"},
      {"missing/x", "", "x"},
      {"file/x", "", "x"},
      {" missing/x ", "", "x"},
      {"real dir/a\0b"s, root + "/real dir", "a\0b"s},
      {"link\0/x"s, root + "/real dir/sub", "x"},
      {"link/\0"s, root + "/real dir/sub", "\0"s},
      {"link/" + kHostileName, root + "/real dir/sub", kHostileName},
      {kHostileName + "/x", "", "x"},
      {"link/" + std::string(1 << 20, 'n'), root + "/real dir/sub", std::string(1 << 20, 'n')},
      {std::string(1 << 20, ' ') + "x" + std::string(1 << 20, ' '), root, "x"},
      {std::string(1 << 20, '/') + "x", "", "x"},
  };
}

TEST(GetParentDirectory, SplitsAtTheLastSlashAndResolvesTheDirectory) {
  const TempDir tree;
  const std::string root = fs::canonical(tree.path()).string();
  fs::create_directories(tree / "real dir/sub");
  fs::create_symlink("real dir/sub", tree / "link");
  tree.write("file", "");
  runInChild([&] {
    ASSERT_EQ(0, ::chdir(tree.path().c_str()));
    for (const auto& test : parentCases(root)) {
      SCOPED_TRACE(test.path.substr(0, 80));
      std::string fileName = "junk";
      EXPECT_EQ(test.directory, VexaCommonUtils_i::getParentDirectory(test.path, fileName));
      EXPECT_EQ(test.fileName, fileName);
    }
  });
}

TEST(GetParentDirectory, TakesDirectoriesOfUpTo4096Bytes) {
  for (const std::size_t size : {4095U, 4096U, 4097U, 4098U}) {
    SCOPED_TRACE(size);
    std::string directory(size, '/');
    for (std::size_t i = 2; i + 1 < size; i += 2) directory[i] = '.';
    ASSERT_EQ('/', directory.back());
    std::string fileName = "junk";
    EXPECT_EQ(size <= 4096 ? "/" : "",
              VexaCommonUtils_i::getParentDirectory(directory + "x", fileName));
    EXPECT_EQ("x", fileName);
  }
}

TEST(GetParentDirectory, ThrowsForOnlySpaces) {
  std::string expected;
  try {
    static_cast<void>(std::string().at(0));
  } catch (const std::out_of_range& error) {
    expected = error.what();
  }
  for (const std::string& path : {""s, " "s, "   "s, std::string(1 << 20, ' ')}) {
    SCOPED_TRACE(path.size());
    std::string fileName = "junk";
    try {
      VexaCommonUtils_i::getParentDirectory(path, fileName);
      ADD_FAILURE() << "nothing thrown";
    } catch (const std::out_of_range& error) {
      EXPECT_EQ(expected, error.what());
    }
    EXPECT_EQ("", fileName);
  }
}

// getFilesByDir

TEST(GetFilesByDir, WalksDepthFirstInDirectoryOrder) {
  const TempDir tree;
  for (const char* const name : {"a.xml", "b/c.xml", "b/d/e.xml", "b/d/f", "g/h", "i", "z/y/x"}) {
    tree.write(name, "");
  }
  fs::create_directories(tree / "empty.xml/empty");
  std::list<std::string> expected = {"first"};
  for (const auto& entry : fs::recursive_directory_iterator(tree.path())) {
    if (!entry.is_directory()) expected.push_back(entry.path().string());
  }
  std::list<std::string> files = {"first"};
  errno = EINVAL;
  EXPECT_EQ(0, VexaCommonUtils::getFilesByDir(tree.path().string(), "", files));
  EXPECT_EQ(expected, files);
  EXPECT_EQ(8U, files.size());
}

TEST(GetFilesByDir, MatchesThePatternAnywhereInTheName) {
  const TempDir tree;
  for (const char* const name : {"a.xml", "a.xml.bak", ".xml", "axml", "x.xml/inside", "X.XML"}) {
    tree.write(name, "");
  }
  struct Case {
    std::string pattern;
    std::set<std::string> matches;
  };
  const std::vector<Case> cases = {
      {".xml", {"a.xml", "a.xml.bak", ".xml"}},
      {"xml", {"a.xml", "a.xml.bak", ".xml", "axml"}},
      {"a.xml.bak", {"a.xml.bak"}},
      {"a.xml.bak.", {}},
      {"*.xml", {}},
      {"x.xml", {}},
      {"/", {}},
      {"X", {"X.XML"}},
      {".xml\0"s, {}},
      {std::string(1 << 20, 'a'), {}},
      {"", {"a.xml", "a.xml.bak", ".xml", "axml", "x.xml/inside", "X.XML"}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.pattern.substr(0, 80));
    const TreeListing listing(tree.path().string(), test.pattern);
    EXPECT_EQ(0, listing.result);
    std::set<std::string> found;
    for (const auto& path : listing.files) {
      found.insert(fs::path(path).lexically_relative(tree.path()).string());
    }
    EXPECT_EQ(test.matches, found);
    EXPECT_EQ(found.size(), listing.files.size());
  }
}

TEST(GetFilesByDir, AddsASlashEvenAfterASlash) {
  const TempDir tree;
  tree.write("sub/file", "");
  const std::string root = tree.path().string();
  EXPECT_EQ(std::list<std::string>{root + "/sub/file"}, TreeListing(root, "").files);
  EXPECT_EQ(std::list<std::string>{root + "//sub/file"}, TreeListing(root + "/", "").files);
  EXPECT_EQ(std::list<std::string>{root + "/sub//file"}, TreeListing(root + "/sub/", "").files);
  runInChild([&] {
    ASSERT_EQ(0, ::chdir(root.c_str()));
    EXPECT_EQ(std::list<std::string>{"./sub/file"}, TreeListing(".", "").files);
  });
}

TEST(GetFilesByDir, ListsEverythingButDirectories) {
  const TempDir tree;
  const std::string root = tree.path().string();
  const TempDir elsewhere;
  elsewhere.write("unseen", "");
  fs::create_directory_symlink(elsewhere.path(), tree / "directory link");
  fs::create_symlink("missing", tree / "dangling");
  ASSERT_EQ(0, ::mkfifo((tree / "fifo").c_str(), 0600));
  const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  (tree / "socket").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(0, ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  ::close(listener);
  tree.write(".hidden", "");
  tree.write("..two", "");
  tree.write("...", "");
  tree.write(kHostileName, "");
  TreeListing listing(root, "");
  EXPECT_EQ(0, listing.result);
  const std::set<std::string> expected = {
      root + "/directory link", root + "/dangling", root + "/fifo", root + "/socket",
      root + "/.hidden",        root + "/..two",    root + "/...",  root + "/" + kHostileName};
  EXPECT_EQ(expected, std::set<std::string>(listing.files.begin(), listing.files.end()));
  EXPECT_EQ(expected.size(), listing.files.size());
  // The directory itself may be a link.
  EXPECT_EQ(std::list<std::string>{root + "/directory link/unseen"},
            TreeListing(root + "/directory link", "").files);
}

TEST(GetFilesByDir, FailsOnWhatCannotBeOpened) {
  const TempDir tree;
  tree.write("file", "");
  for (const std::string& directory :
       {""s, tree / "missing", tree / "file", std::string(1 << 20, 'x'), tree / "$(touch x)"}) {
    SCOPED_TRACE(directory.substr(0, 80));
    std::list<std::string> files = {"kept"};
    EXPECT_EQ(-1, VexaCommonUtils::getFilesByDir(directory, "", files));
    EXPECT_EQ(std::list<std::string>{"kept"}, files);
  }
}

TEST(GetFilesByDir, EndsOnAPathWithANulByte) {
  const TempDir tree;
  tree.write("file", "");
  tree.write("sub/file", "");
  tree.write("other/file", "");
  const std::string cut = tree.path().string() + "\0tail"s;
  const TreeListing listing(cut, "");
  EXPECT_EQ(0, listing.result);
  EXPECT_EQ(std::list<std::string>{cut + "/file"}, listing.files);
}

TEST(GetFilesByDir, ReleasesEveryDirectory) {
  const TempDir tree;
  tree.write("a/b/c/file", "");
  tree.write("d/file", "");
  const std::size_t before = openDescriptors();
  EXPECT_EQ(0, TreeListing(tree.path().string(), "").result);
  EXPECT_EQ(-1, TreeListing(tree / "missing", "").result);
  EXPECT_EQ(before, openDescriptors());
}

/// A tree with one unreadable directory, listed by a user without root's rights.
class GetFilesByDirErrors : public ::testing::Test {
 protected:
  GetFilesByDirErrors() { ::chmod(tree.path().c_str(), 0755); }

  void expectListing(const std::string& unreadable, int result,
                     const std::set<std::string>& missing) {
    SCOPED_TRACE(unreadable);
    const TreeListing whole(root, "");
    EXPECT_EQ(0, whole.result);
    std::list<std::string> expected = whole.files;
    expected.remove_if([&](const auto& path) { return missing.count(path) != 0; });
    ASSERT_EQ(0, ::chmod((tree / unreadable).c_str(), 0000));
    runInChild([&] {
      dropRoot();
      const TreeListing listing(root, "");
      EXPECT_EQ(result, listing.result);
      EXPECT_EQ(expected, listing.files);
    });
    ASSERT_EQ(0, ::chmod((tree / unreadable).c_str(), 0755));
  }

  TempDir tree;
  std::string root = tree.path().string();
};

TEST_F(GetFilesByDirErrors, ShowOnlyWhenNoDirectoryWasOpenedAfterwards) {
  for (const char* const name : {"a", "b", "c", "d"}) tree.write(name + "/file"s, "");
  const auto names = namesInOrder(root);
  for (const auto& name : names) {
    expectListing(name, name == names.back() ? -1 : 0, {root + "/" + name + "/file"});
  }
}

TEST_F(GetFilesByDirErrors, AreNotHiddenByFilesReadAfterwards) {
  // Created until a file comes after the directory in the directory's own order.
  tree.write("dir/file", "");
  for (int i = 0; namesInOrder(root).back() == "dir"; ++i) {
    tree.write(std::to_string(i), "");
    if (i % 2 == 0) continue;
    // Some file systems list the newest entry first.
    std::filesystem::remove_all(root + "/dir");
    tree.write("dir/file", "");
  }
  expectListing("dir", -1, {root + "/dir/file"});
}

TEST_F(GetFilesByDirErrors, ShowThroughTheLevelsAbove) {
  tree.write("top/a/file", "");
  tree.write("top/b/file", "");
  const auto names = namesInOrder(tree / "top");
  expectListing("top/" + names[0], 0, {root + "/top/" + names[0] + "/file"});
  expectListing("top/" + names[1], -1, {root + "/top/" + names[1] + "/file"});
  expectListing("top", -1, {root + "/top/a/file", root + "/top/b/file"});
}

TEST_F(GetFilesByDirErrors, AreTheResultForTheDirectoryItself) {
  tree.write("file", "");
  expectListing(".", -1, {root + "/file"});
}

TEST(GetFilesByDir, KeepsADescriptorOpenForEachLevel) {
  const TempDir tree;
  std::string path = tree.path().string();
  for (int level = 0; level < 40; ++level) {
    writeFile(path + "/file", "");
    path += "/d";
    ASSERT_EQ(0, ::mkdir(path.c_str(), 0755));
  }
  const TreeListing whole(tree.path().string(), "file");
  EXPECT_EQ(0, whole.result);
  EXPECT_EQ(40U, whole.files.size());
  runInChild([&] {
    ASSERT_EQ(0, ::close_range(3, UINT_MAX, 0));
    const rlimit limit = {3 + 10, 3 + 10};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
    const TreeListing cut(tree.path().string(), "file");
    EXPECT_EQ(-1, cut.result);
    EXPECT_EQ(10U, cut.files.size());
  });
}

TEST(GetFilesByDir, SkipsWhatIsDeeperThanAPathCanName) {
  const TempDir tree;
  const std::string name(200, 'd');
  const std::size_t levels = 25;
  runInChild([&] {
    ASSERT_EQ(0, ::chdir(tree.path().c_str()));
    for (std::size_t level = 0; level < levels; ++level) {
      ASSERT_EQ(0, ::mkdir(name.c_str(), 0755));
      ASSERT_EQ(0, ::chdir(name.c_str()));
      writeFile("file", "");
    }
  });
  const TreeListing listing(tree.path().string(), "file");
  EXPECT_EQ(-1, listing.result);
  const std::size_t reached = (PATH_MAX - 1 - tree.path().string().size()) / (name.size() + 1);
  EXPECT_LT(reached, levels);
  EXPECT_EQ(reached, listing.files.size());
}

}  // namespace
