// commutil settings show, check, import and export.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using commutil_test::readFile;
using Words = std::vector<std::string>;

constexpr const char* kDocument = "share/conf/settings.json";

ProcessResult settings(const Deployment& deployment, Words words, const std::string& input = "") {
  words.insert(words.begin(), "settings");
  return deployment.run(words, input);
}

TEST(SettingsShow, PrintsOneSetting) {
  const Deployment deployment;
  const struct {
    Words words;
    std::string value;
  } rows[] = {
      {{"ListenAllIp"}, "disable"},
      {{"ListenLoopbackIP", "--app", "inventory"}, "enable"},
      {{"/vexa/common/svc_ssl_conf/global/SSLAuthenticate"}, "SERVER"},
      {{"vexa/common/svc_ssl_conf/inventory/SSLAuthenticate"}, "SERVER_AND_CLIENT"},
  };
  for (const auto& row : rows) {
    Words words = row.words;
    words.insert(words.begin(), "show");
    EXPECT_EQ(row.value + "\n", settings(deployment, words).out);
    words.emplace_back("--json");
    const Json::Value json = settings(deployment, words).json();
    ASSERT_EQ(1U, json["settings"].size());
    EXPECT_EQ(row.value, json["settings"][0]["value"].asString());
  }
  const ProcessResult missing = settings(deployment, {"show", "SSLNoProtection"});
  EXPECT_EQ(1, missing.code);
  EXPECT_EQ("", missing.out);
  EXPECT_EQ("commutil: /vexa/common/svc_ssl_conf/global/SSLNoProtection is not set\n", missing.err);
}

TEST(SettingsShow, PrintsAGroup) {
  const Deployment deployment;
  const std::string group = "/vexa/common/setting_cfg/global/";
  EXPECT_EQ(group + "ListenAllIp       disable\n" + group + "ListenLoopbackIP  disable\n",
            settings(deployment, {"show", group}).out);
  const Json::Value json = settings(deployment, {"show", group, "--json"}).json()["settings"];
  ASSERT_EQ(2U, json.size());
  EXPECT_EQ(group + "ListenAllIp", json[0]["key"].asString());
  EXPECT_EQ("disable", json[0]["value"].asString());
  const ProcessResult missing = settings(deployment, {"show", "/vexa/nosuch/"});
  EXPECT_EQ(1, missing.code);
  EXPECT_EQ("commutil: /vexa/nosuch/ is not set\n", missing.err);
}

TEST(SettingsShow, PrintsWhatTheLibraryReads) {
  Deployment deployment;
  const std::string text = settings(deployment, {"show"}).out;
  const auto expect = [&](const std::string& key, const std::string& value) {
    const std::size_t at = text.find("/vexa/common/" + key + " ");
    ASSERT_NE(std::string::npos, at) << key << text;
    const std::string row = text.substr(at, text.find('\n', at) - at);
    EXPECT_EQ(value, row.substr(row.rfind("  ") + 2));
  };
  expect("setting_cfg/inventory/ListenAllIp", "(not set)");
  expect("setting_cfg/global/ListenAllIp", "disable");
  expect("svc_ssl_conf/inventory/SSLAuthenticate", "SERVER_AND_CLIENT");
  expect("svc_ssl_conf/global/SSLVersion", "TLSv1.2,TLSv1.3");
  EXPECT_EQ(10U, settings(deployment, {"show", "--json"}).json()["settings"].size());
  EXPECT_NE(std::string::npos,
            settings(deployment, {"show", "--app", "gateway"}).out.find("/gateway/ListenAllIp "));
  deployment.environment["APP_NAME"] = std::nullopt;
  EXPECT_EQ(5U, settings(deployment, {"show", "--json"}).json()["settings"].size());
}

TEST(SettingsShow, ReadsThroughAnyStore) {
  Deployment deployment;
  deployment.environment["LD_LIBRARY_PATH"] = COMMUTIL_OTHER_STORE_DIR;
  EXPECT_EQ("elsewhere\n", settings(deployment, {"show", "ListenAllIp"}).out);
  EXPECT_EQ("/a/group  /a/\n/a/other  elsewhere\n", settings(deployment, {"show", "/a/"}).out);
  deployment.environment["LD_LIBRARY_PATH"] = std::nullopt;
  for (const Words& words : {Words{"show"}, Words{"show", "ListenAllIp"}, Words{"show", "/a/"}}) {
    const ProcessResult result = settings(deployment, words);
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("", result.out);
    EXPECT_EQ(0U, result.err.find("commutil: there is no settings store: libsettingrest.so: "))
        << result.err;
  }
}

