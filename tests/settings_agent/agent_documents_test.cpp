// The agent's documents name every subcommand, option and key, with the default that it has.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "commutil-settings/configuration.h"
#include "commutil/agent_command_line.h"
#include "support/fixtures.h"

namespace {

using commutil_test::readFile;
using testing::HasSubstr;

/// A page without the escapes of its hyphens and its font changes.
std::string page(const std::string& name) {
  std::string text = readFile(AGENT_SOURCES "/" + name);
  for (const std::string escape : {"\\fB", "\\fI", "\\fR"}) {
    for (std::size_t at = text.find(escape); at != std::string::npos; at = text.find(escape))
      text.erase(at, escape.size());
  }
  for (std::size_t at = text.find("\\-"); at != std::string::npos; at = text.find("\\-"))
    text.erase(at, 1);
  return text;
}

TEST(AgentDocuments, NameEverySubcommandAndOption) {
  agent::CommandLine line;
  const Command root = agent::describeCommandLine(line);
  const std::string manual = page("commutil-settings.1");
  for (const Command& command : root.subcommands) {
    EXPECT_THAT(manual, HasSubstr("\n.SS " + command.name + "\n"));
    const std::string synopsis = "\ncommutil-settings " + command.name;
    const std::size_t begin = manual.find(synopsis);
    ASSERT_NE(std::string::npos, begin) << command.name;
    const std::string usage = manual.substr(begin + 1, manual.find('\n', begin + 1) - begin);
    for (const Argument& argument : command.arguments) {
      if (argument.hidden || argument.name == "--config") continue;
      EXPECT_THAT(usage, HasSubstr(argument.name)) << command.name;
      if (argument.name.rfind("--", 0) != 0) continue;
      EXPECT_THAT(manual.substr(manual.find(".SH SUBCOMMANDS")), HasSubstr(argument.name));
    }
  }
}

TEST(AgentDocuments, NameEveryKey) {
  const std::string manual = page("commutil-settings.conf.5");
  const std::string example = page("settings.conf");
  for (const std::string& key : agent::configurationKeys()) {
    const std::string section = key.substr(0, key.find(' '));
    const std::string name = key.substr(key.find(' ') + 1);
    const std::size_t begin = manual.find(".SH SECTION " + section + "\n");
    ASSERT_NE(std::string::npos, begin) << section;
    const std::string text = manual.substr(begin, manual.find("\n.SH", begin + 1) - begin);
    EXPECT_TRUE(testing::Value(text, HasSubstr(".B " + name + "\n")) ||
                testing::Value(text, HasSubstr(".BR " + name + " ")) ||
                testing::Value(text, HasSubstr("\" " + name + " \"")) ||
                testing::Value(text, HasSubstr(" " + name + "\n")))
        << key;
    if (name != "prefix") {
      EXPECT_THAT(example, HasSubstr("#" + name + " ")) << key;
    }
  }
}

TEST(AgentDocuments, ShowAnExampleThatHoldsTheDefaults) {
  std::string text;
  // The example without its comments' marks, with one of the two sources.
  const std::string example = page("settings.conf");
  for (std::size_t at = 0; at < example.size();) {
    const std::size_t end = example.find('\n', at);
    const std::string line = example.substr(at, end - at);
    at = end + 1;
    if (line.rfind("# ", 0) == 0) continue;
    text += (line.rfind('#', 0) == 0 ? line.substr(1) : line) + "\n";
  }
  const std::size_t relay = text.find("[relay]");
  text.erase(relay, text.find("[snapshot]") - relay);
  const agent::Configuration shown = agent::parseConfiguration(text, "settings.conf");
  const agent::Configuration defaults =
      agent::parseConfiguration("[cluster]\nendpoints = https://e1:2379\n", "s");
  EXPECT_EQ(3U, shown.endpoints.size());
  EXPECT_EQ(defaults.snapshotPath, shown.snapshotPath);
  EXPECT_EQ(defaults.settle, shown.settle);
  EXPECT_EQ(defaults.maxAge, shown.maxAge);
  EXPECT_EQ(defaults.compareEvery, shown.compareEvery);
  EXPECT_EQ(defaults.listEvery, shown.listEvery);
  EXPECT_EQ(defaults.progressInterval, shown.progressInterval);
  EXPECT_EQ(defaults.connectTimeout, shown.connectTimeout);
  EXPECT_EQ(defaults.requestTimeout, shown.requestTimeout);
  EXPECT_EQ(defaults.poll, shown.poll);
  EXPECT_EQ(defaults.spread, shown.spread);
  EXPECT_EQ(defaults.keep, shown.keep);
}

TEST(AgentDocuments, LetAFreshInstallDoNothing) {
  EXPECT_THROW(agent::readConfiguration(AGENT_SOURCES "/settings.conf"), agent::ConfigurationError);
}

}  // namespace
