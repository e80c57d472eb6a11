// commutil check-path and filename.
#include <gtest/gtest.h>

#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;

TEST(CheckPath, ReturnsTheResultAsItsExitCode) {
  const Deployment deployment;
  const struct {
    std::string path;
    std::string base;
    bool accepted;
  } rows[] = {
      {"/opt/app/x", "/opt/app", true},
      {"/opt/application/x", "/opt/app", false},
      {"/opt/app/../x", "/opt/app", false},
      {"C:\\data\\x", "C:/data", true},
      {"/anywhere", "", true},
      {"/a/..", "", false},
      {"", "", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    const ProcessResult result = deployment.run({"check-path", row.path, "--base", row.base});
    EXPECT_EQ(row.accepted ? 0 : 1, result.code);
    EXPECT_EQ(row.accepted ? "accepted  yes\n" : "accepted  no\n", result.out);
    EXPECT_EQ(row.accepted, deployment.run({"check-path", "--json", row.path, "--base", row.base})
                                .json()["accepted"]
                                .asBool());
  }
}

TEST(Filename, MapsBothWays) {
  const Deployment deployment;
  const struct {
    std::string name;
    std::string fileName;
  } rows[] = {
      {"a:b/c^", "a^cb^bc^^"},
      {"plain name", "plain name"},
      {"\\/:*?\"<>|^", "^a^b^c^d^e^f^g^h^i^^"},
      {"", ""},
      {"\xff\n", "\xff\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.fileName + "\n", deployment.run({"filename", "encode", row.name}).out);
    const ProcessResult decoded = deployment.run({"filename", "decode", row.fileName});
    EXPECT_EQ(0, decoded.code);
    EXPECT_EQ(row.name + "\n", decoded.out);
  }
  EXPECT_EQ("a:b", deployment.run({"filename", "decode", "a^cb", "--json"}).json()["name"]);
}

}  // namespace
