#include "VexaStringUtils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"

namespace {

using namespace std::string_literals;
using commutil_test::allBytes;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

using Tokens = std::vector<std::string>;

// Positions at which block-wise code changes its path.
const std::vector<std::size_t> kLengths = {0,  1,  7,  15, 16, 17, 31, 32,
                                           33, 47, 48, 63, 64, 65, 100};

Tokens splitToList(const std::string& s, const std::string& delims) {
  std::list<std::string> out;
  VexaCommonUtils::split(s, delims, out);
  return {out.begin(), out.end()};
}

Tokens splitToVector(const std::string& s, const std::string& delims) {
  Tokens out;
  const unsigned long count = VexaCommonUtils::splitAll(s, delims, out);
  EXPECT_EQ(count, out.size());
  return out;
}

std::string replaced(std::string s, std::string from, std::string to) {
  std::string result = VexaCommonUtils::Vexareplace(s, from, to);
  EXPECT_EQ(result, s);
  return result;
}

// Trimming

struct TrimCase {
  std::string text;
  std::string leading;  // expected of Vexaltrim
  std::string both;     // expected of Vexatrim
};

TEST(Trim, TakesSpacesOnly) {
  const std::vector<TrimCase> cases = {
      {"  a b  ", "a b  ", "a b"},
      {"\ta\t", "\ta\t", "\ta\t"},
      {" \ta\r\n ", "\ta\r\n ", "\ta\r\n"},
      {"   ", "", ""},
      {"", "", ""},
      {" ", "", ""},
      {"a", "a", "a"},
      {"a ", "a ", "a"},
      {" a", "a", "a"},
      {" \0 "s, "\0 "s, "\0"s},
      {" \xA0\v ", "\xA0\v ", "\xA0\v"},
      {std::string(5000, ' ') + "x y" + std::string(5000, ' '), "x y" + std::string(5000, ' '),
       "x y"},
  };
  for (const TrimCase& each : cases) {
    SCOPED_TRACE(each.text);
    std::string text = each.text;
    EXPECT_EQ(VexaCommonUtils::Vexaltrim(text), each.leading);
    EXPECT_EQ(VexaCommonUtils::Vexatrim(text), each.both);
    EXPECT_EQ(text, each.text);
  }
}

TEST(Trim, OfEveryByteTakesTheSpaceOnly) {
  for (const char byte : allBytes()) {
    SCOPED_TRACE(static_cast<int>(byte));
    std::string text(3, byte);
    EXPECT_EQ(VexaCommonUtils::Vexaltrim(text), byte == ' ' ? "" : text);
    EXPECT_EQ(VexaCommonUtils::Vexatrim(text), byte == ' ' ? "" : text);
  }
}

struct TrimSetCase {
  std::string text;
  const char* chars;
  std::string expected;
};

TEST(TrimAll, TakesTheBytesOfTheSet) {
  const std::vector<TrimSetCase> cases = {
      {" \r\nx y\t", " \t\r\n", "x y"},
      {"\t\t", " \t\r\n", ""},
      {"", " \t\r\n", ""},
      {" a ", "", " a "},
      {" a ", nullptr, " a "},
      {"", nullptr, ""},
      {" \0 "s, "", " \0 "s},
      {" \0 "s, " ", "\0"s},  // a NUL is never in the set
      {"abcxcba", "cab", "x"},
      {"xxabcxx", "cab", "xxabcxx"},
      {"aXa", "x", "aXa"},
      {"\xFF\x80m\x80\xFF", "\x80\xFF", "m"},
      {"\v\fa\v\f", " \t\r\n", "\v\fa\v\f"},
  };
  for (const TrimSetCase& each : cases) {
    SCOPED_TRACE(each.text);
    EXPECT_EQ(VexaCommonUtils_i::VexatrimAll(each.text, each.chars), each.expected);
    EXPECT_EQ(VexaCommonUtils_i::trimString(each.text, each.chars), each.expected);
  }
}

TEST(TrimAll, TrimsEveryByteOfTheSet) {
  for (const char byte : allBytes().substr(1)) {
    SCOPED_TRACE(static_cast<int>(byte));
    const std::string chars(1, byte);
    const std::string inside = byte == '-' ? "+" : "-";
    EXPECT_EQ(VexaCommonUtils_i::VexatrimAll(chars + inside + chars, chars.c_str()), inside);
    EXPECT_EQ(VexaCommonUtils_i::trimString(chars + inside + chars, chars.c_str()), inside);
  }
}

// Splitting

struct SplitCase {
  std::string text;
  std::string delims;
  Tokens expected;
};

TEST(Split, SkipsDelimiterBytesAndEndsAtTheWholeDelimiter) {
  const std::vector<SplitCase> cases = {
      {"a,,b,", ",", {"a", "b"}},
      {",,,", ",", {}},
      {"", ",", {}},
      {"abc", ",", {"abc"}},
      {",abc", ",", {"abc"}},
      {"a", "a", {}},
      {"abxab", "ab", {"x"}},
      {"xaybz", "ab", {"xaybz"}},
      {"xabyabz", "ab", {"x", "y", "z"}},
      {"bxaby", "ab", {"x", "y"}},
      {"xabbay", "ab", {"x", "y"}},  // bytes after the found delimiters are skipped as a set
      {"xaaby", "ab", {"xa", "y"}},  // the first whole occurrence ends the token
      {"xab", "ab", {"x"}},
      {"xa", "ab", {"xa"}},
      {"a::b:c", "::", {"a", "b:c"}},
      {":a:::b", "::", {"a", "b"}},
      {"x\0y\0"s, "\0"s, {"x", "y"}},
      {"x\0y,z"s, ",", {"x\0y"s, "z"}},
      {"x\0,y"s, "\0,"s, {"x", "y"}},
      {"x\0y"s, "\0,"s, {"x\0y"s}},
      {"\xE9,\xFF", ",", {"\xE9", "\xFF"}},
      {"a b\tc", " \t", {"a b\tc"}},
      {"ab", "abc", {}},
  };
  for (const SplitCase& each : cases) {
    SCOPED_TRACE(each.text + " / " + each.delims);
    EXPECT_EQ(splitToList(each.text, each.delims), each.expected);
  }
}

TEST(Split, WithoutDelimitersAppendsAnEmptyTokenForEachByte) {
  EXPECT_EQ(splitToList("", ""), Tokens());
  EXPECT_EQ(splitToList("a", ""), Tokens(1));
  EXPECT_EQ(splitToList("a,b", ""), Tokens(3));
  EXPECT_EQ(splitToList("\0\0"s, ""), Tokens(2));
}

TEST(Split, AppendsAndNeverClears) {
  std::list<std::string> out = {"old"};
  VexaCommonUtils::split("", ",", out);
  VexaCommonUtils::split(",,", ",", out);
  EXPECT_THAT(out, ElementsAre("old"));
  VexaCommonUtils::split("a,b", ",", out);
  VexaCommonUtils::split("c", ",", out);
  EXPECT_THAT(out, ElementsAre("old", "a", "b", "c"));
}

TEST(Split, MayTakeItsStringFromTheList) {
  std::list<std::string> out = {"a,b", ","};
  VexaCommonUtils::split(out.front(), out.back(), out);
  EXPECT_THAT(out, ElementsAre("a,b", ",", "a", "b"));
}

TEST(Split, HasNoLengthLimit) {
  const std::string token(3000, 'x');
  EXPECT_EQ(splitToList(token + "," + token, ","), Tokens(2, token));
}

TEST(SplitAll, TakesDelimitersAsASet) {
  const std::vector<SplitCase> cases = {
      {"a b  c", " ", {"a", "b", "c"}},
      {"  a b ", " ", {"a", "b"}},
      {"", " ", {}},
      {"   ", " ", {}},
      {"abc", "", {"abc"}},
      {"", "", {}},
      {"xaybz", "ab", {"x", "y", "z"}},
      {"a\tb\nc d", " \t\n", {"a", "b", "c", "d"}},
      {"\xE9,\xFF", ",", {"\xE9", "\xFF"}},
      {"\xE9,\xFF", "\xE9", {",\xFF"}},
      {"a b\0c d"s, " ", {"a", "b"}},  // bytes after a NUL are not read
      {"\0a b"s, " ", {}},
      {"a,b c", ",\0 "s, {"a", "b c"}},  // nor are delimiters
      {"a b", "\0 "s, {"a b"}},
  };
  for (const SplitCase& each : cases) {
    SCOPED_TRACE(each.text + " / " + each.delims);
    EXPECT_EQ(splitToVector(each.text, each.delims), each.expected);
    std::set<std::string> out;
    VexaCommonUtils_i::splitAll(each.text, each.delims, out);
    EXPECT_THAT(
        out, ElementsAreArray(std::set<std::string>(each.expected.begin(), each.expected.end())));
  }
}

TEST(SplitAll, CountsWhatTheVectorHeldBefore) {
  std::vector<std::string> out = {"x", "y"};
  EXPECT_EQ(VexaCommonUtils::splitAll("a b  c", " ", out), 5U);
  EXPECT_THAT(out, ElementsAre("x", "y", "a", "b", "c"));
  EXPECT_EQ(VexaCommonUtils::splitAll("", " ", out), 5U);
  EXPECT_EQ(VexaCommonUtils::splitAll("  ", " ", out), 5U);
  EXPECT_EQ(out.size(), 5U);
}

TEST(SplitAll, MayTakeItsStringFromTheVector) {
  std::vector<std::string> out = {"a b c d e f g h", " "};
  out.shrink_to_fit();
  EXPECT_EQ(VexaCommonUtils::splitAll(out[0], out[1], out), 10U);
  EXPECT_EQ(out[9], "h");
}

TEST(SplitAll, CollapsesAndOrdersInASet) {
  std::set<std::string> out = {"m"};
  VexaCommonUtils_i::splitAll("b a b", " ", out);
  EXPECT_THAT(out, ElementsAre("a", "b", "m"));
  VexaCommonUtils_i::splitAll("\xE9 Z", " ", out);
  EXPECT_THAT(out, ElementsAre("Z", "a", "b", "m", "\xE9"));
  VexaCommonUtils_i::splitAll("", " ", out);
  EXPECT_EQ(out.size(), 5U);
}

TEST(SplitAll, SeesThe1024FirstBytes) {
  for (const std::size_t length : {1022U, 1023U, 1024U, 1025U, 1026U, 2000U, 100000U}) {
    SCOPED_TRACE(length);
    const std::string seen(std::min<std::size_t>(length, 1024), 'x');
    EXPECT_EQ(splitToVector(std::string(length, 'x'), " "), Tokens{seen});
    std::set<std::string> out;
    VexaCommonUtils_i::splitAll(std::string(length, 'x'), " ", out);
    EXPECT_THAT(out, ElementsAre(seen));
  }
  const std::string head(1022, 'x');
  EXPECT_EQ(splitToVector(head + " yz", " "), (Tokens{head, "y"}));
  EXPECT_EQ(splitToVector(head + "  yz", " "), (Tokens{head}));
}

TEST(SplitAll, OfEveryOtherByteFillsTheLimit) {
  std::string text;
  while (text.size() < 2000) text += "a ";
  EXPECT_EQ(splitToVector(text, " "), Tokens(512, "a"));
}

// Replacing

struct ReplaceCase {
  std::string text;
  std::string from;
  std::string to;
  std::string expected;
};

TEST(Replace, GoesLeftToRightAndNeverIntoWhatItInserted) {
  const std::vector<ReplaceCase> cases = {
      {"aaa", "a", "aa", "aaaaaa"},
      {"aaa", "aa", "b", "ba"},
      {"aaaa", "aa", "a", "aa"},
      {"abab", "ab", "", ""},
      {"aabb", "ab", "", "ab"},  // what joins is not searched again
      {"xabyab", "ab", "ba", "xbayba"},
      {"abc", "x", "y", "abc"},
      {"abc", "abcd", "y", "abc"},
      {"abc", "abc", "", ""},
      {"abc", "abc", "a longer text than the buffer of a short string",
       "a longer text than the buffer of a short string"},
      {"", "a", "b", ""},
      {"", "", "b", ""},
      {"abc", "", "b", "abc"},  // an empty search string changes nothing
      {"abc", "", "", "abc"},
      {"a\0b\0"s, "\0"s, "00", "a00b00"},
      {"a\0b"s, "a\0"s, "x\0y"s, "x\0yb"s},
      {"\xFF\x80", "\x80", "\xFF\xFF", "\xFF\xFF\xFF"},
      {"aab", "ab", "c", "ac"},
      {"ababac", "abac", "x", "abx"},
  };
  for (const ReplaceCase& each : cases) {
    SCOPED_TRACE(each.text + " / " + each.from + " / " + each.to);
    EXPECT_EQ(replaced(each.text, each.from, each.to), each.expected);
    std::string text = each.text;
    VexaCommonUtils::stringReplace(each.from, each.to, text);
    EXPECT_EQ(text, each.expected);
  }
}

TEST(Replace, LeavesItsArgumentsUnchanged) {
  std::string s = "abc";
  std::string from = "b";
  std::string to = "xyz";
  VexaCommonUtils::Vexareplace(s, from, to);
  EXPECT_EQ(from, "b");
  EXPECT_EQ(to, "xyz");
}

TEST(Replace, AcceptsOneObjectTwice) {
  std::string a = "a";
  std::string s = "banana";
  VexaCommonUtils::Vexareplace(s, a, s);  // replaces each "a" by the original string
  EXPECT_EQ(s, "bbanananbanananbanana");
  s = "aba";
  VexaCommonUtils::Vexareplace(s, s, a);
  EXPECT_EQ(s, "a");
  s = "aba";
  std::string longer = "longer than the text";
  VexaCommonUtils::Vexareplace(s, s, longer);
  EXPECT_EQ(s, longer);
  VexaCommonUtils::Vexareplace(s, s, s);
  EXPECT_EQ(s, longer);
  VexaCommonUtils::stringReplace(s, "", s);
  EXPECT_EQ(s, "");
  s = "xx";
  VexaCommonUtils::stringReplace("x", s, s);
  EXPECT_EQ(s, "xxxx");
  s = "ab";
  VexaCommonUtils::stringReplace("abc", s, s);
  EXPECT_EQ(s, "ab");
  VexaCommonUtils::Vexareplace(s, a, a);
  EXPECT_EQ(s, "ab");
}

TEST(ReplaceChar, WritesTheWholeReplacement) {
  const std::vector<ReplaceCase> cases = {
      {"50%_x", "%", "\\%", "50\\%_x"},
      {"", "%", "\\%", ""},
      {"%", "%", "", ""},
      {"%%%", "%", "%%", "%%%%%%"},
      {"a-b-c", "-", "+", "a+b+c"},
      {"a-b-c", "-", "", "abc"},
      {"abc", "-", "+", "abc"},
      {"a\0b"s, "\0"s, "\\0", "a\\0b"},
      {"a-b", "-", "\0\0"s, "a\0\0b"s},
      {"\xE9-", "\xE9", "e", "e-"},
      {"a-", "-", std::string(1000, 'r'), "a" + std::string(1000, 'r')},
  };
  for (const ReplaceCase& each : cases) {
    SCOPED_TRACE(each.text);
    const std::string text = each.text;
    EXPECT_EQ(ReplaceChar(text, each.from[0], each.to), each.expected);
    EXPECT_EQ(text, each.text);
  }
}

TEST(ReplaceChar, AcceptsOneObjectTwice) {
  const std::string s = "a-";
  EXPECT_EQ(ReplaceChar(s, '-', s), "aa-");
}

TEST(ReplaceChar, HandlesEveryByteAtEveryPosition) {
  const std::string bytes = allBytes();
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    SCOPED_TRACE(at);
    EXPECT_EQ(ReplaceChar(bytes, bytes[at], "<>"),
              bytes.substr(0, at) + "<>" + bytes.substr(at + 1));
    EXPECT_EQ(ReplaceChar(bytes, bytes[at], ""), bytes.substr(0, at) + bytes.substr(at + 1));
  }
}

