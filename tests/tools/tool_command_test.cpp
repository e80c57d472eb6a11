// commutil run.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using commutil_test::readFile;
using Words = std::vector<std::string>;

TEST(Run, PrintsTheDecodedExitCode) {
  const Deployment deployment;
  const struct {
    Words command;
    int code;
  } rows[] = {
      {{"true"}, 0},
      {{"sh", "-c", "exit 3"}, 3},
      {{"sh", "-c", "exit 255"}, 255},
      {{"sh", "-c", "kill -9 $$"}, 4},
  };
  for (const auto& row : rows) {
    Words words{"run", "--"};
    words.insert(words.end(), row.command.begin(), row.command.end());
    const ProcessResult result = deployment.run(words);
    EXPECT_EQ(row.code == 0 ? 0 : 1, result.code);
    EXPECT_EQ("exitCode  " + std::to_string(row.code) + "\n", result.out);
    EXPECT_EQ("", result.err);
    words.insert(words.begin() + 1, "--json");
    EXPECT_EQ(row.code, deployment.run(words).json()["exitCode"].asInt());
  }
}

TEST(Run, PassesEveryWordAsItIs) {
  const Deployment deployment;
  const std::string out = deployment / "words";
  Words words{"run", "--", "sh", "-c", "for w in \"$@\"; do printf %s: \"$w\"; done >\"$0\"", out};
  const Words passed{"plain",  "",   "two words", "[a,b]", "it's", "a\"b", "\"", "'",
                     "--json", "--", "#x",        "\\",    "a\tb", "a\nb", "%s", "$HOME"};
  std::string expected;
  for (const std::string& word : passed) {
    words.push_back(word);
    expected += word + ":";
  }
  EXPECT_EQ(0, deployment.run(words).code);
  EXPECT_EQ(expected, readFile(out));
}

TEST(Run, RefusesAWordThatCannotBePassed) {
  const ProcessResult result = Deployment().run({"run", "--", "echo", "'\""});
  EXPECT_EQ(1, result.code);
  EXPECT_EQ("", result.out);
  EXPECT_EQ("commutil: a word with both kinds of quotes cannot be passed: '\"\n", result.err);
}

TEST(Run, GivesTheEnvironmentOrNone) {
  const Deployment deployment;
  const std::string out = deployment / "name";
  const Words command{"--", "/bin/sh", "-c", "printf %s \"$APP_NAME\" >\"$0\"", out};
  Words words{"run"};
  words.insert(words.end(), command.begin(), command.end());
  EXPECT_EQ(0, deployment.run(words).code);
  EXPECT_EQ("inventory", readFile(out));
  words.insert(words.begin() + 1, "--clean-env");
  EXPECT_EQ(0, deployment.run(words).code);
  EXPECT_EQ("", readFile(out));
}

}  // namespace
