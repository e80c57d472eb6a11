// JSON documents: well-formed if the library's reader accepts them, and where they are malformed.
#include "settings/json_document.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/json_reader.h"

namespace {

using settings::JsonDocument;
using settings::JsonRules;

std::string faultOf(const std::string& text, JsonRules rules) {
  const JsonDocument document(text, rules);
  if (!document.fault()) return {};
  const settings::Finding& fault = *document.fault();
  return std::to_string(fault.place.line) + ":" + std::to_string(fault.place.column) + " " +
         fault.message;
}

TEST(JsonDocument, AgreesWithTheLibrary) {
  std::mt19937 random(1);
  const std::string pieces[] = {
      "{",  "}",  "[",  "]", "\"a\"",          ":", ",", "1", "true", " ", "\n", "//",
      "/*", "*/", "\"", "x", "{\"a\": [1, 2]}"};
  for (int i = 0; i < 5000; ++i) {
    std::string text = i % 9 == 0 ? "\xef\xbb\xbf" : "";
    for (auto n = random() % 9; n > 0; --n) text += pieces[random() % std::size(pieces)];
    SCOPED_TRACE(text);
    Json::Value root;
    const bool wellFormed = JsonReader(false).parse(text, root);
    const JsonDocument document(text, JsonRules::lenient);
    ASSERT_EQ(wellFormed, !document.fault());
    if (wellFormed) {
      ASSERT_EQ(root, document.root());
    }
  }
}

TEST(JsonDocument, FindsThePlace) {
  const struct {
    std::string text;
    std::string fault;
  } rows[] = {
      {"{\n  \"a\": 1,\n  \"b\" 2\n}", "3:7 Missing ':' after object member name"},
      {"{\"a\": 1} x", "1:10 Extra non-whitespace after JSON value"},
      {"{\"a\": 1}\n}", "2:1 Extra non-whitespace after JSON value"},
      {"", "1:1 empty"},
      {" \n", "1:1 empty"},
      {"[1]", "1:1 not an object"},
      {"{\"a\": /* note */ 1}", "1:7 Syntax error: value, object or array expected"},
      {std::string(2000, '['), "1:1 nested deeper than 1000 levels"},
      {"{\"a\": 1, \"a\": 2}", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 40));
    EXPECT_EQ(row.fault, faultOf(row.text, JsonRules::strict));
  }
}

TEST(JsonDocument, KeepsPositionsAndSpellings) {
  const JsonDocument document("\xef\xbb\xbf{\n \"a\": 5.0}", JsonRules::strict);
  ASSERT_FALSE(document.fault());
  const Json::Value& value = document.root()["a"];
  EXPECT_EQ("5.0", document.spellingOf(value));
  EXPECT_EQ(2U, document.placeOf(value).line);
  EXPECT_EQ(7U, document.placeOf(value).column);
}

}  // namespace
