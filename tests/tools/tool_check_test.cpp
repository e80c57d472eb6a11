// commutil check: exit codes, formats, and that it never hangs.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using commutil_test::TerminalRun;

/// A deployment without faults.
class SoundDeployment : public Deployment {
 public:
  SoundDeployment() { std::filesystem::create_directory(*this / "logs"); }
};

TEST(Check, FindsNothingInASoundDeployment) {
  const SoundDeployment deployment;
  const ProcessResult result = deployment.run({"check"});
  EXPECT_EQ(0, result.code) << result.out;
  EXPECT_EQ("", result.err);
  EXPECT_NE(std::string::npos, result.out.find("\n0 errors, 0 warnings, ")) << result.out;
  const ProcessResult quiet = deployment.run({"check", "--quiet"});
  EXPECT_EQ(0, quiet.code);
  EXPECT_EQ("", quiet.out);
}

TEST(Check, CoversEveryTheme) {
  const SoundDeployment deployment;
  const std::string text = deployment.run({"check"}).out;
  for (const std::string line :
       {"ok       APP_NAME: inventory\n",
        "ok       VEXA_DUMP_ALL_LOCKS_FILE: not set: \"/tmp/lockInfo.dump\"\n",
        "/share: writable: locks and the SSL option file can be written\n",
        "/share/svc_ssl_7.conf: can be generated\n", "ok       libsettingrest.so: /",
        "ok       lookups: 10, each took ", "/share/conf/settings.json: 6 settings\n",
        "ok       /sbin/ifconfig: executable\n",
        "ok       locale: ", "ok       cached: a running service keeps "})
    EXPECT_NE(std::string::npos, text.find(line)) << line << "\nis not in\n" << text;
}

TEST(Check, ReturnsTheWorstResultAsItsExitCode) {
  SoundDeployment deployment;
  deployment.environment["APP_NAME"] = std::nullopt;
  EXPECT_EQ(1, deployment.run({"check", "--quiet"}).code);
  std::filesystem::remove(deployment / "app/conf/inventory.json");
  const ProcessResult result = deployment.run({"check", "--quiet"});
  EXPECT_EQ(2, result.code);
  EXPECT_EQ(std::string::npos, result.out.find("ok  ")) << result.out;
}

TEST(Check, PrintsJson) {
  SoundDeployment deployment;
  deployment.environment["APP_NAME"] = std::nullopt;
  const ProcessResult result = deployment.run({"check", "--json", "--quiet"});
  EXPECT_EQ(1, result.code);
  const Json::Value document = result.json();
  EXPECT_EQ(1, document["schema"].asInt());
  EXPECT_EQ("warning", document["status"].asString());
  const Json::Value first = document["checks"][0];
  EXPECT_EQ("warning", first["status"].asString());
  EXPECT_EQ("environment", first["theme"].asString());
  EXPECT_EQ("APP_NAME", first["subject"].asString());
  EXPECT_EQ("not set: empty: keys with \"//\"", first["message"].asString());
  EXPECT_EQ("set it to a name without \"/\"", first["remedy"].asString());
}

TEST(Check, NamesAMissingLocale) {
  SoundDeployment deployment;
  deployment.environment["LC_ALL"] = "xx_XX.UTF-8";
  const ProcessResult result = deployment.run({"check", "--quiet"});
  EXPECT_EQ(1, result.code);
  EXPECT_EQ(
      "warning  locale: LC_ALL=xx_XX.UTF-8 is not installed: conversions use the \"C\" "
      "locale; install the locale or correct the variable\n",
      result.out);
  const std::string text = deployment.run({"check"}).out;
  EXPECT_NE(std::string::npos, text.find("\n0 errors, 1 warning, ")) << text;
}

TEST(Check, NamesVariablesThatPointNowhere) {
  SoundDeployment deployment;
  deployment.environment["APP_ROOT"] = "app";
  deployment.environment["COMMON_SHARE_PATH"] = deployment / "absent";
  deployment.environment["_APP_LOG_DIR"] = deployment / "app/conf/setting.cfg";
  const std::string text = deployment.run({"check", "--quiet"}).out;
  for (const std::string& line :
       {std::string(
            "warning  APP_ROOT: \"app\": takes an absolute path of a directory; correct the "
            "variable\n"),
        "warning  COMMON_SHARE_PATH: " + (deployment / "absent") +
            ": missing; create the directory or correct the variable\n",
        "error    _APP_LOG_DIR: " + (deployment / "app/conf/setting.cfg") +
            ": not a directory; create the directory or correct the variable\n"})
    EXPECT_NE(std::string::npos, text.find(line)) << line << "\nis not in\n" << text;
}

