// commutil report: every answer with its sources.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;

TEST(Report, DistinguishesSetUnsetAndEmptyVariables) {
  Deployment deployment;
  deployment.environment["VEXA_DUMP_ALL_LOCKS_FILE"] = "";
  deployment.environment["QORV_ROOT"] = std::nullopt;
  const std::string text = deployment.run({"report"}).out;
  EXPECT_NE(std::string::npos, text.find("  VEXA_DUMP_ALL_LOCKS_FILE  (empty)\n")) << text;
  EXPECT_NE(std::string::npos, text.find("  QORV_ROOT                 (not set)\n")) << text;
  EXPECT_NE(std::string::npos, text.find("  APP_NAME                  inventory\n")) << text;
  const Json::Value environment = deployment.run({"report", "--json"}).json()["environment"];
  for (const std::string name :
       {"COMMON_LIB_PATH", "APP_ROOT", "_APP_SHARE_DIR", "_APP_LOG_DIR", "APP_NAME",
        "APP_CONF_FILE", "VEXA_DUMP_ALL_LOCKS_FILE", "COMMON_SHARE_PATH", "PROCESS_INSTANCE_ID",
        "QORV_ROOT", "SETTINGREST_URL"}) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(environment.isMember(name));
    const auto& value = deployment.environment.at(name);
    EXPECT_EQ(value ? Json::Value(*value) : Json::Value(), environment[name]);
  }
}

/// Returns the answer of `operation` in a report.
Json::Value answerOf(const Json::Value& report, const std::string& operation) {
  for (const Json::Value& answer : report["answers"])
    if (answer["operation"] == operation) return answer;
  ADD_FAILURE() << "no answer of " << operation;
  return {};
}

/// Returns the file `name` in a report.
Json::Value fileOf(const Json::Value& report, const std::string& name) {
  for (const Json::Value& file : report["files"])
    if (file["name"] == name) return file;
  ADD_FAILURE() << "no file " << name;
  return {};
}

