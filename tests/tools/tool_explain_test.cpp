// commutil explain: an answer, what decided it, and every source.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;

std::string store(const std::string& parameter, const std::string& value) {
  return "{\"/vexa/common/setting_cfg/global/" + parameter + "\": \"" + value + "\"}";
}

TEST(Explain, ShowsEverySourceInOrder) {
  const Deployment deployment;
  deployment.write("app/conf/setting.cfg", "# addresses\n\n[Ip]\n");
  deployment.write("share/conf/settings.json", store("ListenAllIp", "Enabled"));
  const ProcessResult result = deployment.run({"explain", "ListenAllIp"});
  EXPECT_EQ(0, result.code);
  const std::string file = deployment / "app/conf/setting.cfg";
  const std::string application = "store /vexa/common/setting_cfg/inventory/ListenAllIp";
  const std::string global = "store /vexa/common/setting_cfg/global/ListenAllIp";
  const std::size_t width = std::max(file.size(), application.size()) + 3;
  const auto padded = [&](const std::string& place) {
    return place + std::string(width - place.size(), ' ');
  };
  EXPECT_EQ("isListenAllIp = no        decided by: no source says \"enable\"\n  1 " + padded(file) +
                "readable; no section [IP]; line 3 has [Ip]: names are case-sensitive\n  2 " +
                padded(application) + "not set\n  3 " + padded(global) +
                "\"Enabled\": not \"enable\" or \"disable\", counts as off; did you mean enable?\n",
            result.out);
}

TEST(Explain, NamesTheDecidingSource) {
  Deployment deployment;
  const struct {
    std::string name;
    std::string first;
  } rows[] = {
      {"isListenAllIp",
       "isListenAllIp = yes       decided by: " + (deployment / "app/conf/setting.cfg") + "\n"},
      {"ListenLoopbackIP",
       "isListenLoopback = yes    decided by: store "
       "/vexa/common/setting_cfg/inventory/ListenLoopbackIP\n"},
      {"SSLNoProtection",
       "isCorbaSSLOnly = yes      decided by: the default: no source has a value\n"},
      {"ts_mode", "isTsMode = yes            decided by: " +
                      (deployment / "omc/etc/conf/TSSetting.cfg") + "\n"},
      {"isZirel", "isZirel = no              decided by: no line is NAME=\"ZirelOS\"\n"},
      {"databaseType",
       "getDBType = oracle        decided by: " + (deployment / "app/conf/inventory.json") + "\n"},
      {"SSLAuthenticate",
       "-SSLAuthenticate = SERVER_AND_CLIENT  decided by: store "
       "/vexa/common/svc_ssl_conf/inventory/SSLAuthenticate\n"},
      {"setting.cfg", "getConfFile setting.cfg = " + (deployment / "app/conf/setting.cfg") +
                          "  decided by: the first that exists\n"},
      {"tracedir", "getTracePath = " + (deployment / "logs/trace/") +
                       "  decided by: " + (deployment / "app/conf/setting.cfg") + "\n"},
      {"getDumpAllLocksFile",
       "getDumpAllLocksFile = /tmp/lockInfo.dump  decided by: the default\n"},
      {"clusterNodes", "GetAllWebswingNodeIPs = 10.20.1.1, fe80::20:1:1, 10.20.1.3  decided by: " +
                           (deployment / "cluster/etc/sysconf/nodelists.json") + "\n"},
      {"unsafeWords", "checkUnSafeStr = rm -rf, $(, ../  decided by: " +
                          (deployment / "common/conf/secure.cfg") + "\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const ProcessResult result = deployment.run({"explain", row.name});
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(row.first, result.out.substr(0, result.out.find('\n') + 1));
  }
}

TEST(Explain, TakesSeveralNamesAndAllWithoutOne) {
  const Deployment deployment;
  EXPECT_EQ(
      2U,
      deployment.run({"explain", "--json", "isTsMode", "ListenAllIp"}).json()["answers"].size());
  EXPECT_LT(15U, deployment.run({"explain", "--json"}).json()["answers"].size());
}

TEST(Explain, SuggestsANameForAMistypedOne) {
  const Deployment deployment;
  const ProcessResult result = deployment.run({"explain", "ListenAllIP"});
  EXPECT_EQ(2, result.code);
  EXPECT_NE(std::string::npos, result.err.find("did you mean ListenAllIp?")) << result.err;
  EXPECT_NE(std::string::npos,
            deployment.run({"explain", "something"})
                .err.find("nothing to explain is named something; commutil explain lists"));
}

TEST(Explain, PrintsJson) {
  const Deployment deployment;
  const ProcessResult result = deployment.run({"explain", "--json", "ListenAllIp"});
  EXPECT_EQ(0, result.code);
  const Json::Value document = result.json();
  EXPECT_EQ(1, document["schema"].asInt());
  const Json::Value answer = document["answers"][0];
  EXPECT_EQ("ListenAllIp", answer["name"].asString());
  EXPECT_EQ("isListenAllIp", answer["operation"].asString());
  EXPECT_TRUE(answer["answer"].asBool());
  EXPECT_EQ(deployment / "app/conf/setting.cfg", answer["decidedBy"].asString());
  EXPECT_TRUE(answer["error"].isNull());
  ASSERT_EQ(3U, answer["sources"].size());
  const Json::Value source = answer["sources"][0];
  EXPECT_EQ(1, source["order"].asInt());
  EXPECT_EQ(deployment / "app/conf/setting.cfg", source["place"].asString());
  EXPECT_EQ("enable", source["value"].asString());
  EXPECT_TRUE(source["decides"].asBool());
  EXPECT_TRUE(answer["sources"][1]["value"].isNull());
  EXPECT_EQ("disable", answer["sources"][2]["value"].asString());
  EXPECT_FALSE(answer["sources"][2]["decides"].asBool());
}

TEST(Explain, WritesNothing) {
  const Deployment deployment;
  for (const std::string command : {"explain", "check", "report"}) deployment.run({command});
  EXPECT_FALSE(std::filesystem::exists(deployment / "share/svc_ssl_7.conf"));
  EXPECT_FALSE(std::filesystem::exists(deployment / "logs"));
}

TEST(Explain, KeepsControlCharactersOut) {
  const Deployment deployment;
  deployment.write("app/conf/setting.cfg", "[IP]\nListenAllIp = a\x1b[31mb\n");
  const std::string text = deployment.run({"explain", "ListenAllIp"}).out;
  EXPECT_NE(std::string::npos, text.find("\"a\\x1b[31mb\"")) << text;
}

}  // namespace
