// commutil expand.
#include <gtest/gtest.h>

#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;

TEST(Expand, ReplacesReferences) {
  const Deployment deployment;
  const struct {
    std::string syntax;
    std::string text;
    std::string result;
  } rows[] = {
      {"paren", "a$(APP_NAME)b", "ainventoryb"},
      {"paren", "a${APP_NAME}b", "a${APP_NAME}b"},
      {"percent", "%APP_NAME%", "inventory"},
      {"brace", "${APP_NAME}/$(APP_NAME)", "inventory/$(APP_NAME)"},
      {"brace", "${NOT_SET_ANYWHERE}", "${NOT_SET_ANYWHERE}"},
      {"brace", "", ""},
      {"brace", "[a,b]", "[a,b]"},
      {"brace", "report", "report"},
      {"brace", "two\nlines", "two\nlines"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const ProcessResult result = deployment.run({"expand", "--syntax", row.syntax, row.text});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(row.result + "\n", result.out);
    EXPECT_EQ(row.result, deployment.run({"expand", "--json", "--syntax", row.syntax, row.text})
                              .json()["text"]
                              .asString());
  }
  EXPECT_EQ("-x inventory\n",
            deployment.run({"expand", "--syntax", "brace", "--", "-x ${APP_NAME}"}).out);
}

}  // namespace
