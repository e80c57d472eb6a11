// The completion of the operator's command, in the shells themselves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tools/run_tool.h"

namespace {

using commutil_test::Environment;
using commutil_test::ProcessResult;
using commutil_test::readFile;
using commutil_test::runProcess;
using commutil_test::TempDir;
using testing::IsSubsetOf;
using Names = std::set<std::string>;
using Words = std::vector<std::string>;

struct Row {
  std::string line;  ///< with "@" for a directory that has saved.json and nothing else
  Names offered;
};

const std::vector<Row>& rows() {
  static const std::vector<Row> all{
      {"commutil rep", {"report"}},
      {"commutil settings ",
       {"show", "check", "put", "delete", "import", "export", "sync", "diff", "wait", "status",
        "raise-epoch"}},
      {"commutil help ip ", {"normalise", "check", "resolve"}},
      {"commutil settings put --", {"--app", "--force", "--wait", "--json", "--help"}},
      {"commutil settings sync --", {"--once", "--allow-empty", "--config", "--help"}},
      {"commutil lock name --", {"--dir", "--wait", "--message", "--help"}},
      {"commutil explain isL", {"isListenAllIp", "isListenLoopback"}},
      {"commutil explain isTsMode isZ", {"isZirel"}},
      {"commutil settings put Listen", {"ListenAllIp", "ListenLoopbackIP"}},
      {"commutil settings show /vexa/common/svc_ssl_conf/global/SSLV",
       {"/vexa/common/svc_ssl_conf/global/SSLVersion"}},
      {"commutil expand --syntax ", {"paren", "percent", "brace"}},
      {"commutil escape --like b", {"both"}},
      {"commutil report --diff @/sa", {"@/saved.json"}},
      {"commutil settings import @/sa", {"@/saved.json"}},
      {"commutil run -- truncat", {"truncate"}},
      {"commutil lock name --dir /lock/ -- truncat", {"truncate"}},
      {"commutil lock name --dir /lock/ -- cat @/sa", {"@/saved.json"}},
      {"commutil report --pid ", {}},
  };
  return all;
}

std::string in(const TempDir& dir, std::string text) {
  const std::size_t at = text.find('@');
  return at == std::string::npos ? text : text.replace(at, 1, dir.path());
}

Words wordsOf(const std::string& line) {
  std::istringstream stream(line);
  return {std::istream_iterator<std::string>(stream), {}};
}

Names namesIn(const std::string& text) {
  const Words words = wordsOf(text);
  return {words.begin(), words.end()};
}

Words linesIn(const TempDir& dir) {
  Words lines;
  for (const Row& row : rows()) lines.push_back(in(dir, row.line));
  return lines;
}

Names expectedIn(const TempDir& dir, const Row& row) {
  Names names;
  for (const std::string& name : row.offered) names.insert(in(dir, name));
  return names;
}

TEST(Completion, OffersInBashWhatApplies) {
  const TempDir dir;
  dir.write("saved.json", "{}");
  for (const Row& row : rows()) {
    SCOPED_TRACE(row.line);
    const std::string line = in(dir, row.line);
    Words run{"/bin/bash", "-c",
              ". \"$0\" && COMP_WORDS=(\"$@\") COMP_CWORD=$(($# - 1)) && _commutil &&"
              " printf '%s\\n' \"${COMPREPLY[@]}\"",
              COMMUTIL_COMPLETION_DIR "/commutil.bash"};
    for (const std::string& word : wordsOf(line)) run.push_back(word);
    if (line.back() == ' ') run.emplace_back("");
    const ProcessResult result = runProcess(run, {});
    EXPECT_EQ("", result.err);
    Names expected = expectedIn(dir, row);
    if (row.line == "commutil lock name --") expected.insert("--");
    const bool isGroup = row.line == "commutil settings " || row.line == "commutil help ip ";
    if (isGroup) expected.insert("--help");
    EXPECT_EQ(expected, namesIn(result.out));
  }
}

TEST(Completion, TakesAnOptionAndItsValueInOneWordInBash) {
  const ProcessResult result =
      runProcess({"/bin/bash", "-c",
                  ". \"$0\" && COMP_WORDS=(commutil escape --like = b) COMP_CWORD=4 && _commutil &&"
                  " printf '%s\\n' \"${COMPREPLY[@]}\"",
                  COMMUTIL_COMPLETION_DIR "/commutil.bash"},
                 {});
  EXPECT_EQ("both\n", result.out);
}

TEST(Completion, OffersInZshWhatApplies) {
  const TempDir dir;
  dir.write("saved.json", "{}");
  Words run{COMMUTIL_COMPLETE_ZSH, COMMUTIL_COMPLETION_DIR "/_commutil"};
  for (const std::string& line : linesIn(dir)) run.push_back(line);
  const ProcessResult result = runProcess(run, {{"HOME", dir.path()}});
  EXPECT_EQ("", result.err);
  std::istringstream lines(result.out);
  for (const Row& row : rows()) {
    SCOPED_TRACE(row.line);
    Names expected = row.offered;
    if (expected == Names{"@/saved.json"}) expected = {"saved.json"};  // matches end the path
    std::string offered;
    ASSERT_TRUE(std::getline(lines, offered));
    EXPECT_EQ(expected, namesIn(offered));
  }
}

TEST(Completion, OffersInFishWhatApplies) {
  const TempDir dir;
  dir.write("saved.json", "{}");
  Words run{"/usr/bin/fish", "--no-config", "-c",
            "source $argv[1]; for line in $argv[2..-1];"
            " echo (complete -C $line | string split -f 1 \\t); end",
            COMMUTIL_COMPLETION_DIR "/commutil.fish"};
  for (const std::string& line : linesIn(dir)) run.push_back(line);
  const ProcessResult result = runProcess(run, {{"HOME", dir.path()}});
  EXPECT_EQ("", result.err);
  std::istringstream lines(result.out);
  for (const Row& row : rows()) {
    SCOPED_TRACE(row.line);
    std::string offered;
    ASSERT_TRUE(std::getline(lines, offered));
    EXPECT_EQ(expectedIn(dir, row), namesIn(offered));
  }
}

}  // namespace
