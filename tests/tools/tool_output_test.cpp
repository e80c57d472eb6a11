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

}  // namespace