TEST(Check, TakesTheDatabaseTypesThatTheLibraryTakes) {
  const SoundDeployment deployment;
  for (const std::string type : {"Oracle", "TESSARN", "sybase", "MSSQL"}) {
    deployment.write("app/conf/inventory.json",
                     R"({"databases": {"a": [{"type": ")" + type + R"("}]}})");
    const ProcessResult result = deployment.run({"check", "--quiet"});
    EXPECT_EQ(0, result.code) << type;
    EXPECT_EQ("", result.out);
  }
}

TEST(Check, NamesAStoreLibraryThatTheLoaderPassesOver) {
  SoundDeployment deployment;
  std::filesystem::create_directory(deployment / "lib");
  const std::string library = deployment / "lib/libsettingrest.so";
  std::filesystem::create_symlink("/nowhere", library);
  deployment.environment["LD_LIBRARY_PATH"] = deployment / "lib";
  const ProcessResult result = deployment.run({"check", "--quiet"});
  EXPECT_EQ(2, result.code);
  EXPECT_NE(std::string::npos, result.out.find("; " + library + " is a link that leads nowhere; "))
      << result.out;
}

TEST(Check, SuggestsABranchForASettingWithoutOne) {
  const SoundDeployment deployment;
  deployment.write("share/conf/settings.json",
                   "{\"/vexa/common/setting_cfg//ListenAllIp\": \"enable\"}");
  const ProcessResult result = deployment.run({"check", "--quiet"});
  EXPECT_EQ(1, result.code);
  EXPECT_NE(std::string::npos,
            result.out.find("; did you mean /vexa/common/setting_cfg/global/ListenAllIp?"))
      << result.out;
}

TEST(Check, NamesADirectoryThatTheUserCannotReach) {
  const SoundDeployment deployment;
  commutil_test::runInChild([&] {
    ASSERT_EQ(0, ::chmod((deployment / "").c_str(), 0700));
    commutil_test::dropRoot();
    const std::string text = deployment.run({"check", "--quiet"}).out;
    EXPECT_NE(std::string::npos,
              text.find("error    APP_ROOT: " + (deployment / "app") + ": not reachable by user "))
        << text;
    EXPECT_EQ(std::string::npos, text.find("create the directory or correct the variable\n"));
  });
}

TEST(Check, EndsWhenAStoreHangs) {
  SoundDeployment deployment;
  deployment.environment["LD_LIBRARY_PATH"] = COMMUTIL_HANGING_STORE_DIR;
  const auto begin = std::chrono::steady_clock::now();
  const ProcessResult result = deployment.run({"check", "--quiet", "--timeout", "0.5"});
  EXPECT_EQ(2, result.code);
  // All calls wait concurrently: ten lookups in sequence would take five seconds.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  EXPECT_NE(std::string::npos, result.out.find("error    isCorbaSSLOnly: no answer "
                                               "within 0.5 s; see commutil explain\n"))
      << result.out;
}

TEST(Check, EndsWhenAStoreNeverSleeps) {
  SoundDeployment deployment;
  deployment.environment["LD_LIBRARY_PATH"] = COMMUTIL_HANGING_STORE_DIR;
  deployment.environment["STORE_NEVER_SLEEPS"] = "";
  const ProcessResult result = deployment.run({"explain", "SSLNoProtection", "--timeout", "0.05"});
  EXPECT_EQ(1, result.code);
  EXPECT_NE(std::string::npos, result.out.find("no answer within 0.05 s")) << result.out;
}

