// The agent's configuration file.
#include "commutil-settings/configuration.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fixtures.h"

namespace {

using namespace std::chrono_literals;
using agent::Configuration;
using agent::ConfigurationError;
using agent::parseConfiguration;

constexpr const char* kLeast = "[cluster]\nendpoints = https://e1:2379\n";

std::string errorOf(const std::string& text) {
  try {
    parseConfiguration(text, "s.conf");
    return "no error";
  } catch (const ConfigurationError& error) {
    return error.what();
  }
}

TEST(Configuration, HasDefaultsForAllButTheSource) {
  const Configuration configuration = parseConfiguration(kLeast, "s.conf");
  EXPECT_EQ((std::vector<std::string>{"https://e1:2379"}), configuration.endpoints);
  EXPECT_FALSE(configuration.followsRelay());
  EXPECT_EQ("/vexa/", configuration.prefix);
  EXPECT_EQ("/var/lib/commutil/settings/settings.snap", configuration.snapshotPath);
  EXPECT_EQ(100ms, configuration.settle);
  EXPECT_EQ(15min, configuration.maxAge);
  EXPECT_EQ(10min, configuration.compareEvery);
  EXPECT_EQ(24h, configuration.listEvery);
  EXPECT_EQ(30s, configuration.progressInterval);
  EXPECT_EQ(2s, configuration.connectTimeout);
  EXPECT_EQ(7s, configuration.requestTimeout);
  EXPECT_EQ(5s, configuration.poll);
  EXPECT_EQ(5s, configuration.spread);
  EXPECT_EQ(2U, configuration.keep);
}

TEST(Configuration, ReadsEveryKey) {
  const Configuration configuration = parseConfiguration(
      "# comment\n[cluster]\nendpoints = https://e1:2379/ , http://e2:2379\nprefix = /vexa/test/\n"
      "ca = /c/ca.pem\ncert = /c/host.pem\nkey = /c/host.key\nuser = reader\npassword_file = pw\n"
      "[snapshot]\npath = /s/x.snap\ngroup = services\nsettle = 0\nmax_age = 1h\n"
      "[agent]\ncompare_every = 0\nlist_every = 0\nprogress_interval = 1s\n"
      "connect_timeout = 300ms\nrequest_timeout = 4s\npoll = 1s\nspread = 0\n"
      "[publish]\ndirectory = /srv/settings\nkeep = 3\n",
      "s.conf");
  EXPECT_EQ((std::vector<std::string>{"https://e1:2379", "http://e2:2379"}),
            configuration.endpoints);
  EXPECT_EQ("/vexa/test/", configuration.prefix);
  EXPECT_EQ("/c/ca.pem", configuration.tls.ca);
  EXPECT_EQ("/c/host.pem", configuration.tls.certificate);
  EXPECT_EQ("/c/host.key", configuration.tls.key);
  EXPECT_EQ("reader", configuration.user);
  EXPECT_EQ("pw", configuration.passwordFile);
  EXPECT_EQ("/s/x.snap", configuration.snapshotPath);
  EXPECT_EQ("services", configuration.group);
  EXPECT_EQ(0ms, configuration.settle);
  EXPECT_EQ(1h, configuration.maxAge);
  EXPECT_EQ(0ms, configuration.compareEvery);
  EXPECT_EQ(0ms, configuration.listEvery);
  EXPECT_EQ(1s, configuration.progressInterval);
  EXPECT_EQ(300ms, configuration.connectTimeout);
  EXPECT_EQ(4s, configuration.requestTimeout);
  EXPECT_EQ(1s, configuration.poll);
  EXPECT_EQ(0ms, configuration.spread);
  EXPECT_EQ("/srv/settings", configuration.publishDirectory);
  EXPECT_EQ(3U, configuration.keep);
}

TEST(Configuration, TakesRelaysInsteadOfACluster) {
  const Configuration configuration = parseConfiguration(
      "[relay]\nsource = https://r1/,https://r2/settings\nca = /ca\ncert = /c\nkey = /k\n", "s");
  EXPECT_TRUE(configuration.followsRelay());
  EXPECT_EQ((std::vector<std::string>{"https://r1/", "https://r2/settings/"}),
            configuration.sources);
  EXPECT_EQ("/k", configuration.tls.key);
}

TEST(Configuration, NamesTheLineOfWhatIsWrong) {
  const std::string least = kLeast;
  const struct {
    std::string text;
    std::string error;
  } rows[] = {
      {least + "flavor = red\n", "s.conf:3: \"flavor\" is not a key in [cluster]"},
      {"x = 1\n" + least, "s.conf:1: \"x\" is not a key outside a section"},
      {least + "[agents]\n", "s.conf:3: [agents] is not a section"},
      {least + "[agent]\npoll = 5\n",
       "s.conf:4: poll takes a duration such as 100ms, 2s, 15m or 24h"},
      {least + "[agent]\npoll = 0\n", "s.conf:4: poll takes a duration above 0"},
      {least + "[agent]\npoll = 1s\npoll = 2s\n", "s.conf:5: poll is set twice"},
      {least + "[snapshot]\npath = x\n", "s.conf:4: path takes an absolute path"},
      {least + "[publish]\nkeep = 0\n", "s.conf:4: keep takes a number from 1 to 1000"},
      {least + "prefix = vexa\n",
       "s.conf:3: prefix takes a prefix with \"/\" at both ends, such as /vexa/"},
      {"[cluster]\nendpoints = e1:2379\n",
       "s.conf:2: endpoints takes URLs with https:// or http://"},
      {"[cluster]\nendpoints = https://e1:2379 https://e2\n",
       "s.conf:2: endpoints \"https://e1:2379 https://e2\" is not a URL of a host and a port"},
      {"[cluster]\nendpoints = https://user@e1\n",
       "s.conf:2: endpoints \"https://user@e1\" is not a URL of a host and a port"},
      {"", "s.conf: needs either [cluster] with endpoints or [relay] with source"},
      {"[cluster]\n", "s.conf: [cluster] needs endpoints"},
      {"[relay]\n", "s.conf: [relay] needs source"},
      {least + "[relay]\nsource = https://r\n",
       "s.conf: needs either [cluster] with endpoints or [relay] with source"},
      {least + "cert = /c\n", "s.conf: cert and key belong together: one of them is missing"},
      {least + "user = u\n",
       "s.conf: user and password_file belong together: one of them is missing"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.error, errorOf(row.text)) << row.text;
  EXPECT_EQ("s.conf:3: ", errorOf(least + "[agent\n").substr(0, 10));
}

TEST(Configuration, IsFoundByOptionThenVariableThenAtItsPlace) {
  const commutil_test::ScopedEnv unset("COMMUTIL_SETTINGS_CONF", std::nullopt);
  EXPECT_EQ("/etc/commutil/settings.conf", agent::configurationPath(""));
  const commutil_test::ScopedEnv set("COMMUTIL_SETTINGS_CONF", "/x");
  EXPECT_EQ("/x", agent::configurationPath(""));
  EXPECT_EQ("/y", agent::configurationPath("/y"));
}

TEST(Configuration, FindsSecretsOfTheUnitBesideTheFile) {
  using commutil_test::ScopedEnv;
  const commutil_test::TempDir dir;
  const std::string file = dir.write("settings.conf",
                                     "[cluster]\nendpoints = https://e1\ncert = /c\nkey = k\n"
                                     "user = u\npassword_file = p\n");
  {
    const ScopedEnv unset("CREDENTIALS_DIRECTORY", std::nullopt);
    EXPECT_EQ(dir / "k", agent::readConfiguration(file).tls.key);
    EXPECT_EQ(dir / "p", agent::readConfiguration(file).passwordFile);
  }
  const ScopedEnv set("CREDENTIALS_DIRECTORY", "/run/credentials");
  EXPECT_EQ("k", agent::readConfiguration(file).tls.key) << "the unit passes it";
  EXPECT_EQ("p", agent::readConfiguration(file).passwordFile);
}

TEST(Configuration, MissingFileIsNamed) {
  const commutil_test::TempDir dir;
  try {
    agent::readConfiguration(dir / "none");
    FAIL();
  } catch (const ConfigurationError& error) {
    EXPECT_EQ(
        dir / "none" +
            ": there is no configuration file; write it as commutil-settings.conf(5) says, or "
            "name another one with --config",
        error.what());
  }
}

}  // namespace
