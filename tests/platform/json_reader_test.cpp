#include "platform/json_reader.h"

#include <gtest/gtest.h>

namespace {

struct Document {
  const char* name;
  std::string text;
  bool lenient;
  bool strict;
};

std::string nested(std::size_t depth) {
  return std::string(depth, '[').append(std::string(depth, ']'));
}

std::string nestedObjects(std::size_t depth) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += "{\"a\":";
  return text + "1" + std::string(depth, '}');
}

const Document kDocuments[] = {
    {"object", "{}", true, true},
    {"array", "[1, 2]", true, true},
    {"whitespace around", " \t\r\n{} \t\r\n", true, true},
    {"byte-order mark", "\xef\xbb\xbf{}", true, true},
    {"byte-order mark, then text after the document", "\xef\xbb\xbf{} x", false, false},
    {"half a byte-order mark", "\xef\xbb{}", false, false},
    {"byte-order mark, then a comment after the document", "\xef\xbb\xbf{} // note", true, false},
    {"byte-order mark, then whitespace", "\xef\xbb\xbf \n{}\n", true, true},
    {"byte-order mark alone", "\xef\xbb\xbf", false, false},
    {"two byte-order marks", "\xef\xbb\xbf\xef\xbb\xbf{}", false, false},
    {"byte-order mark after the document", "{}\xef\xbb\xbf", false, false},
    {"byte-order mark after a space", " \xef\xbb\xbf{}", false, false},
    {"byte-order mark inside", "{\xef\xbb\xbf}", false, false},
    {"byte-order mark of UTF-16", std::string("\xff\xfe{\0}\0", 6), false, false},
    {"UTF-16 without a mark", std::string("{\0}\0", 4), false, false},
    {"empty", "", false, false},
    {"whitespace only", " \n", false, false},
    {"NUL", std::string(1, '\0'), false, false},
    {"scalar", "5", true, false},
    {"bare word", "nonsense", false, false},
    {"unterminated object", "{\"a\": 1", false, false},
    {"unterminated text", "{\"a\": \"b}", false, false},
    {"missing colon", "{\"a\" 1}", false, false},
    {"single quotes", "{'a': 1}", false, false},
    {"a control character in a string", "{\"a\": \"\x01\"}", true, true},
    {"an unknown escape", "{\"a\": \"\\q\"}", false, false},
    {"half an escape", "{\"a\": \"\\u00", false, false},
    {"half a surrogate pair", R"({"a": "\ud800"})", false, false},
    {"a comma after the last member", R"({"a": 1,})", false, false},
    {"a comma after the last element", "[1,]", false, false},
    {"a comma only", "[,]", false, false},
    {"two commas", "[1,,2]", false, false},
    {"a member without a name", "{: 1}", false, false},
    {"the wrong bracket", "[1}", false, false},
    {"not a number", "[NaN]", false, false},
    {"a number in hexadecimal", "[0x10]", false, false},
    {"half a literal", "[tru]", false, false},
    {"a literal in another case", "[True]", false, false},
    {"number too large", "{\"a\": 1e999}", false, false},
    {"a word after the document", "{} x", false, false},
    {"an invalid token after the document", "{} @", false, false},
    {"a second document", "{}{}", false, false},
    {"a comment after the document", "{} // note", true, false},
    {"comments after the document", "{} /* a */ // b\n /**/\n", true, false},
    {"a comment, then an invalid token", "{} // note\n@", false, false},
    {"a slash after the document", "{} /", false, false},
    {"an unterminated comment after the document", "{} /* note", false, false},
    {"a comment before the document", "// note\n{}", true, false},
    {"NUL after the document", std::string("{}\0", 3), false, false},
    {"text after a NUL", std::string("{}\0x", 4), false, false},
    {"999 levels", nested(999), true, true},
    {"1000 levels", nested(1000), true, true},
    {"1001 levels", nested(1001), false, false},
    {"10,000 levels", nested(10'000), false, false},
    {"10,000 objects", nestedObjects(10'000), false, false},
    {"10,000 opening brackets", std::string(10'000, '['), false, false},
};

TEST(JsonReader, DistinguishesDocumentsFromMalformedInput) {
  for (const Document& document : kDocuments) {
    SCOPED_TRACE(document.name);
    Json::Value root("junk");
    EXPECT_EQ(document.lenient, JsonReader(false).parse(document.text, root));
    EXPECT_EQ(document.strict, JsonReader(true).parse(document.text, root));
  }
}

TEST(JsonReader, ReadsTheSameAfterAByteOrderMark) {
  const std::string text = R"({"b": [{"c": "text"}], "a": 1})";
  Json::Value plain;
  Json::Value marked;
  ASSERT_TRUE(JsonReader(false).parse(text, plain));
  ASSERT_TRUE(JsonReader(false).parse("\xef\xbb\xbf" + text, marked));
  EXPECT_EQ(plain, marked);
  EXPECT_EQ((Json::Value::Members{"a", "b"}), marked.getMemberNames());
}

TEST(JsonReader, KeepsAByteOrderMarkInsideAString) {
  Json::Value root;
  ASSERT_TRUE(JsonReader(false).parse("{\"a\": \"\xef\xbb\xbf\"}", root));
  EXPECT_EQ("\xef\xbb\xbf", root["a"].asString());
}

TEST(JsonReader, FillsTheRoot) {
  Json::Value root("junk");
  ASSERT_TRUE(JsonReader(false).parse(R"({"b": [{"c": "text\u0041"}], "a": 1})", root));
  EXPECT_EQ("textA", root["b"][0]["c"].asString());
  EXPECT_EQ((Json::Value::Members{"a", "b"}), root.getMemberNames());
}

TEST(JsonReader, TakesTheLastOfRepeatedNamesUnlessStrict) {
  Json::Value root;
  ASSERT_TRUE(JsonReader(false).parse(R"({"a": 1, "a": 2})", root));
  EXPECT_EQ(2, root["a"].asInt());
  EXPECT_FALSE(JsonReader(true).parse(R"({"a": 1, "a": 2})", root));
}

TEST(JsonReader, ParsesAgainAfterAFailure) {
  const JsonReader reader(false);
  Json::Value root;
  EXPECT_FALSE(reader.parse(nested(5000), root));
  EXPECT_TRUE(reader.parse("[7]", root));
  EXPECT_EQ(7, root[0].asInt());
}

TEST(JsonReader, KeepsBytesThatAreNotUtf8) {
  Json::Value root;
  ASSERT_TRUE(JsonReader(false).parse("{\"a\": \"\xff\xfe\"}", root));
  EXPECT_EQ("\xff\xfe", root["a"].asString());
}

}  // namespace
