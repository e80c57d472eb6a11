// What commutil leaves to the settings agent, and what it says if that is not installed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "settings_snapshot/snapshot.h"
#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using commutil_test::runProcess;

/// Runs a copy of the command that has no agent beside it.
ProcessResult runAlone(const Deployment& deployment, std::vector<std::string> words) {
  const std::string directory = deployment / "alone/bin";
  std::filesystem::create_directories(directory);
  std::filesystem::copy(Deployment::tool(), directory,
                        std::filesystem::copy_options::overwrite_existing);
  words.insert(words.begin(), {directory + "/commutil", "settings"});
  return runProcess(words, deployment.environment);
}

TEST(SettingsAgent, IsNamedIfItIsNotInstalled) {
  const Deployment deployment;
  for (const char* const name : {"sync", "status", "diff", "wait", "raise-epoch"}) {
    const ProcessResult result = runAlone(deployment, {name, "--json", "any", "words"});
    EXPECT_EQ(1, result.code) << name;
    EXPECT_NE(std::string::npos, result.out.find("install the package commutil-settings"))
        << result.out << result.err;
  }
}

TEST(SettingsAgent, WritesOnlyIfAClusterIsConfigured) {
  Deployment deployment;
  const std::string file = deployment.write("settings.conf", "[relay]\nsource = https://r\n");
  deployment.environment["COMMUTIL_SETTINGS_CONF"] = file;
  EXPECT_EQ(0, runAlone(deployment, {"put", "ListenAllIp", "enable"}).code);
  deployment.write("settings.conf", "#[cluster]\n");
  EXPECT_EQ(0, runAlone(deployment, {"delete", "ListenAllIp"}).code);
  deployment.write("settings.conf", "[cluster]\n");
  const ProcessResult put = runAlone(deployment, {"put", "ListenAllIp", "enable"});
  EXPECT_EQ(1, put.code);
  EXPECT_EQ(
      "commutil: settings put needs commutil-settings; install the package commutil-settings\n",
      put.err);
  EXPECT_EQ(0, runAlone(deployment, {"export"}).code) << "reads what services read";
  EXPECT_EQ(0, runAlone(deployment, {"put", "--help"}).code);
}

TEST(SettingsAgent, WritesIfItsConfigurationIsNamed) {
  const Deployment deployment;
  for (const std::string option : {"--config=any", "--config"}) {
    const ProcessResult put = runAlone(deployment, {"put", "ListenAllIp", "enable", option, "any"});
    EXPECT_EQ(1, put.code);
    EXPECT_EQ(
        "commutil: settings put needs commutil-settings; install the package commutil-settings\n",
        put.err);
  }
  EXPECT_EQ(0, runAlone(deployment, {"put", "ListenAllIp", "enable"}).code);
}

TEST(SettingsAgent, GetsTheCommandLine) {
  const Deployment deployment;
  const ProcessResult result = deployment.run({"settings", "status", "--max-ag", "1s"});
  EXPECT_EQ(2, result.code);
  EXPECT_NE(std::string::npos, result.err.find("commutil-settings: error: ")) << result.err;
  EXPECT_NE(std::string::npos, result.err.find("did you mean --max-age?")) << result.err;
}

TEST(SettingsAgent, NamesWhatACommandLineLacks) {
  const Deployment deployment;
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"put", "ListenAllIp", "--config=any"}, "VALUE is required\n"},
      {{"import", "--config=any"}, "FILE is required\n"},
      {{"wait"}, "--revision is required\n"},
      {{"status", "--max-age", "1x"},
       "--max-age: \"1x\": takes a duration such as 100ms, 2s, 15m or 24h\n"},
  };
  for (const auto& [words, message] : rows) {
    std::vector<std::string> line{"settings"};
    line.insert(line.end(), words.begin(), words.end());
    const ProcessResult result = deployment.run(line);
    EXPECT_EQ(2, result.code) << message;
    EXPECT_EQ("commutil-settings: error: " + message, result.err);
  }
}

