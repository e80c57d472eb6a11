// The JSON reader on any string: accepts only whole documents, with whitespace and comments around
// them, which survive being written and read again.
#include <json/value.h>
#include <json/writer.h>

#include <string>

#include "platform/json_reader.h"
#include "support/expect.h"
#include "support/input.h"

namespace {

using commutil_fuzz::expect;

const JsonReader& lenient() {
  static const JsonReader reader(false);
  return reader;
}

const JsonReader& strict() {
  static const JsonReader reader(true);
  return reader;
}

std::string written(const Json::Value& root) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;  // strings may hold any bytes, which must survive
  return Json::writeString(builder, root);
}

void checkAccepted(const std::string& text, const Json::Value& root) {
  Json::Value again;
  expect(lenient().parse(written(root), again), "what was read can be written and read again");
  expect(again == root, "a document stays the same when written and read again");
  expect(lenient().parse(text + "\n /* */ // end", again) && again == root,
         "whitespace and comments may follow");
  for (const char* const more : {"\n]", "\n}", "\n,", "\nx", "\n\"", "\n/* ", "\n1"}) {
    expect(!lenient().parse(text + more, again), "nothing else may follow");
  }
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::string text = input.rest();
  Json::Value root;
  const bool accepted = lenient().parse(text, root);
  if (accepted) checkAccepted(text, root);

  Json::Value strictRoot;
  if (!strict().parse(text, strictRoot)) return;
  expect(accepted && strictRoot == root, "the lenient reader accepts what the strict one accepts");
  expect(!strict().parse(text + "\n// end", strictRoot), "the strict reader rejects comments");
  expect(!strict().parse("/* */" + text, strictRoot), "the strict reader rejects comments");
  expect(strict().parse(text + " \n", strictRoot) && strictRoot == root, "whitespace may follow");
}