TEST(SettingsShow, SaysWhyTheStoreHasNoSettings) {
  const Deployment deployment;
  const std::string key = "/vexa/common/setting_cfg/global/ListenAllIp";
  deployment.write(kDocument, "{");
  const std::string problem = deployment / kDocument;
  const auto expect = [&](const std::string& reason) {
    const ProcessResult result = settings(deployment, {"show", "ListenAllIp"});
    EXPECT_EQ(1, result.code);
    EXPECT_NE(std::string::npos,
              result.err.find("commutil: " + key + " is not set: " + problem + reason))
        << result.err;
  };
  expect(":1:2: ");
  std::filesystem::remove(problem);
  ASSERT_EQ(0, ::mkfifo(problem.c_str(), 0600));
  expect(": not a regular file\n");
  std::filesystem::remove(problem);
  deployment.write(kDocument, "{}");
  EXPECT_EQ("commutil: " + key + " is not set\n",
            settings(deployment, {"show", "ListenAllIp"}).err);
}

TEST(SettingsCheck, RefusesAFileOver64MiB) {
  const Deployment deployment;
  deployment.write("large.json", "{}");
  std::filesystem::resize_file(deployment / "large.json", std::uintmax_t{1} << 30);
  for (const std::string command : {"check", "import"}) {
    const ProcessResult result = settings(deployment, {command, deployment / "large.json"});
    EXPECT_EQ(1, result.code);
    EXPECT_EQ("commutil: " + (deployment / "large.json") +
                  ": 1024 MiB, over 64 MiB: not read; check whether it is the right file\n",
              result.err);
  }
}

TEST(SettingsCheck, AcceptsTheSampleDeployment) {
  const Deployment deployment;
  const std::string path = deployment / kDocument;
  const ProcessResult result = settings(deployment, {"check", path});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ(path + ": 6 settings, all accepted\n", result.out);
  const ProcessResult input = settings(deployment, {"check", "-"}, readFile(path));
  EXPECT_EQ(0, input.code);
  EXPECT_EQ("-: 6 settings, all accepted\n", input.out);
}

TEST(SettingsCheck, NamesEveryProblemWithItsPlace) {
  const Deployment deployment;
  const std::string path = deployment.write("bad.json",
                                            "\n{\"vexa\": {\"common\": {\"setting_cfg\": {\n"
                                            "  \"global\": {\"ListenAllIp\": \"Enabled\"},\n"
                                            "  \"gateway\": {\"ListenLoopbackIp\": \"enable\",\n"
                                            "    \"ListenAllIp\": [1]}}}},\n"
                                            " \"/elsewhere\": true}\n");
  const ProcessResult result = settings(deployment, {"check", path});
  EXPECT_EQ(1, result.code);
  EXPECT_EQ(path +
                ":3:29: /vexa/common/setting_cfg/global/ListenAllIp: \"Enabled\": takes enable or "
                "disable; did you mean enable?\n" +
                path +
                ":4:35: /vexa/common/setting_cfg/gateway/ListenLoopbackIp: \"enable\": is not "
                "a setting of the library; did you mean "
                "/vexa/common/setting_cfg/gateway/ListenLoopbackIP?\n" +
                path +
                ":5:20: /vexa/common/setting_cfg/gateway/ListenAllIp: an array or null: the "
                "store has no setting here\n" +
                path + ":6:16: /elsewhere: \"true\": is not a setting of the library\n",
            result.out);
  const Json::Value json = settings(deployment, {"check", path, "--json"}).json();
  EXPECT_EQ(4, json["settings"].asInt());
  ASSERT_EQ(4U, json["problems"].size());
  const Json::Value first = json["problems"][0];
  EXPECT_EQ(3, first["line"].asInt());
  EXPECT_EQ(29, first["column"].asInt());
  EXPECT_EQ("takes enable or disable", first["problem"].asString());
  EXPECT_EQ("enable", first["suggestion"].asString());
  EXPECT_TRUE(json["problems"][2]["value"].isNull());
}

TEST(SettingsCheck, NamesTheFileThatItCannotRead) {
  const Deployment deployment;
  const std::string path = deployment.write("bad.json", "{\"a\": \"b\"\n");
  const ProcessResult malformed = settings(deployment, {"check", path});
  EXPECT_EQ(1, malformed.code);
  EXPECT_EQ(0U, malformed.err.find("commutil: " + path + ":2:1: ")) << malformed.err;
  EXPECT_EQ("commutil: " + (deployment / "nosuch: No such file or directory\n"),
            settings(deployment, {"check", deployment / "nosuch"}).err);
  EXPECT_EQ("commutil: /dev: not a regular file\n", settings(deployment, {"check", "/dev"}).err);
}

const std::string kPut = R"({"/vexa/common/setting_cfg/global/ListenAllIp": "enable",
                             "/vexa/common/svc_ssl_conf/global/SSLVersion": "TLSv1.3"})";
const std::string kPutChanges =
    "  /vexa/common/setting_cfg/global/ListenAllIp  \"disable\" -> \"enable\"\n"
    "  /vexa/common/svc_ssl_conf/global/SSLVersion  \"TLSv1.2,TLSv1.3\" -> \"TLSv1.3\"\n";

