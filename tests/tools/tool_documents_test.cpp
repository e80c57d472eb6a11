// The operator's command: its man page and its completion agree with its help.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;
using commutil_test::readFile;
using commutil_test::runProcess;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using Names = std::set<std::string>;
using OptionsOf = std::map<std::string, Names>;

/// Returns the first group of each match of `pattern` in `text`.
Names matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern, std::regex::ECMAScript | std::regex::multiline);
  Names result;
  for (std::sregex_iterator at(text.begin(), text.end(), regex), end; at != end; ++at)
    result.insert((*at)[1]);
  return result;
}

std::vector<std::string> wordsOf(const std::string& line) {
  std::istringstream stream(line);
  return {std::istream_iterator<std::string>(stream), {}};
}

std::string helpOf(const std::string& subcommand) {
  std::vector<std::string> words = wordsOf(subcommand);
  words.emplace_back("--help");
  const ProcessResult result = Deployment().run(words);
  EXPECT_EQ(0, result.code) << subcommand;
  return result.out;
}

Names subcommandsIn(const std::string& help) {
  const std::size_t heading = help.find("\nSubcommands:\n");
  return heading == std::string::npos ? Names{} : matches(help.substr(heading), "^  ([a-z0-9-]+) ");
}

Names optionsIn(const std::string& help) { return matches(help, "^ +(?:-h,)?(--[a-z-]+)"); }

/// Returns the options of each subcommand that has no subcommands, by its words; "" is the command.
void collect(const std::string& subcommand, OptionsOf& leaves, OptionsOf& parents) {
  const std::string help = helpOf(subcommand);
  const Names below = subcommandsIn(help);
  (below.empty() ? leaves : parents)[subcommand] = optionsIn(help);
  for (const std::string& name : below)
    collect(subcommand.empty() ? name : subcommand + " " + name, leaves, parents);
}

class Documents : public testing::Test {
 protected:
  OptionsOf m_leaves;
  OptionsOf m_parents;

  Documents() { collect("", m_leaves, m_parents); }
};

/// Returns the man page with its hyphens as printed.
std::string manPage() {
  return std::regex_replace(readFile(COMMUTIL_MAN_PAGE), std::regex(R"(\\-)"), "-");
}

/// Returns the options that the man page explains under each subcommand's heading.
OptionsOf documented() {
  OptionsOf result;
  std::istringstream lines(manPage());
  std::string subcommand;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(".SH ", 0) == 0) subcommand.clear();
    if (line.rfind(".SS ", 0) == 0) result[subcommand = line.substr(4)] = {};
    if (!subcommand.empty()) result[subcommand].merge(matches(line, R"(^\\fB(--[a-z-]+)\\fR)"));
  }
  return result;
}

/// Returns what bash completes after the words of a subcommand.
Names completed(const std::string& subcommand) {
  std::vector<std::string> line{
      "/bin/bash", "-c",
      ". \"$0\" && COMP_WORDS=(commutil \"$@\" '') COMP_CWORD=$(($# + 1)) && _commutil &&"
      " printf '%s\\n' \"${COMPREPLY[@]}\"",
      COMMUTIL_COMPLETION};
  for (const std::string& word : wordsOf(subcommand)) line.push_back(word);
  const ProcessResult result = runProcess(line, {});
  EXPECT_EQ(0, result.code) << result.err;
  EXPECT_EQ("", result.err);
  return matches(result.out, "^(.*[^-\n].*)$");
}

Names optionsAmong(const Names& words) {
  Names options;
  for (const std::string& word : words)
    if (word.rfind("--", 0) == 0) options.insert(word);
  return options;
}

/// Returns the sentence that begins with "Exit codes:" with single spaces, "" if there is none.
std::string exitCodesIn(const std::string& text) {
  const std::size_t begin = text.find("Exit codes:");
  if (begin == std::string::npos) return {};
  std::string sentence;
  for (const std::string& word : wordsOf(text.substr(begin))) {
    sentence += (sentence.empty() ? "" : " ") + word;
    if (word.back() == '.') break;
  }
  return sentence;
}

