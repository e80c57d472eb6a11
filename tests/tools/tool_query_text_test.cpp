// commutil escape.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;

struct Row {
  std::vector<std::string> use;
  std::string oracle;
  std::string sybase;
};

TEST(Escape, FollowsTheConfiguredDatabase) {
  const std::string text = "a_b'c";
  const Row rows[] = {
      {{"--update"}, "a_b''c", "a_b''c"},
      {{"--search"}, "a\\_b'c", "a[_]b'c"},
      {{"--like", "none"}, "'a\\_b''c' escape '\\' ", "'a[_]b''c'"},
      {{"--like", "left"}, "'%a\\_b''c' escape '\\' ", "'%a[_]b''c'"},
      {{"--like", "right"}, "'a\\_b''c%' escape '\\' ", "'a[_]b''c%'"},
      {{"--like", "both"}, "'%a\\_b''c%' escape '\\' ", "'%a[_]b''c%'"},
  };
  const Deployment oracle;
  Deployment sybase;
  sybase.environment["APP_CONF_FILE"] = "";
  for (const Row& row : rows) {
    std::vector<std::string> words{"escape"};
    words.insert(words.end(), row.use.begin(), row.use.end());
    words.push_back(text);
    SCOPED_TRACE(testing::PrintToString(words));
    const ProcessResult result = oracle.run(words);
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(row.oracle + "\n", result.out);
    EXPECT_EQ(row.sybase + "\n", sybase.run(words).out);
    words.emplace_back("--json");
    const Json::Value json = oracle.run(words).json();
    EXPECT_EQ(row.oracle, json["text"].asString());
    EXPECT_EQ("oracle", json["databaseType"].asString());
    EXPECT_EQ("sybase", sybase.run(words).json()["databaseType"].asString());
  }
}

}  // namespace