TEST(SettingsImport, SetsWhatTheFileHasAndKeepsTheRest) {
  const Deployment deployment;
  const std::string path = deployment.write("new.json", kPut);
  const ProcessResult result = settings(deployment, {"import", path});
  EXPECT_EQ(0, result.code);
  EXPECT_EQ((deployment / kDocument) + "\n" + kPutChanges, result.out);
  EXPECT_EQ("enable\n", settings(deployment, {"show", "ListenAllIp"}).out);
  EXPECT_EQ("disable\n", settings(deployment, {"show", "ListenLoopbackIP"}).out);
  const ProcessResult again = settings(deployment, {"import", "-"}, kPut);
  EXPECT_EQ(0, again.code);
  EXPECT_EQ((deployment / kDocument) + ": unchanged\n", again.out);
}

TEST(SettingsImport, OnlyPrintsWithDryRun) {
  const Deployment deployment;
  const std::string before = readFile(deployment / kDocument);
  const ProcessResult result = settings(deployment, {"import", "-", "--dry-run"}, kPut);
  EXPECT_EQ(0, result.code);
  EXPECT_EQ((deployment / kDocument) + ": would change\n" + kPutChanges, result.out);
  EXPECT_EQ(before, readFile(deployment / kDocument));
  EXPECT_FALSE(std::filesystem::exists(deployment / (std::string(kDocument) + ".lock")));
  const Json::Value json =
      settings(deployment, {"import", "-", "--dry-run", "--json"}, kPut).json();
  EXPECT_FALSE(json["written"].asBool());
  EXPECT_EQ(2U, json["changes"].size());
}

TEST(SettingsImport, RemovesWhatTheFileLacksWithPrune) {
  const Deployment deployment;
  EXPECT_EQ(0, settings(deployment, {"import", "-", "--prune"}, kPut).code);
  EXPECT_EQ(
      "{\n  \"/vexa/common/setting_cfg/global/ListenAllIp\": \"enable\",\n"
      "  \"/vexa/common/svc_ssl_conf/global/SSLVersion\": \"TLSv1.3\"\n}\n",
      settings(deployment, {"export"}).out);
  const ProcessResult refused = settings(deployment, {"import", "-", "--prune"}, "{}");
  EXPECT_EQ(1, refused.code);
  EXPECT_EQ("commutil: - has no settings: --prune would delete all (--force does)\n", refused.err);
  EXPECT_EQ(0, settings(deployment, {"import", "-", "--prune", "--force"}, "{}").code);
  EXPECT_EQ("{}\n", settings(deployment, {"export"}).out);
}

TEST(SettingsImport, RefusesWhatTheLibraryDoesNotAccept) {
  const Deployment deployment;
  const std::string before = readFile(deployment / kDocument);
  const std::string bad =
      "{\"/vexa/common/setting_cfg/global/ListenAllIp\": \"on\",\n \"/x\": \"y\"}";
  const ProcessResult refused = settings(deployment, {"import", "-"}, bad);
  EXPECT_EQ(1, refused.code);
  EXPECT_EQ("", refused.out);
  EXPECT_EQ(
      "commutil: -:1:49: /vexa/common/setting_cfg/global/ListenAllIp: \"on\": takes enable or "
      "disable\ncommutil: -:2:8: /x: \"y\": is not a setting of the library\n"
      "commutil: nothing was written (--force writes it)\n",
      refused.err);
  EXPECT_EQ(before, readFile(deployment / kDocument));
  EXPECT_EQ(0, settings(deployment, {"import", "-", "--force"}, bad).code);
  EXPECT_EQ("y\n", settings(deployment, {"show", "/x"}).out);
}

TEST(SettingsExport, PrintsTheDocumentThatImportTakes) {
  const Deployment deployment;
  deployment.write(
      kDocument,
      "{\"a\": {\"latin\": \"\xe9\", \"zero\": \"\\u0000\", \"n\": 1.50, \"none\": null},\n"
      " \"a//b\": \"two\\nlines \\\\ \\\"\", \"empty\": \"\"}");
  const ProcessResult exported = settings(deployment, {"export"});
  EXPECT_EQ(0, exported.code);
  EXPECT_EQ(
      "{\n  \"/a//b\": \"two\\u000alines \\\\ \\\"\",\n  \"/a/latin\": \"\xe9\",\n"
      "  \"/a/n\": \"1.50\",\n  \"/a/zero\": \"\\u0000\",\n  \"/empty\": \"\"\n}\n",
      exported.out);
  deployment.write(kDocument, "{}");
  EXPECT_EQ(0, settings(deployment, {"import", "-", "--force"}, exported.out).code);
  EXPECT_EQ(exported.out, settings(deployment, {"export"}).out);
}

TEST(SettingsImport, TakesManySettings) {
  const Deployment deployment;
  std::string document = "{";
  for (int i = 0; i < 2000; ++i)
    document += (i == 0 ? "" : ",") + ("\"/vexa/common/setting_cfg/app" + std::to_string(i)) +
                "/ListenAllIp\": \"enable\"";
  document += "}";
  deployment.write(kDocument, "{}");
  EXPECT_EQ(0, settings(deployment, {"import", "-"}, document).code);
  EXPECT_EQ("enable\n", settings(deployment, {"show", "ListenAllIp", "--app", "app1999"}).out);
  EXPECT_EQ(0, settings(deployment, {"import", "-", "--prune"}, kPut).code);
}

}  // namespace
