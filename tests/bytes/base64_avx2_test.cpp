#include "bytes/base64_avx2.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "text/base64_model.h"

namespace {

using commutil::decodeBlocks;
using commutil::encodeBlocks;
using commutil_test::kBase64Alphabet;
using commutil_test::modelDecode;
using commutil_test::modelEncode;

const unsigned char* bytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

bool isInAlphabet(unsigned char byte) {
  return kBase64Alphabet.find(static_cast<char>(byte)) != kBase64Alphabet.npos;
}

// On a processor without AVX2 nothing is done, which these tests accept.
const bool kHasBlocks = __builtin_cpu_supports("avx2") != 0;

TEST(Base64Blocks, EncodeAsAPlainLoopDoes) {
  std::mt19937 random(24);
  for (std::size_t size = 0; size < 300; ++size) {
    std::string data;
    while (data.size() < size) data += static_cast<char>(random());
    const std::string expected = modelEncode(data);
    std::string out(expected.size(), '#');
    const std::size_t done = encodeBlocks(bytesOf(data), size, out.data());
    ASSERT_LE(done, size);
    ASSERT_EQ(0U, done % 3);
    EXPECT_EQ(kHasBlocks && size >= 16, done > 0) << size;
    ASSERT_EQ(expected.substr(0, done / 3 * 4), out.substr(0, done / 3 * 4));
  }
}

TEST(Base64Blocks, DecodeAsAPlainLoopDoes) {
  std::mt19937 random(32);
  for (std::size_t size = 0; size < 300; ++size) {
    std::string text;
    while (text.size() < size) text += kBase64Alphabet[random() % kBase64Alphabet.size()];
    const std::size_t decoded = size / 4 * 3;
    std::string out(decoded + 32, '#');
    auto* const room = reinterpret_cast<unsigned char*>(out.data());
    const std::size_t done = decodeBlocks(bytesOf(text), size, room);
    ASSERT_EQ(std::string(32, '#'), out.substr(decoded)) << size << ": nothing is written beyond";
    ASSERT_LE(done, size);
    ASSERT_EQ(0U, done % 4);
    EXPECT_EQ(kHasBlocks && size >= 24, done > 0) << size;
    ASSERT_EQ(modelDecode(text.substr(0, done), isInAlphabet), out.substr(0, done / 4 * 3));
  }
}

TEST(Base64Blocks, StopBeforeAnyOtherByte) {
  for (int byte = 0; byte < 256; ++byte) {
    if (isInAlphabet(static_cast<unsigned char>(byte))) continue;
    for (std::size_t at = 0; at < 120; ++at) {
      std::string text(120, 'A');
      text[at] = static_cast<char>(byte);
      std::string out(90, '#');
      auto* const room = reinterpret_cast<unsigned char*>(out.data());
      ASSERT_LE(decodeBlocks(bytesOf(text), text.size(), room), at) << byte;
    }
  }
}

}  // namespace
