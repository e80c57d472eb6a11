#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/threads.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::CapturedOutput;
using commutil_test::dropRoot;
using commutil_test::inThreads;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr std::size_t kMebi = std::size_t{1} << 20;

// checkUnSafeStr

class CheckUnSafeStr : public ::testing::Test {
 protected:
  /// The result for `text`, and what went to standard error and output meanwhile.
  struct Outcome {
    bool safe;
    std::string errors;
    std::string output;
  };

  static Outcome check(const std::string& text) {
    CapturedOutput errors(STDERR_FILENO);
    CapturedOutput output(STDOUT_FILENO);
    const bool safe = VexaCommonUtils_i::checkUnSafeStr(text);
    std::string written = output.stop();
    return {safe, errors.stop(), std::move(written)};
  }

  static void expectAnswer(bool safe, const std::string& text) {
    SCOPED_TRACE(text.substr(0, 80));
    const Outcome outcome = check(text);
    EXPECT_EQ(safe, outcome.safe);
    EXPECT_EQ("", outcome.errors);
    EXPECT_EQ("", outcome.output);
  }

  void expectUnreadable() const {
    const Outcome outcome = check("rm -rf /");
    EXPECT_TRUE(outcome.safe);
    EXPECT_EQ("file open fail, " + file + "\n", outcome.errors);
    EXPECT_EQ("", outcome.output);
    expectAnswer(true, "");
  }

  TempDir tree;
  ScopedEnv share{"_APP_SHARE_DIR", tree / "share"};
  ScopedEnv application{"APP_ROOT", tree / "app"};
  ScopedEnv common{"COMMON_LIB_PATH", tree / "common"};
  std::string file = tree / "common/conf/secure.cfg";
};

TEST_F(CheckUnSafeStr, RefusesStringsWithAnUnsafeWord) {
  tree.write("common/conf/secure.cfg",
             "[Other]\n1=other\n"
             "[UnsafeWord]\n"
             "key1=rm -rf\n"
             "key2=\n"
             "; comment=commented\n"
             "key3=\"quoted\"\n"
             "key4 =  DROP TABLE  \n"
             "key5=;\n"
             "key5=second of a key\n"
             "key6=\xc3\xa4\n"
             "[Another]\n1=another\n");
  struct Case {
    std::string text;
    bool safe;
  };
  const std::vector<Case> cases = {
      {"", true},
      {"do rm -rf /", false},
      {"rm -rf", false},
      {"xrm -rfx", false},
      {"rm -r", true},
      {"rm -r f", true},
      {"RM -RF", true},
      {"key1", true},
      {"harmless", true},
      {"other another commented", true},
      {"quoted", true},
      {"a \"quoted\" word", false},
      {"DROP TABLE", false},
      {"drop table", true},
      {"xDROP TABLEx", false},
      {"a;b", false},
      {"the second of a key", false},
      {"\xc3\xa4", false},
      {"\xc3", true},
      {"\0rm -rf"s, false},
      {"rm\0 -rf"s, true},
      {"line\nrm -rf\nline", false},
      {"$(reboot) `id` | & > <", true},
      {std::string(kMebi, 'r'), true},
      {std::string(kMebi, 'r') + "m -rf", false},
  };
  for (const auto& test : cases) expectAnswer(test.safe, test.text);
}

TEST_F(CheckUnSafeStr, AcceptsEverythingWithoutWords) {
  for (const char* const content :
       {"", "[UnsafeWord]\n", "[Other]\na=rm\n", "a=rm\n", "[UnsafeWord]\na=\nb=\n"}) {
    SCOPED_TRACE(content);
    tree.write("common/conf/secure.cfg", content);
    expectAnswer(true, "rm");
    expectAnswer(true, "a=rm");
  }
}

TEST_F(CheckUnSafeStr, FailsOpenWithoutAReadableFile) {
  expectUnreadable();
  fs::create_directories(file);
  expectUnreadable();
}

TEST_F(CheckUnSafeStr, FailsOpenWhenTheFileMayNotBeRead) {
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\na=rm\n");
  ASSERT_EQ(0, ::chmod(tree.path().c_str(), 0755));
  ASSERT_EQ(0, ::chmod(file.c_str(), 0000));
  runInChild([&] {
    dropRoot();
    expectUnreadable();
  });
}

TEST_F(CheckUnSafeStr, NamesTheFileThatItTried) {
  const ScopedEnv unset("COMMON_LIB_PATH", std::nullopt);
  file = "/conf/secure.cfg";
  expectUnreadable();
}

TEST_F(CheckUnSafeStr, ReadsTheFirstFileFound) {
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\na=common\n");
  expectAnswer(false, "common");
  tree.write("app/conf/secure.cfg", "[UnsafeWord]\na=application\n");
  expectAnswer(true, "common");
  expectAnswer(false, "application");
  tree.write("share/conf/secure.cfg", "[UnsafeWord]\na=shared\n");
  expectAnswer(true, "application");
  expectAnswer(false, "shared");
}

TEST_F(CheckUnSafeStr, ReadsTheFileOnEveryCall) {
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\na=one\n");
  expectAnswer(false, "one");
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\na=two\n");
  expectAnswer(true, "one");
  expectAnswer(false, "two");
  fs::remove(file);
  expectUnreadable();
}

TEST_F(CheckUnSafeStr, LongWordsTakeLinearTime) {
  // Linear matching ends at once; comparing in full at each position takes a minute.
  const std::string word = std::string(200'000, 'a') + "b";
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\nkey=" + word + "\n");
  expectAnswer(true, std::string(kMebi, 'a'));
  expectAnswer(false, std::string(kMebi, 'a') + "b");
}

TEST_F(CheckUnSafeStr, AllowsConcurrentCalls) {
  tree.write("common/conf/secure.cfg", "[UnsafeWord]\na=rm\n");
  inThreads(4, [](int) {
    EXPECT_FALSE(VexaCommonUtils_i::checkUnSafeStr("rm"));
    EXPECT_TRUE(VexaCommonUtils_i::checkUnSafeStr("cp"));
  });
}

}  // namespace
