// What commutil leaves to the settings agent, and what it says if that is not installed.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

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

}  // namespace
