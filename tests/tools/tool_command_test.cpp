// commutil run.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
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

TEST(Run, DistinguishesAProgramThatCannotBeStartedFromItsExitCode) {
  Deployment deployment;
  deployment.write("bin/plain", "");
  deployment.write("bin/script", "#!/nosuch/interpreter\n");
  std::filesystem::permissions(deployment / "bin/script", std::filesystem::perms::owner_all);
  ASSERT_EQ(0, ::mkfifo((deployment / "bin/pipe").c_str(), 0700));
  deployment.environment["PATH"] = deployment / "bin:/usr/bin:/bin";
  const struct {
    std::string program;
    int code;
    std::string message;
  } rows[] = {
      {"nosuch", 127, "nosuch: not found in the directories of PATH"},
      {"/nosuch", 127, "/nosuch: No such file or directory"},
      {"/etc/passwd/nosuch", 127, "/etc/passwd/nosuch: Not a directory"},
      {"plain", 126, (deployment / "bin/plain") + ": Permission denied"},
      {"/etc", 126, "/etc: not a regular file"},
      {"pipe", 126, (deployment / "bin/pipe") + ": not a regular file"},
      {deployment / "bin/script", 127,
       (deployment / "bin/script") +
           ": its interpreter /nosuch/interpreter: No such file or directory"},
  };
  for (const auto& row : rows) {
    const ProcessResult result = deployment.run({"run", "--", row.program});
    EXPECT_EQ(row.code, result.code);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("commutil: " + row.message + "\n", result.err);
    const ProcessResult json = deployment.run({"run", "--json", "--", row.program});
    EXPECT_EQ(row.code, json.code);
    EXPECT_EQ("", json.err);
    EXPECT_EQ(row.message, json.json()["error"].asString());
  }
  // The library reports such programs with these exit codes.
  EXPECT_EQ("exitCode  2\n", deployment.run({"run", "--", "sh", "-c", "exit 2"}).out);
  EXPECT_EQ("exitCode  13\n", deployment.run({"run", "--", "sh", "-c", "exit 13"}).out);
}

TEST(Run, FindsAProgramAfterOneThatCannotBeStarted) {
  Deployment deployment;
  deployment.write("bin/true", "");
  deployment.environment["PATH"] = deployment / "bin:/usr/bin:/bin";
  EXPECT_EQ(0, deployment.run({"run", "--", "true"}).code);
}

TEST(Run, NamesAProgramByItsPathWithoutAnEnvironment) {
  const ProcessResult result = Deployment().run({"run", "--clean-env", "--", "sh", "-c", "exit 0"});
  EXPECT_EQ(127, result.code);
  EXPECT_EQ("commutil: sh: No such file or directory\n", result.err);
}

TEST(Run, PassesEveryWordUnchanged) {
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

TEST(Run, PassesTheEnvironmentOrNone) {
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
