// commutil ssl-conf: shows what it would write, and writes only on request.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using commutil_test::readFile;
using commutil_test::TerminalRun;
using Words = std::vector<std::string>;

constexpr const char* kTemplate = "common/conf/svc_ssl.conf";
constexpr const char* kTarget = "share/svc_ssl_7.conf";
constexpr const char* kDocument = "share/conf/settings.json";

std::string expected(const Deployment& deployment) {
  std::string text = readFile(deployment / kTemplate);
  text.insert(text.find("trust_ca.pem\"") + 12,
              "\n-SSLAuthenticate SERVER_AND_CLIENT\n-SSLVersion TLSv1.2,TLSv1.3");
  return text;
}

bool exists(const Deployment& deployment) { return std::filesystem::exists(deployment / kTarget); }

TEST(SslConf, ShowsWhatWouldBeWrittenAndWritesNothing) {
  const Deployment deployment;
  const ProcessResult result = deployment.run({"ssl-conf"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("", result.err);
  const std::string head = (deployment / kTarget) + ": would be written from " +
                           (deployment / kTemplate) +
                           "\ninserted:\n"
                           "  -SSLAuthenticate SERVER_AND_CLIENT    from store "
                           "/vexa/common/svc_ssl_conf/inventory/SSLAuthenticate\n"
                           "  -SSLVersion TLSv1.2,TLSv1.3    from store "
                           "/vexa/common/svc_ssl_conf/global/SSLVersion\n"
                           "difference:\n--- " +
                           (deployment / kTemplate) + "\n+++ " + (deployment / kTarget) + "\n@@ ";
  EXPECT_EQ(head, result.out.substr(0, head.size()));
  EXPECT_NE(std::string::npos, result.out.find("\n+-SSLAuthenticate SERVER_AND_CLIENT\n"));
  const std::string text = "text:\n" + expected(deployment);
  EXPECT_EQ(text, result.out.substr(result.out.find("text:\n")));
  EXPECT_FALSE(exists(deployment));
  EXPECT_EQ(expected(deployment), deployment.run({"ssl-conf", "--show"}).out);
  EXPECT_FALSE(exists(deployment));
}

TEST(SslConf, SaysWhyItCannotWrite) {
  const Deployment deployment;
  std::filesystem::create_directory(deployment / kTarget);
  const ProcessResult shown = deployment.run({"ssl-conf"});
  EXPECT_EQ(1, shown.code);
  EXPECT_EQ("commutil: --write would fail: a directory is there\n", shown.err);
  EXPECT_NE(std::string::npos, shown.out.find("\n--- " + (deployment / kTemplate) + "\n"));
  const ProcessResult written = deployment.run({"ssl-conf", "--write"});
  EXPECT_EQ(1, written.code);
  EXPECT_EQ("commutil: " + (deployment / kTarget) + ": cannot be written: a directory is there\n",
            written.err);
  const Deployment other;
  std::filesystem::remove_all(other / "share");
  EXPECT_EQ("commutil: --write would fail: " + (other / "share") + ": missing\n",
            other.run({"ssl-conf"}).err);
}

TEST(SslConf, WritesWhatItHasShown) {
  const Deployment deployment;
  const std::string shown = deployment.run({"ssl-conf", "--show"}).out;
  const ProcessResult result = deployment.run({"ssl-conf", "--write"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("", result.err);
  EXPECT_EQ(0U, result.out.find((deployment / kTarget) + ": written from "));
  EXPECT_EQ(shown, readFile(deployment / kTarget));
  EXPECT_EQ(0640U, commutil_test::modeOf(deployment / kTarget));
  EXPECT_NE(std::string::npos, deployment.run({"ssl-conf"}).out.find("\ndifference: none\n"));
}

TEST(SslConf, ShowsTheDifferenceFromTheFileThatIsThere) {
  const Deployment deployment;
  ASSERT_EQ(0, deployment.run({"ssl-conf", "--write"}).code);
  const std::string before = readFile(deployment / kTarget);
  ASSERT_EQ(0, deployment.run({"settings", "put", "SSLVersion", "TLSv1.3"}).code);
  const ProcessResult result = deployment.run({"ssl-conf"});
  EXPECT_NE(std::string::npos,
            result.out.find("difference:\n--- " + (deployment / kTarget) + "\n+++ " +
                            (deployment / kTarget) + "\n@@ -3,6 +3,6 @@\n"))
      << result.out;
  EXPECT_NE(std::string::npos, result.out.find("\n--SSLVersion TLSv1.2,TLSv1.3\"\n"
                                               "+-SSLVersion TLSv1.3\"\n \n static"))
      << result.out;
  EXPECT_EQ(before, readFile(deployment / kTarget));
}

TEST(SslConf, PredictsWhatTheLibraryWrites) {
  const std::string templates[] = {
      "x \"-SSLCAfile a\"\n",
      "x \"-SSLCAfile a\" \"b\"",
      "\"-SSLVersion 1 -SSLCAfile a\"\n",
      "\"-SSLCAfile\"",
      "# -SSLNoProtection\n\"-SSLCAfile a -SSLAuthenticate X\"\n",
      "-SSLAuthenticate -SSLVersion -SSLNoProtection",  // takes nothing, needs no quote
  };
  const std::string documents[] = {
      "{}",
      R"({"/vexa/common/svc_ssl_conf/global/SSLNoProtection": "enable"})",
      R"({"/vexa/common/svc_ssl_conf/inventory": {"SSLVersion": "", "SSLAuthenticate": "NONE"},
          "/vexa/common/svc_ssl_conf/global/SSLVersion": "TLSv1.3"})",
  };
  const Deployment deployment;
  for (const std::string& text : templates) {
    for (const std::string& document : documents) {
      SCOPED_TRACE(text + document);
      deployment.write(kTemplate, text);
      deployment.write(kDocument, document);
      const ProcessResult shown = deployment.run({"ssl-conf", "--show"});
      EXPECT_EQ(0, shown.code) << shown.err;
      EXPECT_EQ(0, deployment.run({"ssl-conf", "--write"}).code);
      EXPECT_EQ(shown.out, readFile(deployment / kTarget));
    }
  }
}

TEST(SslConf, NamesTheDefaultAsASource) {
  const Deployment deployment;
  deployment.write(kDocument, "{}");
  const Json::Value inserted = deployment.run({"ssl-conf", "--json"}).json()["inserted"];
  ASSERT_EQ(2U, inserted.size());
  EXPECT_EQ("-SSLAuthenticate NONE", inserted[0]["line"].asString());
  EXPECT_EQ("the default: no source has a value", inserted[0]["source"].asString());
}

struct Refusal {
  std::string reason;  // the start of the first one
  std::function<void(Deployment&)> fault;
};

const std::string kOption = "store /vexa/common/svc_ssl_conf/global/";

const Refusal kRefusals[] = {
    {"_APP_SHARE_DIR is not set", [](Deployment& d) { d.environment["_APP_SHARE_DIR"] = ""; }},
    {"PROCESS_INSTANCE_ID is not set",
     [](Deployment& d) { d.environment["PROCESS_INSTANCE_ID"] = std::nullopt; }},
    {"the settings store: ", [](Deployment& d) { d.write(kDocument, "{\n"); }},
    {"the settings store cannot be loaded: ",
     [](Deployment& d) { d.environment["LD_LIBRARY_PATH"] = std::nullopt; }},
    {kOption + "SSLVersion: \"TLSv1.1\": takes a comma-separated list of TLSv1.2 and TLSv1.3",
     [](Deployment& d) {
       d.write(kDocument, R"({"/vexa/common/svc_ssl_conf/global/SSLVersion": "TLSv1.1"})");
     }},
    {kOption + "SSLAuthenticate: \"Server\": takes NONE, SERVER or SERVER_AND_CLIENT",
     [](Deployment& d) {
       d.write(kDocument, R"({"/vexa/common/svc_ssl_conf/global/SSLAuthenticate": "Server"})");
     }},
    {kOption + "SSLNoProtection: \"Enabled\": takes enable or disable",
     [](Deployment& d) {
       d.write(kDocument, R"({"/vexa/common/svc_ssl_conf/global/SSLNoProtection": "Enabled"})");
     }},
};

TEST(SslConf, NamesAStoreThatHangsOnce) {
  Deployment deployment;
  deployment.environment["LD_LIBRARY_PATH"] = COMMUTIL_HANGING_STORE_DIR;
  const ProcessResult result = deployment.run({"ssl-conf", "--write"});
  EXPECT_EQ(1, result.code);
  EXPECT_EQ(
      "commutil: not written: the settings store: no answer within 2 s (6 lookups) "
      "(--force writes it)\n",
      result.err);
}

TEST(SslConf, RefusesToWriteWithTheReason) {
  for (const Refusal& row : kRefusals) {
    SCOPED_TRACE(row.reason);
    Deployment deployment;
    deployment.write(kTarget, "the old file");
    row.fault(deployment);
    const ProcessResult shown = deployment.run({"ssl-conf"});
    EXPECT_EQ(1, shown.code);
    EXPECT_NE(std::string::npos, shown.err.find("commutil: --write would refuse: " + row.reason))
        << shown.err;
    const ProcessResult refused = deployment.run({"ssl-conf", "--write"});
    EXPECT_EQ(1, refused.code);
    EXPECT_EQ("", refused.out);
    EXPECT_NE(std::string::npos, refused.err.find("commutil: not written: " + row.reason))
        << refused.err;
    EXPECT_EQ("the old file", readFile(deployment / kTarget));
    const Json::Value json = deployment.run({"ssl-conf", "--json"}).json();
    EXPECT_FALSE(json["written"].asBool());
    EXPECT_EQ(0U, json["refusals"][0].asString().find(row.reason));
  }
}

TEST(SslConf, WritesWithForceWhatItRefuses) {
  for (const Refusal& row : kRefusals) {
    if (row.reason.find("is not set") != std::string::npos) continue;  // another file
    SCOPED_TRACE(row.reason);
    Deployment deployment;
    deployment.write(kTarget, "the old file");
    row.fault(deployment);
    const std::string shown = deployment.run({"ssl-conf", "--show"}).out;
    EXPECT_EQ(0, deployment.run({"ssl-conf", "--write", "--force"}).code);
    EXPECT_EQ(shown, readFile(deployment / kTarget));
  }
  Deployment deployment;
  deployment.environment["PROCESS_INSTANCE_ID"] = std::nullopt;
  EXPECT_EQ(0, deployment.run({"ssl-conf", "--write", "--force"}).code);
  EXPECT_TRUE(std::filesystem::exists(deployment / "share/svc_ssl_.conf"));
}

TEST(SslConf, KeepsTheOldFileWhenTheTemplateCannotBeUsed) {
  const Deployment deployment;
  deployment.write(kTarget, "the old file");
  const auto refuse = [&](const std::string& reason) {
    for (const Words& words : {Words{"ssl-conf"}, Words{"ssl-conf", "--write", "--force"},
                               Words{"ssl-conf", "--show"}}) {
      const ProcessResult result = deployment.run(words);
      EXPECT_EQ(1, result.code);
      EXPECT_EQ("", result.out);
      EXPECT_EQ("commutil: the template " + (deployment / kTemplate) + ": " + reason + "\n",
                result.err);
    }
    EXPECT_EQ("the old file", readFile(deployment / kTarget));
  };
  deployment.write(kTemplate, "static Resource_Factory -ORBProtocolFactory\n");
  refuse("it has no -SSLCAfile");
  deployment.write(kTemplate, "static Resource_Factory \"-SSL\"\n-SSLCAfile ca.pem\n");
  refuse("no double quote follows -SSLCAfile in line 2");
  std::filesystem::remove(deployment / kTemplate);
  refuse("missing");
}

TEST(SslConf, ColorsTheDifferenceOnATerminalOnly) {
  Deployment deployment;
  deployment.environment["TERM"] = "xterm";
  deployment.environment["NO_COLOR"] = std::nullopt;
  const auto onTerminal = [&] {
    return TerminalRun({Deployment::tool(), "ssl-conf"}, deployment.environment).finish().out;
  };
  const std::string line = "+-SSLAuthenticate SERVER_AND_CLIENT";
  EXPECT_NE(std::string::npos, onTerminal().find("\033[32m" + line + "\033[0m\r\n"));
  EXPECT_EQ(std::string::npos, deployment.run({"ssl-conf"}).out.find('\033'));
  deployment.environment["NO_COLOR"] = "1";
  EXPECT_EQ(std::string::npos, onTerminal().find('\033'));
  EXPECT_NE(std::string::npos, onTerminal().find(line));
}

}  // namespace
