#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

namespace {

using commutil_test::enterNamespaces;
using commutil_test::mountTmpfs;
using commutil_test::replaceFile;
using commutil_test::runInChild;

constexpr const char* kRelease = "/etc/os-release";

struct Release {
  const char* name;
  std::string content;
  bool zirel;
};

const std::string kLine = "NAME=\"ZirelOS\"";

const Release kReleases[] = {
    {"line alone", kLine + "\n", true},
    {"no line end", kLine, true},
    {"first line", kLine + "\nVERSION=\"2\"\n", true},
    {"last line", "VERSION=\"2\"\n\n" + kLine + "\n", true},
    {"last line without its end", "VERSION=\"2\"\n" + kLine, true},
    {"empty file", "", false},
    {"another distribution", "NAME=\"Debian GNU/Linux\"\nID=debian\n", false},
    {"carriage return", kLine + "\r\n", false},
    {"carriage return between", "VERSION=\"2\"\r" + kLine + "\n", false},
    {"leading space", " " + kLine + "\n", false},
    {"trailing space", kLine + " \n", false},
    {"trailing tab", kLine + "\t\n", false},
    {"no quotes", "NAME=ZirelOS\n", false},
    {"single quotes", "NAME='ZirelOS'\n", false},
    {"another case", "NAME=\"zirelos\"\n", false},
    {"another key before it", "PRETTY_" + kLine + "\n", false},
    {"more after it", kLine + "2\n", false},
    {"cut short", "NAME=\"ZirelOS\n", false},
    {"byte-order mark", "\xef\xbb\xbf" + kLine + "\n", false},
    {"NUL after it", kLine + std::string("\0", 1) + "\n", false},
    {"NUL before it", std::string("\0", 1) + kLine + "\n", false},
    {"NUL in a line before", std::string("a\0b\n", 4) + kLine + "\n", true},
    {"two line ends", kLine + "\n\n", true},
    // A longer line arrives in pieces of 1023 bytes, each compared like a line.
    {"1022 bytes before it", std::string(1022, 'x') + kLine + "\n", false},
    {"1023 bytes before it", std::string(1023, 'x') + kLine + "\n", true},
    {"1024 bytes before it", std::string(1024, 'x') + kLine + "\n", false},
    {"two pieces before it", std::string(2046, 'x') + kLine + "\n", true},
    {"a piece before, more after it", std::string(1023, 'x') + kLine + "x\n", false},
    {"a line of one piece before", std::string(1022, 'x') + "\n" + kLine + "\n", true},
    {"a line of one piece and its end", std::string(1023, 'x') + "\n" + kLine + "\n", true},
};

TEST(DistributionSystem, RecognizesTheDistributionByItsLine) {
  for (const Release& release : kReleases) {
    SCOPED_TRACE(release.name);
    runInChild([&] {
      enterNamespaces(CLONE_NEWNS);
      replaceFile(kRelease, release.content);
      EXPECT_EQ(release.zirel, VexaCommonUtils_i::isZirel());
    });
  }
}

TEST(DistributionSystem, ReadsTheDistributionOnEveryCall) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNS);
    mountTmpfs("/etc");
    EXPECT_FALSE(VexaCommonUtils_i::isZirel()) << "no file";
    commutil_test::writeFile(kRelease, kLine);
    EXPECT_TRUE(VexaCommonUtils_i::isZirel());
    commutil_test::writeFile(kRelease, "NAME=\"Other\"\n");
    EXPECT_FALSE(VexaCommonUtils_i::isZirel());
    ASSERT_EQ(0, ::unlink(kRelease));
    ASSERT_EQ(0, ::mkdir(kRelease, 0755));
    EXPECT_FALSE(VexaCommonUtils_i::isZirel()) << "a directory";
  });
}

}  // namespace
