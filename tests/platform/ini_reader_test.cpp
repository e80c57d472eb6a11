#include "platform/ini_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/fixtures.h"

namespace {

using commutil_test::TempDir;
using testing::ElementsAre;
using testing::Pair;

struct Lookup {
  const char* name;
  std::string content;
  const char* section;
  const char* key;
  std::string value;
};

const Lookup kLookups[] = {
    {"plain", "[IP]\nkey=value\n", "[IP]", "key", "value"},
    {"no line end", "[IP]\nkey=value", "[IP]", "key", "value"},
    {"whitespace around", " [IP] \n\t key \t=  a b \t\n", "[IP]", "key", "a b"},
    {"CRLF", "[IP]\r\nkey=value\r\n", "[IP]", "key", "value"},
    {"CR", "[IP]\rkey=value\rother=1\r", "[IP]", "key", "value"},
    {"byte-order mark", "\xef\xbb\xbf[IP]\nkey=value\n", "[IP]", "key", "value"},
    {"byte-order mark alone", "\xef\xbb\xbf", "[IP]", "key", ""},
    {"empty file", "", "[IP]", "key", ""},
    {"missing key", "[IP]\nother=1\n", "[IP]", "key", ""},
    {"missing section", "[TS]\nkey=value\n", "[IP]", "key", ""},
    {"empty value", "[IP]\nkey=\nother=1\n", "[IP]", "key", ""},
    {"whitespace as value", "[IP]\nkey= \t\nother=1\n", "[IP]", "key", ""},
    {"equals signs in the value", "[IP]\nkey=a=b==\n", "[IP]", "key", "a=b=="},
    {"no equals sign", "[IP]\nkey\nother=1\n", "[IP]", "key", ""},
    {"line without an equals sign before", "[IP]\nother\nkey=value\n", "[IP]", "key", "value"},
    {"no key", "[IP]\n=1\nkey=value\n", "[IP]", "key", "value"},
    {"key in another case", "[IP]\nKey=value\n", "[IP]", "key", ""},
    {"section in another case", "[ip]\nkey=value\n", "[IP]", "key", ""},
    {"quotes stay", "[IP]\nkey=\"a\"\n", "[IP]", "key", "\"a\""},
    {"comment lines", "; a\n# b\n[IP]\n;key=1\n # key=2\nkey=value\n", "[IP]", "key", "value"},
    {"comment marks in the value", "[IP]\nkey=a;b #c\n", "[IP]", "key", "a;b #c"},
    {"no multi-line values", "[IP]\nkey=<<<END\na\nEND\n", "[IP]", "key", "<<<END"},
    {"repeated key", "[IP]\nkey=first\nkey=second\n", "[IP]", "key", "first"},
    {"repeated section", "[IP]\nkey=first\n[X]\n[IP]\nkey=second\n", "[IP]", "key", "first"},
    {"section taken up again", "[IP]\na=1\n[X]\nb=2\n[IP]\nkey=value\n", "[IP]", "key", "value"},
    {"text after the bracket", "[IP] text\nkey=value\n", "[IP]", "key", "value"},
    {"no closing bracket", "[IP\nkey=value\n", "[IP]", "key", ""},
    {"no closing bracket leaves the section before", "[A]\nk=1\n[IP\nkey=value\n", "[A]", "key",
     ""},
    {"no closing bracket, then a section", "[A\nk=1\n[IP]\nkey=value\n", "[IP]", "key", "value"},
    {"no brackets", "IP\nkey=value\n", "[IP]", "key", ""},
    {"before any section", "key=value\n[IP]\n", "[]", "key", "value"},
    {"high bytes", "[IP]\nkey=\x80\xff\xe4\n", "[IP]", "key", "\x80\xff\xe4"},
    {"NUL ends the file", std::string("[IP]\nkey=a\0b\nother=1\n", 21), "[IP]", "key", "a"},
    {"section without brackets", "[IP]\nkey=value\n", "IP", "key", ""},
    {"section with an opening bracket only", "[IP]\nkey=1\n[I]\nkey=2\n", "[IP", "key", ""},
    {"section with a closing bracket only", "[IP]\nkey=1\n[P]\nkey=2\n", "IP]", "key", ""},
    {"empty section", "[IP]\nkey=value\n", "", "key", ""},
    {"a bracket as section", "[IP]\nkey=value\n", "[", "key", ""},
};

TEST(IniReader, FindsValues) {
  const TempDir dir;
  for (const Lookup& lookup : kLookups) {
    SCOPED_TRACE(lookup.name);
    VexaIniReader reader(dir.write("a.cfg", lookup.content));
    ASSERT_EQ(0, reader.initialize(false));
    EXPECT_EQ(lookup.value, reader.getParamValue(lookup.section, lookup.key));
  }
}

TEST(IniReader, TheFlagHasNoEffect) {
  const TempDir dir;
  VexaIniReader reader(dir.write("a.cfg", "[IP]\nkey=value\n"));
  ASSERT_EQ(0, reader.initialize(true));
  EXPECT_EQ("value", reader.getParamValue("[IP]", "key"));
}

TEST(IniReader, KeepsLinesOfAnyLength) {
  const TempDir dir;
  for (const std::size_t length : {1023U, 1024U, 1025U, 65'535U, 65'536U, 65'537U, 5'000'000U}) {
    SCOPED_TRACE(length);
    const std::string value(length, 'v');
    VexaIniReader reader(dir.write("a.cfg", "[IP]\nkey=" + value + "\nlast=1\n"));
    ASSERT_EQ(0, reader.initialize(false));
    EXPECT_EQ(value, reader.getParamValue("[IP]", "key"));
    EXPECT_EQ("1", reader.getParamValue("[IP]", "last"));
  }
}

TEST(IniReader, CannotReadWhatIsNotAReadableFile) {
  const TempDir dir;
  ::mkdir((dir / "folder").c_str(), 0755);
  dir.write("file", "");
  for (const std::string& path :
       {dir / "missing", dir / "folder", dir / "file/below", std::string()}) {
    SCOPED_TRACE(path);
    VexaIniReader reader(path);
    EXPECT_NE(0, reader.initialize(false));
    EXPECT_EQ("", reader.getParamValue("[IP]", "key"));
  }
}

TEST(IniReader, CannotReadAFileWithoutPermission) {
  const TempDir dir;
  const std::string path = dir.write("a.cfg", "[IP]\nkey=value\n");
  ASSERT_EQ(0, ::chmod(path.c_str(), 0));
  ASSERT_EQ(0, ::chmod(dir.path().c_str(), 0755));
  commutil_test::runInChild([&] {
    ASSERT_TRUE(::geteuid() != 0 || ::seteuid(65'534) == 0);
    VexaIniReader reader(path);
    EXPECT_NE(0, reader.initialize(false));
  });
}

TEST(IniReader, HoldsNothingBeforeAndAfterAFailedRead) {
  const TempDir dir;
  const std::string path = dir.write("a.cfg", "[IP]\nkey=value\n");
  VexaIniReader reader(path);
  EXPECT_EQ("", reader.getParamValue("[IP]", "key"));
  std::list<VexaIniReader::IniNode> nodes;
  reader.getParamList("[IP]", nodes);
  EXPECT_TRUE(nodes.empty());
  ASSERT_EQ(0, reader.initialize(false));
  ASSERT_EQ(0, ::unlink(path.c_str()));
  EXPECT_NE(0, reader.initialize(false));
  EXPECT_EQ("", reader.getParamValue("[IP]", "key"));
}

TEST(IniReader, ReadsAgainOnEachCall) {
  const TempDir dir;
  VexaIniReader reader(dir.write("a.cfg", "[IP]\nkey=value\nold=1\n"));
  ASSERT_EQ(0, reader.initialize(false));
  dir.write("a.cfg", "[IP]\nkey=changed\n");
  EXPECT_EQ("value", reader.getParamValue("[IP]", "key"));
  ASSERT_EQ(0, reader.initialize(false));
  EXPECT_EQ("changed", reader.getParamValue("[IP]", "key"));
  EXPECT_EQ("", reader.getParamValue("[IP]", "old"));
}

std::vector<std::pair<std::string, std::string>> listOf(const std::string& path,
                                                        const std::string& section) {
  VexaIniReader reader(path);
  EXPECT_EQ(0, reader.initialize(false));
  std::list<VexaIniReader::IniNode> nodes;
  reader.getParamList(section, nodes);
  std::vector<std::pair<std::string, std::string>> entries;
  for (const auto& node : nodes) entries.emplace_back(node.key, node.value);
  return entries;
}

TEST(IniReader, ListsASectionInFileOrder) {
  const TempDir dir;
  const std::string path = dir.write(
      "a.cfg",
      "[W]\nz=1\nword=b\na=2\nword=a\n[X]\nx=1\n[W]\nword=b\nempty=\nno value\nb = c d \n");
  EXPECT_THAT(listOf(path, "[W]"),
              ElementsAre(Pair("z", "1"), Pair("word", "b"), Pair("a", "2"), Pair("word", "a"),
                          Pair("word", "b"), Pair("empty", ""), Pair("b", "c d")));
  EXPECT_THAT(listOf(path, "[X]"), ElementsAre(Pair("x", "1")));
  EXPECT_THAT(listOf(path, "[missing]"), ElementsAre());
  EXPECT_THAT(listOf(path, "W"), ElementsAre());
}

TEST(IniReader, AppendsToTheList) {
  const TempDir dir;
  VexaIniReader reader(dir.write("a.cfg", "[W]\na=1\n"));
  ASSERT_EQ(0, reader.initialize(false));
  std::list<VexaIniReader::IniNode> nodes{{"junk", "junk"}};
  reader.getParamList("[W]", nodes);
  reader.getParamList("[missing]", nodes);
  ASSERT_EQ(2U, nodes.size());
  EXPECT_EQ("junk", nodes.front().key);
  EXPECT_EQ("a", nodes.back().key);
}

TEST(IniReader, ReadsAHundredMebibytes) {
  const TempDir dir;
  const std::string line = std::string(1000, 'k') + "=" + std::string(1000, 'v') + "\n";
  std::string content = "[Big]\n";
  content.reserve((100U << 20U) + 4096);
  while (content.size() < 100U << 20U) content += line;
  content += "[IP]\nkey=value\n";
  VexaIniReader reader(dir.write("a.cfg", content));
  ASSERT_EQ(0, reader.initialize(false));
  EXPECT_EQ("value", reader.getParamValue("[IP]", "key"));
}

}  // namespace
