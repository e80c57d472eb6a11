// commutil report: every answer with its sources.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;

TEST(Report, TellsSetUnsetAndEmptyVariablesApart) {
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

TEST(Report, ShowsLocations) {
  const Deployment deployment;
  const ProcessResult result = deployment.run({"report", "--json"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("", result.err);
  const Json::Value paths = result.json()["paths"];
  EXPECT_EQ(deployment / "app/conf", paths["applicationConfig"].asString());
  EXPECT_EQ(deployment / "common/conf", paths["commonConfig"].asString());
  EXPECT_EQ(deployment / "common/conf", paths["config"].asString());
  EXPECT_EQ(deployment / "share/conf", paths["shareConfig"].asString());
  EXPECT_EQ(deployment / "logs/trace/", paths["trace"].asString());
  EXPECT_EQ("/tmp/lockInfo.dump", paths["lockDump"].asString());
  EXPECT_EQ("libsettingrest.so",
            std::filesystem::path(paths["settingsLibrary"].asString()).filename());
}

TEST(Report, ShowsWhereConfigurationFilesAre) {
  const Deployment deployment;
  deployment.write("share/conf/setting.cfg", "");
  std::filesystem::remove(deployment / "common/conf/secure.cfg");
  std::filesystem::remove(deployment / "omc/etc/conf/TSSetting.cfg");
  const Json::Value files = deployment.run({"report", "--json"}).json()["configurationFiles"];
  EXPECT_EQ(deployment / "share/conf/setting.cfg", files["found"]["setting.cfg"].asString());
  EXPECT_EQ(deployment / "common/conf/svc_ssl.conf", files["found"]["svc_ssl.conf"].asString());
  EXPECT_EQ(deployment / "app/conf/inventory.json", files["found"]["APP_CONF_FILE"].asString());
  EXPECT_EQ(deployment / "cluster/etc/sysconf/nodelists.json",
            files["found"]["nodelists.json"].asString());
  EXPECT_EQ(deployment / "common/conf/secure.cfg", files["missing"]["secure.cfg"].asString());
  EXPECT_EQ(deployment / "omc/etc/conf/TSSetting.cfg",
            files["missing"]["TSSetting.cfg"].asString());
  EXPECT_EQ(2U, files["missing"].size());
}

TEST(Report, ShowsEachSwitchWithItsSources) {
  Deployment deployment;
  const Json::Value before = deployment.run({"report", "--json"}).json();
  Json::Value row = before["switches"]["isListenAllIp"];
  EXPECT_TRUE(row["answer"].asBool());
  EXPECT_EQ(deployment / "app/conf/setting.cfg", row["configurationFile"].asString());
  EXPECT_EQ("/vexa/common/setting_cfg/inventory/ListenAllIp", row["applicationKey"].asString());
  EXPECT_TRUE(row["applicationValue"].isNull());
  EXPECT_EQ("/vexa/common/setting_cfg/global/ListenAllIp", row["globalKey"].asString());
  EXPECT_EQ("disable", row["globalValue"].asString());
  row = before["switches"]["isListenLoopback"];
  EXPECT_TRUE(row["answer"].asBool());
  EXPECT_EQ("enable", row["applicationValue"].asString());
  EXPECT_EQ("disable", row["globalValue"].asString());
  row = before["switches"]["isCorbaSSLOnly"];
  EXPECT_TRUE(row["answer"].asBool());
  EXPECT_EQ("/vexa/common/svc_ssl_conf/inventory/SSLNoProtection",
            row["applicationKey"].asString());
  EXPECT_FALSE(row.isMember("configurationFile"));
  EXPECT_TRUE(before["switches"]["isTsMode"]["answer"].asBool());
  EXPECT_EQ(deployment / "omc/etc/conf/TSSetting.cfg",
            before["switches"]["isTsMode"]["configurationFile"].asString());
  EXPECT_FALSE(before["switches"]["isZirel"]["answer"].asBool());
  EXPECT_EQ("/etc/os-release", before["switches"]["isZirel"]["configurationFile"].asString());
  EXPECT_TRUE(before["switches"]["isGlobalVersion"]["answer"].asBool());
  EXPECT_EQ("oracle", before["databaseType"]["answer"].asString());
  EXPECT_EQ(2, before["sslOptions"]["mode"].asInt());
  EXPECT_EQ("SERVER_AND_CLIENT",
            before["sslOptions"]["SSLAuthenticate"]["applicationValue"].asString());
  EXPECT_EQ("TLSv1.2,TLSv1.3", before["sslOptions"]["SSLVersion"]["globalValue"].asString());

  deployment.write("share/conf/settings.json",
                   R"({"/vexa/common/svc_ssl_conf/global/SSLNoProtection": "enable"})");
  deployment.write("app/conf/setting.cfg", "[IP]\nListenAllIp = Enable\n");
  deployment.write("omc/etc/conf/TSSetting.cfg", "[TS]\nts_mode = TRUE\n");
  const Json::Value after = deployment.run({"report", "--json"}).json()["switches"];
  EXPECT_FALSE(after["isListenAllIp"]["answer"].asBool());
  EXPECT_FALSE(after["isListenLoopback"]["answer"].asBool());
  EXPECT_FALSE(after["isCorbaSSLOnly"]["answer"].asBool());
  EXPECT_EQ("enable", after["isCorbaSSLOnly"]["globalValue"].asString());
  EXPECT_FALSE(after["isTsMode"]["answer"].asBool());
}

TEST(Report, WorksOnAHostWithNothing) {
  Deployment deployment;
  for (auto& [name, value] : deployment.environment) value = std::nullopt;
  // The search for a store ends here: one may be installed on the system.
  deployment.write("no_store/libsettingrest.so", "no library");
  deployment.environment["LD_LIBRARY_PATH"] = deployment / "no_store";
  const ProcessResult result = deployment.run({"report", "--json"});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ("", result.err);
  const Json::Value report = result.json();
  EXPECT_TRUE(report["paths"]["settingsLibrary"].isNull());
  EXPECT_EQ("/conf", report["paths"]["commonConfig"].asString());
  EXPECT_EQ("/log/", report["paths"]["trace"].asString());
  EXPECT_EQ("/conf/setting.cfg", report["configurationFiles"]["missing"]["setting.cfg"].asString());
  EXPECT_EQ("/export/home/omc/etc/conf/TSSetting.cfg",
            report["switches"]["isTsMode"]["configurationFile"].asString());
  EXPECT_EQ("sybase", report["databaseType"]["answer"].asString());
  EXPECT_TRUE(report["switches"]["isCorbaSSLOnly"]["answer"].asBool());
  EXPECT_FALSE(report["switches"]["isListenAllIp"]["answer"].asBool());
}

TEST(Report, PrintsTheSameInText) {
  const Deployment deployment;
  const std::string text = deployment.run({"report"}).out;
  EXPECT_NE(std::string::npos, text.find("\n  isListenAllIp\n"
                                         "    answer             yes\n"
                                         "    applicationKey     /vexa/common/setting_cfg/"
                                         "inventory/ListenAllIp\n"
                                         "    applicationValue   (not set)\n"))
      << text;
  EXPECT_NE(std::string::npos, text.find("\n  missing (none)\n")) << text;
}

}  // namespace