TEST(Report, ShowsLocations) {
  const Deployment deployment;
  const ProcessResult result = deployment.run({"report", "--json"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("", result.err);
  const Json::Value report = result.json();
  const struct {
    std::string operation;
    std::string path;
  } rows[] = {{"getAppConfigPath", deployment / "app/conf"},
              {"getCommonConfigPath", deployment / "common/conf"},
              {"getConfigPath", deployment / "common/conf"},
              {"getAPPShareConfigPath", deployment / "share/conf"},
              {"getTracePath", deployment / "logs/trace/"},
              {"getDumpAllLocksFile", "/tmp/lockInfo.dump"}};
  for (const auto& row : rows)
    EXPECT_EQ(row.path, answerOf(report, row.operation)["answer"].asString());
  EXPECT_EQ("libsettingrest.so",
            std::filesystem::path(report["store"]["library"].asString()).filename());
  EXPECT_EQ(deployment / "share/conf/settings.json", report["store"]["document"].asString());
}

TEST(Report, ShowsWhereConfigurationFilesAreAndTheirState) {
  const Deployment deployment;
  deployment.write("share/conf/setting.cfg", "");
  std::filesystem::remove(deployment / "common/conf/secure.cfg");
  const Json::Value report = deployment.run({"report", "--json"}).json();
  const struct {
    std::string name;
    std::string path;
    std::string state;
  } rows[] = {{"setting.cfg", deployment / "share/conf/setting.cfg", "empty"},
              {"svc_ssl.conf", deployment / "common/conf/svc_ssl.conf", "readable"},
              {"secure.cfg", deployment / "common/conf/secure.cfg", "missing"},
              {"application configuration", deployment / "app/conf/inventory.json", "readable"},
              {"nodelists.json", deployment / "cluster/etc/sysconf/nodelists.json", "readable"},
              {"TSSetting.cfg", deployment / "omc/etc/conf/TSSetting.cfg", "readable"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.path, fileOf(report, row.name)["path"].asString());
    EXPECT_EQ(row.state, fileOf(report, row.name)["state"].asString());
  }
}

TEST(Report, ShowsEachAnswerWithWhatDecidedIt) {
  Deployment deployment;
  const Json::Value before = deployment.run({"report", "--json"}).json();
  EXPECT_TRUE(answerOf(before, "isListenAllIp")["answer"].asBool());
  EXPECT_EQ(deployment / "app/conf/setting.cfg",
            answerOf(before, "isListenAllIp")["decidedBy"].asString());
  EXPECT_EQ("store /vexa/common/setting_cfg/inventory/ListenLoopbackIP",
            answerOf(before, "isListenLoopback")["decidedBy"].asString());
  EXPECT_TRUE(answerOf(before, "isCorbaSSLOnly")["answer"].asBool());
  EXPECT_TRUE(answerOf(before, "isTsMode")["answer"].asBool());
  EXPECT_FALSE(answerOf(before, "isZirel")["answer"].asBool());
  EXPECT_TRUE(answerOf(before, "IsGlobalVersion")["answer"].asBool());
  EXPECT_EQ("oracle", answerOf(before, "getDBType")["answer"].asString());
  EXPECT_EQ("SERVER_AND_CLIENT", answerOf(before, "-SSLAuthenticate")["answer"].asString());
  EXPECT_EQ("TLSv1.2,TLSv1.3", answerOf(before, "-SSLVersion")["answer"].asString());
  EXPECT_EQ(2, before["sslMode"].asInt());

  deployment.write("share/conf/settings.json",
                   R"({"/vexa/common/svc_ssl_conf/global/SSLNoProtection": "enable"})");
  deployment.write("app/conf/setting.cfg", "[IP]\nListenAllIp = Enable\n");
  deployment.write("omc/etc/conf/TSSetting.cfg", "[TS]\nts_mode = TRUE\n");
  const Json::Value after = deployment.run({"report", "--json"}).json();
  for (const std::string operation :
       {"isListenAllIp", "isListenLoopback", "isCorbaSSLOnly", "isTsMode"})
    EXPECT_FALSE(answerOf(after, operation)["answer"].asBool()) << operation;
}

TEST(Report, WorksOnAHostWithNothing) {
  Deployment deployment;
  for (auto& [name, value] : deployment.environment) value = std::nullopt;
  // Ends the search for a store before the system's directories, which may have one.
  deployment.write("no_store/libsettingrest.so", "no library");
  deployment.environment["LD_LIBRARY_PATH"] = deployment / "no_store";
  const ProcessResult result = deployment.run({"report", "--json"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("", result.err);
  const Json::Value report = result.json();
  EXPECT_TRUE(report["store"]["library"].isNull());
  EXPECT_EQ("/conf", answerOf(report, "getCommonConfigPath")["answer"].asString());
  EXPECT_EQ("/log/", answerOf(report, "getTracePath")["answer"].asString());
  EXPECT_EQ("/conf/setting.cfg", fileOf(report, "setting.cfg")["path"].asString());
  EXPECT_EQ("/export/home/omc/etc/conf/TSSetting.cfg",
            fileOf(report, "TSSetting.cfg")["path"].asString());
  EXPECT_TRUE(fileOf(report, "nodelists.json")["path"].isNull());
  EXPECT_EQ("sybase", answerOf(report, "getDBType")["answer"].asString());
  EXPECT_TRUE(answerOf(report, "isCorbaSSLOnly")["answer"].asBool());
  EXPECT_FALSE(answerOf(report, "isListenAllIp")["answer"].asBool());
  EXPECT_TRUE(answerOf(report, "GetAllWebswingNodeIPs")["answer"].isNull());
}

TEST(Report, PrintsTheSameAsText) {
  const Deployment deployment;
  const std::string text = deployment.run({"report"}).out;
  for (const std::string& line :
       {"\n  setting.cfg                " + (deployment / "app/conf/setting.cfg") + ": readable\n",
        "\nisListenAllIp = yes       decided by: " + (deployment / "app/conf/setting.cfg") + "\n"})
    EXPECT_NE(std::string::npos, text.find(line)) << line << "\nis not in\n" << text;
}

}  // namespace
