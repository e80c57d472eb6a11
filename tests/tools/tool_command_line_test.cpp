// The operator's command: help, version, wrong use and exit codes.
#include <VexaVersion.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using Words = std::vector<std::string>;

const std::vector<Words> kSubcommands{{"report"},
                                      {"explain"},
                                      {"check"},
                                      {"settings"},
                                      {"settings", "show"},
                                      {"settings", "check"},
                                      {"settings", "put"},
                                      {"settings", "delete"},
                                      {"settings", "import"},
                                      {"settings", "export"},
                                      {"ssl-conf"},
                                      {"expand"},
                                      {"escape"},
                                      {"net"},
                                      {"ip"},
                                      {"ip", "normalise"},
                                      {"ip", "check"},
                                      {"ip", "resolve"},
                                      {"mac"},
                                      {"run"},
                                      {"unsafe-word"},
                                      {"check-path"},
                                      {"filename"},
                                      {"filename", "encode"},
                                      {"filename", "decode"},
                                      {"lock"},
                                      {"base64"},
                                      {"base64", "encode"},
                                      {"base64", "decode"},
                                      {"uuid"},
                                      {"timestamp"},
                                      {"help"}};

TEST(CommandLine, EverySubcommandHasHelp) {
  const Deployment deployment;
  for (Words words : kSubcommands) {
    SCOPED_TRACE(testing::PrintToString(words));
    words.emplace_back("--help");
    const ProcessResult result = deployment.run(words);
    EXPECT_EQ(0, result.code);
    EXPECT_EQ("", result.err);
    EXPECT_NE(std::string::npos, result.out.find("Usage: commutil " + words.front()));
    EXPECT_NE(std::string::npos, result.out.find("Exit codes: "));
  }
}

TEST(CommandLine, HelpExplainsJson) {
  const ProcessResult result = Deployment().run({"report", "--help"});
  EXPECT_NE(std::string::npos, result.out.find("bytes that are not UTF-8 are written as \\u00XX"));
}

TEST(CommandLine, HelpNamesEverySubcommand) {
  const ProcessResult result = Deployment().run({"--help"});
  EXPECT_EQ(0, result.code);
  for (const Words& words : kSubcommands)
    EXPECT_NE(std::string::npos, result.out.find("\n  " + words.front() + " ")) << words.front();
}

