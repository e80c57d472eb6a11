// Entries of the user database and command lines that no real system has.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sched.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

using commutil_test::enterNamespaces;
using commutil_test::mountTmpfs;
using commutil_test::replaceFile;
using commutil_test::runInChild;

namespace {

TEST(UserLookup, FailsOnAnEntryThatIsLargerThanTheBuffer) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNS);
    replaceFile("/etc/nsswitch.conf", "passwd: files\n");
    replaceFile("/etc/passwd", "long:x:4711:4712:" + std::string(5000, 'x') + ":/:/bin/sh\n");
    passwd entry{};
    std::array<char, 8192> buffer{};
    EXPECT_FALSE(VexaCommonUtils_i::securityGetpwnam("long", entry, buffer.data(), 1024));
    EXPECT_FALSE(VexaCommonUtils_i::securityGetpwuid(4711U, entry, buffer.data(), 1024));
    EXPECT_TRUE(VexaCommonUtils_i::securityGetpwnam("long", entry, buffer.data(), 8192));
    EXPECT_EQ(4711U, entry.pw_uid);
    EXPECT_TRUE(VexaCommonUtils_i::securityGetpwuid(4711U, entry, buffer.data(), 8192));
    EXPECT_STREQ("long", entry.pw_name);
  });
}

// getCommandLine, from a "/proc" with chosen contents

TEST(CommandLine, DropsTheLastByteWhateverItIs) {
  using namespace std::string_literals;
  struct Row {
    std::string text;
    std::vector<std::string> words;
  };
  const std::string x1020(1020, 'x');
  const Row rows[] = {
      {"", {}},                        // as of a kernel thread
      {"\0"s, {}},                     //
      {"a", {}},                       //
      {"a\0"s, {"a"}},                 //
      {"prog -a x"s, {"prog", "-a"}},  // a title that was set lacks the final NUL
      {"prog\0-a\0x y\0"s, {"prog", "-a", "x", "y"}},
      {"a\0\0\0  b\0\0"s, {"a", "b"}},
      {"p " + x1020 + "\0"s, {"p", x1020}},          // 1023 bytes
      {"p " + x1020 + "y\0"s, {"p", x1020 + "y"}},   // 1024
      {"p " + x1020 + "yz\0"s, {"p", x1020 + "y"}},  // 1025
      {"p " + x1020 + "\0z\0"s, {"p", x1020}},       // 1025
      {"p " + x1020.substr(1) + "\0z\0"s, {"p", x1020.substr(1), "z"}},
      {"p " + x1020.substr(1) + "\0zz\0"s, {"p", x1020.substr(1), "z"}},
  };
  runInChild([&rows] {
    enterNamespaces(CLONE_NEWNS);
    mountTmpfs("/proc");
    const std::string directory = "/proc/" + std::to_string(::getpid());
    std::filesystem::create_directory(directory);
    for (const Row& row : rows) {
      SCOPED_TRACE(row.text);
      commutil_test::writeFile(directory + "/cmdline", row.text);
      std::vector<std::string> words;
      VexaCommonUtils_i::getCommandLine(words);
      EXPECT_EQ(row.words, words);
    }
  });
}

TEST(CommandLine, IsUnchangedWhenItCannotBeRead) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNS);
    mountTmpfs("/proc");
    std::vector<std::string> words{"before"};
    VexaCommonUtils_i::getCommandLine(words);
    EXPECT_THAT(words, testing::ElementsAre("before"));
    std::filesystem::create_directories("/proc/" + std::to_string(::getpid()) + "/cmdline");
    VexaCommonUtils_i::getCommandLine(words);
    EXPECT_THAT(words, testing::ElementsAre("before"));
  });
}

}  // namespace
