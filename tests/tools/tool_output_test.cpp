// The output of the operator's command: byte for byte, or as JSON that any reader accepts.
#include <gtest/gtest.h>

#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;

std::string jsonOf(const std::string& text) {
  return "{\n  \"schema\" : 1,\n  \"text\" : \"" + text + "\"\n}\n";
}

TEST(Output, WritesBytesThatAreNotUtf8ByNumber) {
  const struct {
    std::string text;
    std::string json;
  } rows[] = {
      {"plain", "plain"},
      {"", ""},
      {"quote\" back\\ line\n", R"(quote\" back\\ line\n)"},
      {"\x01\x1f\x7f", "\\u0001\\u001f\x7f"},
      {"\xc3\xa9", "\\u00e9"},
      {"\xe9", "\\u00e9"},
      {"\xe2\x82\xac", "\\u20ac"},
      {"\xf0\x9f\x98\x80", "\\ud83d\\ude00"},
      {"\xf4\x8f\xbf\xbf", "\\udbff\\udfff"},
      {"\x80 \xbf", "\\u0080 \\u00bf"},
      {"\xc0\x80", "\\u00c0\\u0080"},
      {"\xc1\xbf", "\\u00c1\\u00bf"},
      {"\xc3", "\\u00c3"},
      {"\xc3(", "\\u00c3("},
      {"\xe0\x80\x80", "\\u00e0\\u0080\\u0080"},
      {"\xe0\xa0\x80", "\\u0800"},
      {"\xed\xa0\x80", "\\u00ed\\u00a0\\u0080"},
      {"\xed\x9f\xbf", "\\ud7ff"},
      {"\xee\x80\x80", "\\ue000"},
      {"\xe2\x82", "\\u00e2\\u0082"},
      {"\xe2\x82z", "\\u00e2\\u0082z"},
      {"\xf0\x80\x80\x80", "\\u00f0\\u0080\\u0080\\u0080"},
      {"\xf4\x90\x80\x80", "\\u00f4\\u0090\\u0080\\u0080"},
      {"\xf5\xff\xfe", "\\u00f5\\u00ff\\u00fe"},
      {"a\xff\xc3\xa9z", "a\\u00ff\\u00e9z"},
  };
  const Deployment deployment;
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.text));
    const ProcessResult json = deployment.run({"expand", "--syntax", "paren", "--json", row.text});
    EXPECT_EQ(0, json.code);
    EXPECT_EQ(jsonOf(row.json), json.out);
    EXPECT_EQ(row.text + "\n", deployment.run({"expand", "--syntax", "paren", row.text}).out);
  }
}

TEST(Output, KeepsControlCharactersOutOfTrees) {
  Deployment deployment;
  deployment.environment["APP_NAME"] = "a\nb\x1b[31m\x7f\xff";
  const ProcessResult text = deployment.run({"report"});
  EXPECT_NE(std::string::npos,
            text.out.find("  APP_NAME                  a\\x0ab\\x1b[31m\\x7f\xff\n"))
      << text.out;
  EXPECT_EQ("a\nb\x1b[31m\x7f\u00ff",
            deployment.run({"report", "--json"}).json()["environment"]["APP_NAME"].asString());
}

// An escape sequence, a control sequence introducer as a character and as a byte, a mark that turns
// the direction of writing, and a character that is none of these.
const std::string kHostile = "\x1b[31m\xc2\x9b\x9b\xe2\x80\xae\xc3\xa9";
const std::string kHarmless = "\\x1b[31m\\xc2\\x9b\\x9b\\xe2\\x80\\xae\xc3\xa9";

TEST(Output, IsByteForByteForAnotherProgramAndHarmlessOnATerminal) {
  const Deployment deployment;
  const std::vector<std::string> words{"expand", "--syntax", "paren", kHostile + "\tand"};
  EXPECT_EQ(kHostile + "\tand\n", deployment.run(words).out);
  std::vector<std::string> line = words;
  line.insert(line.begin(), Deployment::tool());
  commutil_test::TerminalRun run(line, deployment.environment);
  const std::string shown = run.finish().out;
  EXPECT_EQ(0U, shown.find(kHarmless)) << testing::PrintToString(shown);
}

TEST(Output, KeepsControlCharactersOutOfMessages) {
  const Deployment deployment;
  const std::string name = "a\n" + kHostile;
  const std::string shown = "a\\x0a" + kHarmless;
  const std::string file = deployment.write(name, "{\"/x\": \"y\"}");
  const std::vector<std::string> lines[] = {
      {"explain", name},
      {name},
      {"report", "--diff", name},
      {"settings", "show", name},
      {"settings", "put", "ListenAllIp", name},
      {"settings", "put", "ListenAllIp", "enable", "--app", name + "/"},
      {"settings", "import", file},
      {"settings", "check", file},
      {"settings", "check", name},
      {"expand", "--syntax", name, "text"},
      {"ip", "normalise", name},
      {"lock", "name", "--dir", name, "--", "true"},
      {"run", "--", name},
  };
  for (const std::vector<std::string>& words : lines) {
    SCOPED_TRACE(testing::PrintToString(words));
    const ProcessResult result = deployment.run(words);
    const std::string all = result.out + result.err;
    EXPECT_NE(0, result.code);
    EXPECT_EQ(std::string::npos, all.find('\x1b')) << testing::PrintToString(all);
    EXPECT_NE(std::string::npos, all.find(shown)) << all;
  }
}

TEST(Output, KeepsControlCharactersOutOfTheSslConfiguration) {
  const Deployment deployment;
  deployment.write("common/conf/svc_ssl.conf", "# " + kHostile + "\nstatic F \"-SSLCAfile ca\"\n");
  const ProcessResult shown = deployment.run({"ssl-conf"});
  EXPECT_EQ(std::string::npos, shown.out.find('\x1b'));
  EXPECT_NE(std::string::npos, shown.out.find("# " + kHarmless + "\n")) << shown.out;
  EXPECT_NE(std::string::npos, deployment.run({"ssl-conf", "--show"}).out.find(kHostile));
}

}  // namespace
