#include "bytes/block.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <random>
#include <string>

#include "support/fixtures.h"

namespace {

using commutil::Block;
using commutil::lowestBit;
using commutil::Quad;
using commutil::WideBlock;
using commutil_test::allBytes;

constexpr std::size_t kSize = Block::kSize;

std::string bytesOf(Block block) {
  std::string bytes(kSize, '\0');
  block.store(bytes.data());
  return bytes;
}

/// What each byte of two texts becomes, one after the other.
template <class Operation>
std::string byteByByte(const std::string& a, const std::string& b, const Operation& operation) {
  std::string result;
  for (std::size_t i = 0; i < a.size(); ++i) {
    result += static_cast<char>(
        operation(static_cast<unsigned char>(a[i]), static_cast<unsigned char>(b[i])));
  }
  return result;
}

std::string randomBytes(std::mt19937& random) {
  std::string bytes;
  while (bytes.size() < kSize) bytes += static_cast<char>(random());
  return bytes;
}

TEST(Block, LoadsAndStoresItsBytes) {
  const std::string text = "x0123456789abcdefx";
  EXPECT_EQ(text.substr(1, kSize), bytesOf(Block::load(text.data() + 1)));
  EXPECT_EQ(std::string(kSize, '\0'), bytesOf(Block()));
  for (const char byte : allBytes())
    EXPECT_EQ(std::string(kSize, byte), bytesOf(Block::filledWith(byte)));
}

TEST(Block, ComputesEachByteSeparately) {
  std::mt19937 random(16);
  for (int round = 0; round < 10'000; ++round) {
    const std::string a = randomBytes(random);
    std::string b = randomBytes(random);
    b[random() % kSize] = a[random() % kSize];
    const Block x = Block::load(a.data());
    const Block y = Block::load(b.data());
    ASSERT_EQ(byteByByte(a, b, [](int p, int q) { return p == q ? 0xFF : 0; }), bytesOf(x == y));
    ASSERT_EQ(byteByByte(a, b, [](int p, int q) { return p & q; }), bytesOf(x & y));
    ASSERT_EQ(byteByByte(a, b, [](int p, int q) { return p | q; }), bytesOf(x | y));
    ASSERT_EQ(byteByByte(a, b, [](int p, int q) { return p ^ q; }), bytesOf(x ^ y));
    ASSERT_EQ(byteByByte(a, b, [](int p, int q) { return p - q; }), bytesOf(x - y));
    unsigned mask = 0;
    std::size_t sum = 0;
    for (std::size_t i = 0; i < kSize; ++i) {
      const unsigned byte = static_cast<unsigned char>(a[i]);
      mask |= (byte >> 7U) << i;
      sum += byte;
    }
    ASSERT_EQ(mask, x.mask());
    ASSERT_EQ(sum, x.sum());
  }
}

TEST(Block, FindsTheBytesWithinARange) {
  const std::string bytes = allBytes();
  const std::array<std::array<int, 2>, 6> ranges = {
      {{'a', 'z'}, {'0', '0'}, {0, 255}, {0, 0}, {0x80, 0xBF}, {0x7F, 0x80}}};
  for (const auto& [low, high] : ranges) {
    for (std::size_t at = 0; at < bytes.size(); at += kSize) {
      const std::string text = bytes.substr(at, kSize);
      const Block hits =
          Block::load(text.data()).within(static_cast<char>(low), static_cast<char>(high));
      const auto isWithin = [low = low, high = high](int byte, int) {
        return byte >= low && byte <= high ? 0xFF : 0;
      };
      EXPECT_EQ(byteByByte(text, text, isWithin), bytesOf(hits)) << low << " to " << high;
    }
  }
}

TEST(Block, WidensEachByte) {
  const std::string bytes = allBytes();
  for (std::size_t at = 0; at < bytes.size(); at += kSize) {
    std::wstring wide(kSize, L'#');
    Block::load(bytes.data() + at).widenTo(wide.data());
    for (std::size_t i = 0; i < kSize; ++i)
      EXPECT_EQ(static_cast<wchar_t>(static_cast<unsigned char>(bytes[at + i])), wide[i]);
  }
}

TEST(LowestBit, IsThePositionOfTheFirstHit) {
  for (unsigned mask = 1; mask < 0x10000; ++mask) {
    std::size_t first = 0;
    while ((mask >> first & 1U) == 0) ++first;
    ASSERT_EQ(first, lowestBit(mask));
  }
}

TEST(Quad, ComputesEachCharacterSeparately) {
  std::mt19937 random(4);
  for (int round = 0; round < 10'000; ++round) {
    std::array<wchar_t, 4> values{};
    for (wchar_t& value : values) value = static_cast<wchar_t>(random());
    const auto limit = static_cast<int>(random());
    std::size_t sum = 0;
    std::size_t greater = 0;
    std::size_t lesser = 0;
    for (const wchar_t value : values) {
      sum += static_cast<unsigned>(value);
      greater += value > limit ? 1U : 0U;
      lesser += value < limit ? 1U : 0U;
    }
    const Quad quad = Quad::load(values.data());
    ASSERT_EQ(sum, quad.sum());
    ASSERT_EQ(greater, (Quad() - (quad > limit)).sum());
    ASSERT_EQ(lesser, (Quad() - (quad < limit)).sum());
    ASSERT_EQ(greater > 0, (quad > limit).any());
    ASSERT_EQ(greater + lesser, (Quad() - ((quad > limit) | (quad < limit))).sum());
    ASSERT_FALSE(((quad > limit) & (quad < limit)).any());
    ASSERT_EQ(static_cast<unsigned>(values[0]), Quad::single(values[0]).sum());
    ASSERT_EQ(greater + lesser, (Quad() - ((quad > limit) + (quad < limit))).sum());
  }
}

TEST(WideBlock, RecognizesAsciiAtEveryPosition) {
  const std::wstring ascii = L"0123456789abcd\x7F\x01";
  EXPECT_TRUE(WideBlock::load(ascii.data()).isAscii());
  EXPECT_EQ("0123456789abcd\x7F\x01", bytesOf(WideBlock::load(ascii.data()).bytes()));
  for (std::size_t at = 0; at < kSize; ++at) {
    for (const wchar_t beyond : {L'\x80', L'\xFF', L'\x100', L'\x10FFFF', L'\xFFFFFFFF'}) {
      std::wstring text = ascii;
      text[at] = beyond;
      EXPECT_FALSE(WideBlock::load(text.data()).isAscii()) << at;
    }
  }
}

}  // namespace