/// Returns the section of the man page for each subcommand.
std::map<std::string, std::string> sections() {
  std::map<std::string, std::string> result;
  std::istringstream lines(manPage());
  std::string subcommand;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(".SH ", 0) == 0) subcommand.clear();
    if (line.rfind(".SS ", 0) == 0) subcommand = line.substr(4);
    if (!subcommand.empty()) result[subcommand] += line + "\n";
  }
  return result;
}

TEST_F(Documents, HelpNamesSubcommands) {
  EXPECT_THAT(m_leaves, Not(IsEmpty()));
  EXPECT_THAT(m_parents[""], testing::UnorderedElementsAre("--help", "--version"));
  EXPECT_THAT(m_leaves["escape"], IsSupersetOf({"--like", "--json", "--help"}));
}

TEST_F(Documents, ManPageExplainsEverySubcommandWithItsOptions) {
  for (auto& [subcommand, options] : m_leaves) options.erase("--help");
  EXPECT_EQ(m_leaves, documented());
}

TEST_F(Documents, HelpAndManPageAgreeOnExitCodes) {
  const std::string common = exitCodesIn(helpOf(""));
  EXPECT_EQ("Exit codes: 0 ok; 1 the answer is \"no\" or the operation failed; 2 wrong use.",
            common);
  std::map<std::string, std::string> pages = sections();
  for (const auto& [subcommand, options] : m_leaves) {
    const std::string own = exitCodesIn(pages[subcommand]);
    EXPECT_EQ(own.empty() ? common : own, exitCodesIn(helpOf(subcommand))) << subcommand;
  }
  EXPECT_NE(std::string::npos, exitCodesIn(pages["check"]).find("2 there are errors"));
}

TEST_F(Documents, ManPageExplainsTheCommonOptions) {
  const std::string page = manPage();
  for (const std::string option : {"\n.BR -h \", \" --help\n", "\n.B --version\n"})
    EXPECT_NE(std::string::npos, page.find(option)) << option;
}

TEST_F(Documents, CompletionOffersTheOptionsOfEverySubcommand) {
  m_leaves.erase("help");
  for (const auto& [subcommand, options] : m_leaves)
    EXPECT_EQ(options, optionsAmong(completed(subcommand))) << subcommand;
}

TEST_F(Documents, CompletionOffersTheSubcommandsAfterHelp) {
  EXPECT_EQ(completed(""), completed("help"));
  EXPECT_EQ(completed("ip"), completed("help ip"));
}

TEST_F(Documents, CompletionOffersTheSubcommands) {
  for (const auto& [parent, options] : m_parents) {
    Names expected = subcommandsIn(helpOf(parent));
    expected.insert(options.begin(), options.end());
    EXPECT_EQ(expected, completed(parent)) << parent;
  }
}

/// Returns the generator's output for `kind`.
std::string generated(const std::string& kind) {
  const ProcessResult result = runProcess({COMMUTIL_CATALOG, kind}, {});
  EXPECT_EQ(0, result.code) << kind;
  return result.out;
}

TEST(GeneratedPages, AreThoseOfTheCatalog) {
  EXPECT_EQ(generated("--markdown"), readFile(COMMUTIL_CONFIGURATION_PAGE))
      << "write it again: commutil-catalog --markdown >docs/configuration.md";
}

TEST(GeneratedPages, AreManPagesWithoutWarnings) {
  const std::string page = generated("--man");
  for (const std::string text : {".TH COMMUTIL 5 ", "\\fBLC_ALL\\fR\n", ".SH INI FILES\n"})
    EXPECT_NE(std::string::npos, page.find(text)) << text;
  EXPECT_EQ(std::string::npos, page.find('`'));
  EXPECT_EQ(2, runProcess({COMMUTIL_CATALOG}, {}).code);
}

}  // namespace