TEST(SettingsAgent, SaysEachReasonOnALineOfItsOwn) {
  const Deployment deployment;
  const std::string configuration = deployment.write(
      "settings.conf", "[cluster]\nendpoints = http://127.0.0.1:1,http://127.0.0.1:2\n");
  const std::string document = deployment.write(
      "site.json", "{\"/vexa/common/setting_cfg/global/ListenAllIp\": \"x\",\n\"/vexa/y\": \"z\"}");
  const ProcessResult import =
      deployment.run({"settings", "import", document, "--config", configuration});
  EXPECT_EQ(1, import.code);
  EXPECT_THAT(import.err,
              testing::MatchesRegex("commutil-settings: error: .*site.json:1:49: .*\n"
                                    "commutil-settings: error: .*site.json:2:12: .*\n"
                                    "commutil-settings: error: nothing was written .*\n"));
  const ProcessResult refused = runProcess(
      {Deployment::tool(), "settings", "delete", "ListenAllIp", "--config", configuration},
      deployment.environment);
  EXPECT_EQ(1, refused.code);
  EXPECT_THAT(refused.err,
              testing::MatchesRegex("commutil-settings: error: no member of the cluster .*:\n"
                                    "commutil-settings: error: http://127.0.0.1:.: .*\n"
                                    "commutil-settings: error: http://127.0.0.1:.: .*\n"));
}

TEST(SettingsAgent, StatusBeforeTheFirstSnapshotSaysWhyThereIsNone) {
  const Deployment deployment;
  const std::string snapshot = deployment / "state/settings.snap";
  const std::string configuration = deployment.write(
      "settings.conf",
      "[relay]\nsource = http://127.0.0.1:1\n[snapshot]\npath = " + snapshot + "\n");
  EXPECT_EQ(1, deployment.run({"settings", "sync", "--once", "--config", configuration}).code);
  const ProcessResult missing = deployment.run({"settings", "status", "--config", configuration});
  EXPECT_EQ(1, missing.code);
  EXPECT_THAT(missing.out, testing::HasSubstr(snapshot + ": No such file or directory"));
  EXPECT_THAT(missing.out, testing::HasSubstr("; the agent: http://127.0.0.1:1/: "));
  EXPECT_THAT(missing.out, testing::Not(testing::HasSubstr("verified")));
  EXPECT_THAT(missing.out, testing::Not(testing::HasSubstr("ageSeconds")));
  settings::writeSnapshot(snapshot, {});
  const ProcessResult other = deployment.run({"settings", "status", "--config", configuration});
  EXPECT_EQ(1, other.code);
  EXPECT_THAT(other.out,
              testing::HasSubstr("no agent has verified the snapshot: http://127.0.0.1:1/: "));
}

TEST(SettingsAgent, HelpOfWritesIsThatOfTheClusterIfOneIsConfigured) {
  Deployment deployment;
  const auto hasDryRun = [&] {
    const ProcessResult result = deployment.run({"settings", "put", "--help"});
    EXPECT_EQ(0, result.code) << result.err;
    return result.out.find("--dry-run") != std::string::npos;
  };
  EXPECT_FALSE(hasDryRun()) << "a document has none";
  deployment.environment["COMMUTIL_SETTINGS_CONF"] =
      deployment.write("settings.conf", "[cluster]\n");
  EXPECT_TRUE(hasDryRun());
}

TEST(SettingsAgent, HelpListsTheOptionsOfTheProgramThatIsStarted) {
  const Deployment deployment;
  for (const ProcessResult& result :
       {runAlone(deployment, {"sync", "--help"}), deployment.run({"settings", "sync", "--help"})}) {
    EXPECT_EQ(0, result.code);
    EXPECT_THAT(result.out, testing::HasSubstr("--allow-empty"));
    EXPECT_THAT(result.out, testing::HasSubstr("Starts commutil-settings(1)."));
  }
}

}  // namespace
