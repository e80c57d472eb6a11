// The application configuration: documents of right and wrong kinds composed from the input,
// compared with expected results, and any string.
#include <json/value.h>
#include <json/writer.h>

#include <map>
#include <string>

#include "config/uncached.h"
#include "platform/json_reader.h"
#include "support/expect.h"
#include "support/input.h"
#include "support/scratch.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;
using commutil_fuzz::Input;
using commutil_fuzz::Scratch;
using commutil_fuzz::setVariable;

const Scratch& deployment() {
  static const Scratch scratch;
  static const bool made = [] {
    setVariable("APP_CONF_FILE", scratch / "application.json");
    return true;
  }();
  static_cast<void>(made);
  return scratch;
}

std::string written(const Json::Value& root) {
  Json::StreamWriterBuilder builder;
  builder["emitUTF8"] = true;
  return Json::writeString(builder, root);
}

void checkDatabaseType(Input& input) {
  Json::Value root(Json::objectValue);
  std::map<std::string, std::string> types;
  while (!input.empty()) {
    const std::string name = input.field();
    Json::Value& entries = root["databases"][name];
    entries = Json::Value();
    std::string& type = types[name];
    type = input.field();
    switch (input.choice(5)) {
      case 0:
        entries[0U]["other"] = type;
        type.clear();
        break;
      case 1:
        entries["type"] = type;
        type.clear();
        break;
      case 2:
        entries = type;
        type.clear();
        break;
      case 3:
        entries[0U]["type"][0U] = type;
        type.clear();
        break;
      default:
        entries[0U]["type"] = type;
        entries[1U]["type"] = "other";
        break;
    }
  }
  const std::string expected = types.empty() ? "" : types.begin()->second;
  deployment().write("application.json", written(root));
  const commutil::Answer<std::string> answer = commutil::findDatabaseType();
  expectEqual(answer.value, expected.empty() ? "sybase" : expected, "the database type");
  expectEqual(answer.keep, !expected.empty(), "a database type that was read is cacheable");
}

void checkText(Input& input) {
  const std::string text = input.rest();
  deployment().write("application.json", text);
  Json::Value root;
  const bool isJson = JsonReader(false).parse(text, root);

  const commutil::Answer<std::string> answer = commutil::findDatabaseType();
  if (!isJson) expect(!answer.keep, "without a document nothing is cacheable");
  if (!answer.keep) expectEqual(answer.value, "sybase", "the default type");
  expect(!answer.value.empty(), "there is always a type");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  return input.choice(2) == 0 ? checkDatabaseType(input) : checkText(input);
}