TEST(Check, NamesASlowStore) {
  SoundDeployment deployment;
  deployment.environment["LD_LIBRARY_PATH"] = COMMUTIL_SLOW_STORE_DIR;
  const ProcessResult result = deployment.run({"check", "--quiet", "--timeout", "60"});
  EXPECT_EQ(1, result.code);
  EXPECT_NE(std::string::npos, result.out.find("warning  lookups: 10, each took ")) << result.out;
  EXPECT_NE(std::string::npos, result.out.find(" ms; check the store and its server\n"));
}

TEST(Check, LoadsNoFileOver64MiB) {
  const auto enlarge = [](const std::string& path) {
    std::filesystem::resize_file(path, std::uintmax_t{1} << 30);
  };
  const SoundDeployment store;
  enlarge(store / "share/conf/settings.json");
  const ProcessResult checked = store.run({"check", "--quiet"});
  EXPECT_EQ(1, checked.code);
  EXPECT_EQ("warning  " + (store / "share/conf/settings.json") +
                ": 1024 MiB, over 64 MiB: not examined; check whether it is the right file\n",
            checked.out);
  const ProcessResult loopback = store.run({"explain", "ListenLoopbackIP"});
  EXPECT_EQ(0, loopback.code);
  EXPECT_NE(
      std::string::npos,
      loopback.out.find("   not read: " + (store / "share/conf/settings.json") + " has 1024 MiB\n"))
      << loopback.out;
  const SoundDeployment other;
  for (const char* const file : {"app/conf/setting.cfg", "omc/etc/conf/TSSetting.cfg",
                                 "app/conf/inventory.json", "cluster/etc/sysconf/nodelists.json"})
    enlarge(other / file);
  const std::string text = other.run({"explain"}).out;
  for (const std::string answer :
       {"isListenAllIp", "isTsMode", "getDBType", "getTracePath", "GetAllWebswingNodeIPs"})
    EXPECT_NE(std::string::npos, text.find(answer + " = unknown ")) << answer << "\n" << text;
  EXPECT_EQ(std::string::npos, text.find("no answer within"));
  EXPECT_EQ(1, other.run({"net"}).code);
}

TEST(Check, ShowsOnATerminalWhatItWaitsFor) {
  SoundDeployment deployment;
  deployment.environment["LD_LIBRARY_PATH"] = COMMUTIL_HANGING_STORE_DIR;
  TerminalRun run({Deployment::tool(), "explain", "--timeout", "1.5", "SSLNoProtection"},
                  deployment.environment);
  run.waitFor("calls left, waiting for ");
  const ProcessResult result = run.finish();
  EXPECT_EQ(1, result.code);
  EXPECT_NE(std::string::npos, result.out.find("no answer within 1.5 s")) << result.out;
}

TEST(Check, ColorsOnATerminalOnly) {
  SoundDeployment deployment;
  deployment.environment["APP_NAME"] = std::nullopt;
  deployment.environment["TERM"] = "xterm";
  deployment.environment["NO_COLOR"] = std::nullopt;
  const std::vector<std::string> words{Deployment::tool(), "check", "--quiet"};
  const std::string colored = "\033[33mwarning\033[0m  APP_NAME: not set";
  EXPECT_NE(std::string::npos,
            TerminalRun(words, deployment.environment).finish().out.find(colored));
  EXPECT_EQ(std::string::npos, deployment.run({"check", "--quiet"}).out.find('\033'));
  deployment.environment["NO_COLOR"] = "1";
  EXPECT_EQ(std::string::npos,
            TerminalRun(words, deployment.environment).finish().out.find("\033[33m"));
}

TEST(Check, KeepsItsExitCodeWhenItsOutputCannotBeWritten) {
  SoundDeployment deployment;
  EXPECT_EQ(1, deployment.runInto("/dev/full", {"check"}).code);
  std::filesystem::remove(deployment / "app/conf/inventory.json");
  const ProcessResult result = deployment.runInto("/dev/full", {"check"});
  EXPECT_EQ(2, result.code);
  EXPECT_EQ("commutil: standard output cannot be written\n", result.err);
  const ProcessResult closed = commutil_test::runProcess(
      {"/bin/sh", "-c", "exec \"$0\" check >&-", Deployment::tool()}, deployment.environment);
  EXPECT_EQ(2, closed.code);
  EXPECT_EQ("commutil: standard output cannot be written\n", closed.err);
}

}  // namespace
