// INI documents: the same values as the library's reader, and the position of each oddity.
#include "settings/ini_document.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/ini_reader.h"
#include "support/fixtures.h"

namespace {

using commutil_test::TempDir;
using settings::Finding;
using settings::IniDocument;

std::string said(const std::vector<Finding>& findings) {
  std::string text;
  for (const Finding& finding : findings)
    text += (text.empty() ? "" : "; ") + std::to_string(finding.place.line) + ":" +
            std::to_string(finding.place.column) + " " + finding.message;
  return text;
}

TEST(IniDocument, ReadsWhatTheLibraryReads) {
  const TempDir dir;
  std::mt19937 random(1);
  const std::string pieces[] = {
      "[", "]",  "IP", "=",  "\n", "\r", "\r\n", " ",        ";",       "#",
      "a", "\t", "b",  "\n", "\"", "=a", "[IP]", "\n[IP]\n", "a = b\n", std::string(1, '\0')};
  for (int i = 0; i < 3000; ++i) {
    std::string text = i % 7 == 0 ? "\xef\xbb\xbf" : "";
    for (auto n = random() % 24; n > 0; --n) text += pieces[random() % std::size(pieces)];
    SCOPED_TRACE(testing::PrintToString(text));
    VexaIniReader reader(dir.write("file", text));
    ASSERT_EQ(0, reader.initialize(false));
    const IniDocument document(text);
    for (const std::string key : {"a", "b", "IP", "ab", "a b"}) {
      const settings::IniEntry* const entry = document.find("[IP]", key);
      ASSERT_EQ(reader.getParamValue("[IP]", key), entry == nullptr ? "" : entry->value) << key;
    }
  }
}

TEST(IniDocument, KeepsLines) {
  const IniDocument document("; first\r\n[IP]\r\n  ListenAllIp = enable\r\nListenAllIp = disable");
  const settings::IniEntry* const entry = document.find("[IP]", "ListenAllIp");
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ("enable", entry->value);
  EXPECT_EQ(3U, entry->place.line);
  EXPECT_EQ(3U, entry->place.column);
  EXPECT_EQ("", said(document.findings()));
}

TEST(IniDocument, FindsWhatIsWrong) {
  const struct {
    std::string text;
    std::string findings;
  } rows[] = {
      {"[IP\nListenAllIp = enable\n",
       "1:1 \"[IP\" lacks its closing bracket: the entries below it belong to no section"},
      {"[IP]\nListenAllIp\n", "2:1 neither a section, an entry nor a comment: the line is ignored"},
      {"[IP]\n = enable\n", "2:2 a value without a key is ignored"},
      {std::string("[IP]\nab\0c", 9),
       "2:1 neither a section, an entry nor a comment: the line is "
       "ignored; 2:3 a NUL byte ends the text here"},
      {std::string("\xff\xfe[\0I\0P\0]\0", 10), "1:1 UTF-16: save the file as UTF-8 or ASCII"},
      {"\xef\xbb\xbf[IP]\nListenAllIp = enable", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.text));
    EXPECT_EQ(row.findings, said(IniDocument(row.text).findings()));
  }
}

TEST(IniDocument, PointsOutNearMisses) {
  const struct {
    std::string text;
    std::string misses;
  } rows[] = {
      {"\n\n[Ip]\nListenAllIp = enable\n", "3:1 line 3 has [Ip]: names are case-sensitive"},
      {"[IPS]\n", "1:1 line 1 has [IPS], not [IP]"},
      {"[TraceDir]\nListenAllIp = enable\n",
       "2:1 line 2 has ListenAllIp in [TraceDir], not in [IP]"},
      {"ListenAllIp = enable\n", "1:1 line 1 has ListenAllIp in no section, not in [IP]"},
      {"[IP]\nListenAllIP = enable\n", "2:1 line 2 has ListenAllIP: names are case-sensitive"},
      {"[IP]\nListenAlIp = enable\n", "2:1 line 2 has ListenAlIp, not ListenAllIp"},
      {"[IP]\nListenLoopbackIP = enable\n", ""},
      {"[TS]\nother = 1\n", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.misses, said(IniDocument(row.text).nearMisses("[IP]", "ListenAllIp")));
  }
}

TEST(IniDocument, SaysWhatIsOddAboutAValue) {
  EXPECT_EQ("the quotes are part of the value", settings::oddValue("\"enable\""));
  EXPECT_EQ("the comment after the value is part of it", settings::oddValue("enable ; note"));
  EXPECT_EQ("", settings::oddValue("enable"));
}

}  // namespace