// Case and classes

TEST(ToUpper, ChangesTheAsciiLettersOnly) {
  for (const std::size_t shift : kLengths) {
    SCOPED_TRACE(shift);
    const std::string text = std::string(shift, '.') + allBytes() + "abz-\xE9";
    std::string expected = text;
    for (char& byte : expected) {
      if (byte >= 'a' && byte <= 'z') byte = static_cast<char>(byte - 32);
    }
    EXPECT_EQ(ToUpper(text), expected);
    std::string changed = text;
    ToUpperEx(changed);
    EXPECT_EQ(changed, expected);
  }
}

TEST(ToUpper, WorksOnStringsOfEveryLength) {
  for (const std::size_t length : kLengths) {
    SCOPED_TRACE(length);
    const std::string text(length, 'q');
    EXPECT_EQ(ToUpper(text), std::string(length, 'Q'));
    EXPECT_EQ(text, std::string(length, 'q'));
  }
  EXPECT_EQ(ToUpper("abz-\xE9"), "ABZ-\xE9");
  EXPECT_EQ(ToUpper("a\0b"s), "A\0B"s);
}

// Layout

TEST(Tabs, PadTo32Columns) {
  for (std::size_t length = 0; length <= 40; ++length) {
    SCOPED_TRACE(length);
    EXPECT_EQ(VexaCommonUtils::tabs(std::string(length, 'x')),
              std::string(length < 32 ? 32 - length : 0, ' '));
  }
  EXPECT_EQ(VexaCommonUtils::tabs("\0\0"s).size(), 30U);
}

TEST(Reverse, ReturnsTheBytesBackwards) {
  for (const auto& [text, expected] : std::vector<std::pair<std::string, std::string>>{
           {"", ""}, {"a", "a"}, {"abc", "cba"}, {"a\0\xC3\xA9"s, "\xA9\xC3\0a"s}}) {
    std::string s = text;
    EXPECT_EQ(VexaCommonUtils::Vexareverse(s), expected);
    EXPECT_EQ(s, text);
  }
}

}  // namespace
