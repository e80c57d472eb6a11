// Compares base64 with the rule of RFC 4648: a round trip of any bytes, and decoding of any string.
#include "text/base64_model.h"

#include <cctype>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/expect.h"
#include "support/input.h"

namespace {

using commutil_fuzz::expectEqual;

bool isAlnum(unsigned char c) { return std::isalnum(c) != 0; }

void checkRoundTrip(const std::string& text) {
  const std::vector<char> data(text.begin(), text.end());  // ends where its memory ends
  const std::string encoded =
      VexaCommonUtils_i::encodeData(data.data(), static_cast<unsigned>(data.size()));
  expectEqual(encoded, commutil_test::modelEncode(text), "encodeData");
  expectEqual(encoded.size(), (text.size() + 2) / 3 * 4, "the length of an encoded string");
  expectEqual(VexaCommonUtils::base64Decode(encoded), text, "what was encoded decodes");
}

void checkDecoding(const std::string& text) {
  const std::string decoded = VexaCommonUtils::base64Decode(text);
  expectEqual(decoded, commutil_test::modelDecode(text, isAlnum), "base64Decode");
  expectEqual(VexaCommonUtils_i::decodeData(text), decoded, "both decoders agree");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const unsigned encodedBytes = input.choice(64);
  const std::string text = input.rest();
  checkRoundTrip(text);
  checkDecoding(text);

  // Most strings end at once; a valid start gets further.
  const std::string begin = text.substr(0, encodedBytes);
  checkDecoding(commutil_test::modelEncode(begin) + text.substr(begin.size()));

  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    expect(VexaCommonUtils::isBase64(byte) == (isAlnum(byte) || c == '+' || c == '/'), "isBase64");
  }
}
