// commutil ssl-conf and expand.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using commutil_test::readFile;

constexpr const char* kTemplate = "common/conf/svc_ssl.conf";

std::string expected(const Deployment& deployment) {
  std::string text = readFile(deployment / kTemplate);
  text.insert(text.find("trust_ca.pem\"") + 12,
              "\n-SSLAuthenticate SERVER_AND_CLIENT\n-SSLVersion TLSv1.2,TLSv1.3");
  return text;
}

TEST(SslConf, GeneratesTheFileAndPrintsItsPath) {
  const Deployment deployment;
  const std::string path = deployment / "share/svc_ssl_7.conf";
  const ProcessResult result = deployment.run({"ssl-conf"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("", result.err);
  EXPECT_EQ(path + "\n", result.out);
  EXPECT_EQ(expected(deployment), readFile(path));
  struct stat status {};
  ASSERT_EQ(0, ::stat(path.c_str(), &status));
  EXPECT_EQ(0640U, status.st_mode & 07777U);
}

TEST(SslConf, ShowsTheText) {
  const Deployment deployment;
  const std::string path = deployment / "share/svc_ssl_7.conf";
  EXPECT_EQ(path + "\n" + expected(deployment) + "\n", deployment.run({"ssl-conf", "--show"}).out);
  const Json::Value json = deployment.run({"ssl-conf", "--show", "--json"}).json();
  EXPECT_EQ(path, json["path"].asString());
  EXPECT_EQ(expected(deployment), json["text"].asString());
  EXPECT_FALSE(deployment.run({"ssl-conf", "--json"}).json().isMember("text"));
}

TEST(SslConf, FailsWithoutATemplate) {
  const Deployment deployment;
  std::filesystem::remove(deployment / kTemplate);
  for (const std::string format : {"--json", "--show"}) {
    const ProcessResult result = deployment.run({"ssl-conf", format});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("commutil: the SSL option file cannot be generated from " + (deployment / kTemplate) +
                  "; can it be read, and is _APP_SHARE_DIR writable?\n",
              result.err);
  }
}

TEST(SslConf, FailsForATemplateThatTakesNoOptions) {
  const Deployment deployment;
  for (const std::string text : {"static Resource_Factory -ORBProtocolFactory\n",
                                 "static Resource_Factory \"-ORBProtocolFactory\"\n",
                                 "static Resource_Factory \"-SSL\" -SSLCAfile ca.pem\n"}) {
    deployment.write(kTemplate, text);
    const ProcessResult result = deployment.run({"ssl-conf"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("commutil: the template " + (deployment / kTemplate) +
                  " needs a double quote behind -SSLCAfile\n",
              result.err);
  }
}

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
