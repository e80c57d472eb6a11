// Base64 without its block coders and with the test's own locale: this program compiles the source
// with both replaced.
#include <gtest/gtest.h>

#include <bitset>
#include <climits>
#include <random>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "bytes/base64_avx2.h"
#include "text/base64_model.h"

namespace {

using commutil_test::kBase64Alphabet;
using commutil_test::modelDecode;
using commutil_test::modelEncode;

using Bytes = std::bitset<UCHAR_MAX + 1>;

Bytes base64Letters() {
  Bytes letters;
  for (const char c : kBase64Alphabet.substr(0, 62)) letters.set(static_cast<unsigned char>(c));
  return letters;
}

/// The bytes that the locale takes for letters or digits.
Bytes lettersAndDigits = base64Letters();
bool askedForNoByte = false;

std::mt19937 randomNumbers(4648);

std::string randomText(std::size_t size, std::string_view characters) {
  std::string text;
  while (text.size() < size) text += characters[randomNumbers() % characters.size()];
  return text;
}

}  // namespace

extern "C" int isalnum(int c) noexcept {
  if (c < 0 || c > UCHAR_MAX) {
    askedForNoByte = true;
    return 0;
  }
  return lettersAndDigits[static_cast<std::size_t>(c)] ? 1 << 3 : 0;
}

namespace commutil {

std::size_t encodeBlocks(const unsigned char*, std::size_t, char*) { return 0; }

std::size_t decodeBlocks(const unsigned char*, std::size_t, unsigned char*) { return 0; }

}  // namespace commutil

namespace {

class Base64Rule : public ::testing::Test {
 protected:
  ~Base64Rule() override { lettersAndDigits = base64Letters(); }

  static std::string decode(const std::string& text) {
    std::string bytes = VexaCommonUtils::base64Decode(text);
    EXPECT_EQ(VexaCommonUtils_i::decodeData(text), bytes);
    return bytes;
  }

  static bool isLetter(unsigned char byte) { return lettersAndDigits[byte]; }
};

TEST_F(Base64Rule, RoundTripsEveryLengthWithoutBlocks) {
  for (std::size_t size = 0; size <= 300; ++size) {
    SCOPED_TRACE(size);
    std::string bytes;
    while (bytes.size() < size) bytes += static_cast<char>(randomNumbers());
    const std::string text =
        VexaCommonUtils_i::encodeData(bytes.data(), static_cast<unsigned>(size));
    ASSERT_EQ(modelEncode(bytes), text);
    ASSERT_EQ(bytes, decode(text));
  }
}

TEST_F(Base64Rule, DecodesAnyStringInAnyLocale) {
  for (int round = 0; round < 300; ++round) {
    lettersAndDigits = base64Letters();
    for (std::size_t byte = 128; byte <= UCHAR_MAX; ++byte) {
      lettersAndDigits[byte] = randomNumbers() % 8 != 0;
    }
    std::string characters(kBase64Alphabet);
    for (std::size_t byte = 128; byte <= UCHAR_MAX; byte += 1 + randomNumbers() % 64) {
      characters += static_cast<char>(byte);
    }
    const std::string text = randomText(randomNumbers() % 200, characters);
    ASSERT_EQ(modelDecode(text, isLetter), decode(text)) << text;
  }
  EXPECT_FALSE(askedForNoByte);
}

TEST_F(Base64Rule, FollowsTheLocaleForEveryByte) {
  for (std::size_t byte = 0; byte <= UCHAR_MAX; ++byte) {
    const auto c = static_cast<unsigned char>(byte);
    const bool known = kBase64Alphabet.find(static_cast<char>(byte)) != std::string::npos;
    lettersAndDigits = base64Letters();
    EXPECT_EQ(known, VexaCommonUtils::isBase64(c)) << byte;
    lettersAndDigits.set(byte);
    EXPECT_TRUE(VexaCommonUtils::isBase64(c)) << byte;
    const std::string text = "TWFu" + std::string(4, static_cast<char>(byte)) + "TWFu";
    EXPECT_EQ(modelDecode(text, isLetter), decode(text)) << byte;
  }
  EXPECT_FALSE(askedForNoByte);
}

TEST_F(Base64Rule, EndsAtAPadEvenWhereItIsALetter) {
  lettersAndDigits.set('=');
  EXPECT_TRUE(VexaCommonUtils::isBase64('='));
  EXPECT_EQ("M", decode("TQ==TWFu"));
  EXPECT_EQ("", decode("=TWFu"));
}

}  // namespace