TEST(CommandLine, PrintsItsVersion) {
  const ProcessResult result = Deployment().run({"--version"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("commutil " VEXA_COMMUTIL_VERSION "\n", result.out);
  EXPECT_EQ("", result.err);
}

const Words kWrongUses[] = {
    {},
    {""},
    {"unknown"},
    {"--unknown"},
    {"report", "--unknown"},
    {"report", "operand"},
    {"report", "report"},
    {"report", "--diff"},
    {"report", "--pid", "0"},
    {"explain", "unknown"},
    {"explain", "--timeout", "0"},
    {"explain", "--timeout", "soon"},
    {"check", "operand"},
    {"check", "--pid", "none"},
    {"expand"},
    {"expand", "text"},
    {"expand", "--syntax", "paren"},
    {"expand", "--syntax", "other", "text"},
    {"expand", "--syntax", "paren", "text", "more"},
    {"escape", "text"},
    {"escape", "--update"},
    {"escape", "--update", "--search", "text"},
    {"escape", "--like", "middle", "text"},
    {"escape", "--like", "both"},
    {"escape", "--update", "--like", "both", "text"},
    {"net", "text"},
    {"ip"},
    {"ip", "check"},
    {"ip", "other", "text"},
    {"mac"},
    {"run"},
    {"run", "--"},
    {"run", "true"},
    {"run", "--unknown", "--", "true"},
    {"check-path", "path"},
    {"check-path", "--base", "base"},
    {"filename"},
    {"filename", "encode"},
    {"filename", "other", "name"},
    {"lock", "--dir", "/lock/", "--", "true"},
    {"lock", "name", "--", "true"},
    {"lock", "name", "--dir", "/lock/"},
    {"lock", "name", "--dir", "/lock/", "--wait", "-1", "--", "true"},
    {"lock", "name", "--dir", "/lock/", "--wait", "soon", "--", "true"},
    {"base64"},
    {"base64", "recode"},
    {"base64", "encode", "text"},
    {"uuid", "text"},
    {"timestamp", "--dts"},
    {"settings"},
    {"settings", "puts"},
    {"settings", "put", "ListenAllIp"},
    {"settings", "put", "ListenAllIp", "enable", "more"},
    {"settings", "put", "ListenAllIp", "enable", "--wait", "soon"},
    {"settings", "put", "ListenAllIp", "enable", "--wait", "-1"},
    {"settings", "delete"},
    {"settings", "check"},
    {"settings", "import"},
    {"settings", "export", "file"},
    {"unsafe-word"},
    {"ssl-conf", "text"},
    {"help", "unknown"},
    {"help", "ip", "unknown"},
    {"help", "report", "more"},
};

TEST(CommandLine, RefusesWrongUse) {
  const Deployment deployment;
  for (const Words& words : kWrongUses) {
    SCOPED_TRACE(testing::PrintToString(words));
    const ProcessResult result = deployment.run(words);
    EXPECT_EQ(2, result.code);
    EXPECT_EQ("", result.out);
    EXPECT_NE("", result.err);
  }
}

TEST(CommandLine, HelpPrintsTheHelpOfASubcommand) {
  const Deployment deployment;
  for (Words words : kSubcommands) {
    Words asked = words;
    asked.insert(asked.begin(), "help");
    words.emplace_back("--help");
    const ProcessResult result = deployment.run(asked);
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(deployment.run(words).out, result.out);
  }
  EXPECT_EQ(deployment.run({"--help"}).out, deployment.run({"help"}).out);
}

TEST(CommandLine, SuggestsCorrectionsOfMistypedWords) {
  const Deployment deployment;
  const struct {
    Words words;
    std::string message;
  } rows[] = {
      {{"reprot"}, "there is no subcommand \"reprot\"; did you mean \"report\"?"},
      {{"Report"}, "there is no subcommand \"Report\"; did you mean \"report\"?"},
      {{"ip", "chek", "1.2.3.4"}, "there is no subcommand \"ip chek\"; did you mean \"ip check\"?"},
      {{"help", "base46"}, "there is no subcommand \"base46\"; did you mean \"base64\"?"},
      {{"frobnicate"}, "there is no subcommand \"frobnicate\""},
      {{""}, "there is no subcommand \"\""},
      {{"report", "--jsn"}, "The following argument was not expected: --jsn; did you mean --json?"},
      {{"ip", "check", "--helf", "x"},
       "The following argument was not expected: --helf; did you mean --help?"},
  };
  for (const auto& row : rows) {
    const ProcessResult result = deployment.run(row.words);
    EXPECT_EQ(2, result.code);
    EXPECT_EQ("commutil: " + row.message + "\n", result.err);
    if (row.words.front() == "help") continue;  // has no --json
    Words json = row.words;
    json.emplace_back("--json");
    const ProcessResult failed = deployment.run(json);
    EXPECT_EQ(2, failed.code);
    EXPECT_EQ("", failed.err);
    EXPECT_EQ(row.message, failed.json()["error"].asString());
  }
}

TEST(CommandLine, SaysWhatAnArgumentTakes) {
  const Deployment deployment;
  const struct {
    Words words;
    std::string message;
  } rows[] = {
      {{}, "a subcommand is required: report, explain, check, "},
      {{"ip"}, "a subcommand is required: normalise, check, resolve\n"},
      {{"--wait", "report"},
       "The following argument was not expected: --wait; options follow the subcommand\n"},
      {{"check", "--timeout", "0"}, "--timeout: \"0\": takes a number from 0.001 to 3600\n"},
      {{"check", "--timeout", "-1"}, "--timeout: \"-1\": takes a number from 0.001 to 3600\n"},
      {{"check", "--timeout", "nan"}, "--timeout: \"nan\": takes a number from 0.001 to 3600\n"},
      {{"check", "--timeout", "1e3"}, "--timeout: \"1e3\": takes a number from 0.001 to 3600\n"},
      {{"check", "--timeout", "0x10"}, "--timeout: \"0x10\": takes a number from 0.001 to 3600\n"},
      {{"check", "--timeout", "3600.1"},
       "--timeout: \"3600.1\": takes a number from 0.001 to 3600\n"},
      {{"check", "--timeout", ""}, "--timeout: \"\": takes a number from 0.001 to 3600\n"},
      {{"check", "--timeout"}, "--timeout lacks its value: --timeout SECONDS\n"},
      {{"check", "--timeout", "1", "--timeout", "2"}, "--timeout is given twice\n"},
      {{"check", "--pid", "1.0"}, "--pid: \"1.0\": takes a whole number from 1 to 2147483647\n"},
      {{"check", "--pid", "2147483648"},
       "--pid: \"2147483648\": takes a whole number from 1 to 2147483647\n"},
      {{"settings", "delete", "ListenAllIp", "--wait", "-1"},
       "--wait: \"-1\": takes a whole number from 0 to 2147483647\n"},
      {{"expand", "--syntax", "square", "text"},
       "--syntax: \"square\": takes paren, percent or brace\n"},
      {{"escape", "--like", "botth", "text"},
       "--like: \"botth\": takes none, left, right or both; did you mean both?\n"},
      {{"escape", "text", "--like"}, "--like lacks its value: --like none|left|right|both\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.message);
    const ProcessResult result = deployment.run(row.words);
    EXPECT_EQ(2, result.code);
    EXPECT_EQ(0U, result.err.rfind("commutil: " + row.message, 0)) << result.err;
  }
}

TEST(CommandLine, FailsWhenItsStandardStreamsAreClosed) {
  const Deployment deployment;
  const auto run = [&](const std::string& line) {
    return commutil_test::runProcess({"/bin/sh", "-c", "exec \"$0\" " + line, deployment.tool()},
                                     deployment.environment);
  };
  for (const std::string words : {"report", "uuid --json", "help", "--version"}) {
    SCOPED_TRACE(words);
    const ProcessResult result = run(words + " >&-");
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("commutil: standard output cannot be written\n", result.err);
    EXPECT_EQ(1, run(words + " >&- 2>&-").code);
  }
  const ProcessResult input = run("base64 encode <&-");
  EXPECT_EQ(1, input.code);
  EXPECT_EQ("commutil: standard input cannot be read\n", input.err);
}

TEST(CommandLine, FailsWhenItsOutputCannotBeWritten) {
  const Deployment deployment;
  const ProcessResult result = deployment.runInto("/dev/full", {"report"});
  EXPECT_EQ(1, result.code);
  EXPECT_EQ("commutil: standard output cannot be written\n", result.err);
}

}  // namespace
