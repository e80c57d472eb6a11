// commutil unsafe-word.
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <linux/capability.h>

#include <filesystem>
#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;

constexpr const char* kList = "common/conf/secure.cfg";

TEST(UnsafeWord, NamesTheWordAndItsLine) {
  const Deployment deployment;
  const struct {
    std::string text;
    std::string word;
    int line;
  } rows[] = {
      {"do rm -rf /", "rm -rf", 4},
      {"$(id)", "$(", 5},
      {"a/../b", "../", 6},
      {"rm -r", "", 0},
      {"RM -RF", "", 0},
      {"", "", 0},
      {"../$(rm -rf", "rm -rf", 4},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const bool safe = row.word.empty();
    const ProcessResult result = deployment.run({"unsafe-word", row.text});
    EXPECT_EQ(safe ? 0 : 1, result.code);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(safe ? "no unsafe word\n"
                   : "unsafe word \"" + row.word + "\": " + (deployment / kList) + ":" +
                         std::to_string(row.line) + "\n",
              result.out);
    const Json::Value json = deployment.run({"unsafe-word", "--json", row.text}).json();
    EXPECT_EQ(safe, json["safe"].asBool());
    EXPECT_EQ(deployment / kList, json["file"].asString());
    EXPECT_EQ(safe ? Json::Value() : Json::Value(row.word), json["word"]);
    EXPECT_EQ(safe ? Json::Value() : Json::Value(row.line), json["line"]);
  }
}

TEST(UnsafeWord, AcceptsEveryStringWithoutAList) {
  const Deployment deployment;
  std::filesystem::remove(deployment / kList);
  const ProcessResult result = deployment.run({"unsafe-word", "rm -rf"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("no unsafe word: " + (deployment / kList) +
                ": missing; without the list every string is safe\n",
            result.out);
  EXPECT_EQ("file open fail, " + (deployment / kList) + "\n", result.err);
}

TEST(UnsafeWord, SaysThatAListIsNotAFile) {
  const Deployment deployment;
  std::filesystem::remove(deployment / kList);
  ASSERT_EQ(0, ::mkfifo((deployment / kList).c_str(), 0600));
  const ProcessResult result = deployment.run({"unsafe-word", "rm -rf"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("no unsafe word: " + (deployment / kList) +
                ": a FIFO, not a regular file; without the list every string is safe\n",
            result.out);
  EXPECT_EQ("a FIFO, not a regular file",
            deployment.run({"unsafe-word", "--json", "rm -rf"}).json()["state"].asString());
}

TEST(UnsafeWord, NamesTheUserWhoMayNotReadTheList) {
  const Deployment deployment;
  ASSERT_EQ(0, ::chmod((deployment / kList).c_str(), 0));
  commutil_test::runInChild([&] {
    ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
    ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
    EXPECT_EQ("no unsafe word: " + (deployment / kList) +
                  ": not readable by user root (mode 0000, owner root); without the list every "
                  "string is safe\n",
              deployment.run({"unsafe-word", "rm -rf"}).out);
  });
}

TEST(UnsafeWord, UsesTheLibrarysList) {
  const Deployment deployment;
  deployment.write(kList,
                   "[unsafeword]\na = one\n[UnsafeWord]\nempty =\na = two\n[Other]\nb = three\n"
                   "[UnsafeWord]\nc = four\n");
  EXPECT_EQ(0, deployment.run({"unsafe-word", "one three"}).code);
  EXPECT_EQ("unsafe word \"four\": " + (deployment / kList) + ":9\n",
            deployment.run({"unsafe-word", "four"}).out);
}

}  // namespace
