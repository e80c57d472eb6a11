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
    {"blanks around", " \t\r\n{} \t\r\n", true, true},
    {"byte-order mark", "\xef\xbb\xbf{}", true, true},
    {"byte-order mark, then text behind", "\xef\xbb\xbf{} x", false, false},
    {"half a byte-order mark", "\xef\xbb{}", false, false},
    {"empty", "", false, false},
    {"blank", " \n", false, false},
    {"NUL", std::string(1, '\0'), false, false},
    {"scalar", "5", true, false},
    {"bare word", "nonsense", false, false},
    {"unterminated object", "{\"a\": 1", false, false},
    {"unterminated text", "{\"a\": \"b}", false, false},
    {"missing colon", "{\"a\" 1}", false, false},
    {"single quotes", "{'a': 1}", false, false},
    {"number too large", "{\"a\": 1e999}", false, false},
    {"a word behind", "{} x", false, false},
    {"no token behind", "{} @", false, false},
    {"a second document", "{}{}", false, false},
    {"a comment behind", "{} // note", true, false},
    {"comments behind", "{} /* a */ // b\n /**/\n", true, false},
    {"a comment, then no token", "{} // note\n@", false, false},
    {"a slash behind", "{} /", false, false},
    {"an unterminated comment behind", "{} /* note", false, false},
    {"a comment before", "// note\n{}", true, false},
    {"NUL behind", std::string("{}\0", 3), false, false},
    {"text behind a NUL", std::string("{}\0x", 4), false, false},
    {"999 levels", nested(999), true, true},
    {"1000 levels", nested(1000), true, true},
    {"1001 levels", nested(1001), false, false},
    {"10,000 levels", nested(10'000), false, false},
    {"10,000 objects", nestedObjects(10'000), false, false},
    {"10,000 opening brackets", std::string(10'000, '['), false, false},
};

TEST(JsonReader, TellsDocumentsFromMalformedText) {
  for (const Document& document : kDocuments) {
    SCOPED_TRACE(document.name);
    Json::Value root("junk");
    EXPECT_EQ(document.lenient, JsonReader(false).parse(document.text, root));
    EXPECT_EQ(document.strict, JsonReader(true).parse(document.text, root));
  }
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
