#include "bytes/scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>

#include "bytes/aligned_room.h"
#include "support/fixtures.h"

namespace {

using commutil::AnyOf;
using commutil::Block;
using commutil::ByteSet;
using commutil::containsAny;
using commutil::containsAnyOf;
using commutil::countBytes;
using commutil::InRange;
using commutil_test::AlignedRoom;
using commutil_test::allBytes;
using commutil_test::kAlignments;
using commutil_test::kMostBytes;

/// Expects the hits in a block to be the bytes that belong to `set`.
template <class Set>
void expectHits(const Set& set) {
  const std::string bytes = allBytes();
  for (std::size_t at = 0; at < bytes.size(); at += Block::kSize) {
    std::string hits(Block::kSize, '\0');
    set(Block::load(bytes.data() + at)).store(hits.data());
    for (std::size_t i = 0; i < hits.size(); ++i)
      EXPECT_EQ(set(bytes[at + i]) ? '\xFF' : '\0', hits[i]) << at + i;
  }
}

TEST(ByteClasses, AgreeInBlocks) {
  expectHits(InRange{'a', 'z'});
  expectHits(InRange{'\x80', '\xBF'});
  expectHits(InRange{'\0', '\xFF'});
  expectHits(AnyOf<'%', '_', '\\'>());
  expectHits(AnyOf<'\0'>());
}

TEST(Scanning, AgreesWithAPlainLoop) {
  std::mt19937 random(255);
  const InRange set{'a', 'c'};
  for (std::size_t size = 0; size < 200; ++size) {
    for (int round = 0; round < 20; ++round) {
      std::string text(size, 'x');
      for (unsigned hits = random() % 4; hits > 0 && size > 0; --hits) text[random() % size] = 'b';
      ASSERT_EQ(std::any_of(text.begin(), text.end(), set), containsAny(text, set)) << text;
      const auto count = std::count_if(text.begin(), text.end(), set);
      ASSERT_EQ(static_cast<std::size_t>(count), countBytes(text, set)) << text;
    }
  }
}

// Each lane of a block counts up to 255.
TEST(Scanning, CountsMoreBlocksThanALaneHolds) {
  for (const std::size_t size : {255U * 16, 255U * 16 + 1, 256U * 16, 1'000'000U})
    EXPECT_EQ(size, countBytes(std::string(size, 'a'), InRange{'a', 'a'}));
}

constexpr AnyOf<'%', '_', '\xFF', '\0'> kFew{};

TEST(Scanning, FindsOneOfAFewBytesWhereverItIs) {
  AlignedRoom room('%');
  for (std::size_t size = 0; size <= kMostBytes; ++size) {
    std::string text(size, 'x');
    for (std::size_t alignment = 0; alignment < kAlignments; ++alignment) {
      ASSERT_FALSE(containsAnyOf(room.place(text, alignment), kFew)) << size;
      if (size == 0) continue;
      char& byte = text[(size * 31 + alignment * 257) % size];
      byte = "%_\xFF\0"[alignment % 4];
      ASSERT_TRUE(containsAnyOf(room.place(text, alignment), kFew)) << size;
      byte = 'x';
    }
  }
}

TEST(Scanning, FindsTheLastByteOfALongText) {
  for (const std::size_t size : {4095U, 4096U, 4097U, 8192U, 8193U, 100000U}) {
    std::string text(size, 'x');
    ASSERT_FALSE(containsAnyOf(text, kFew));
    for (const char byte : {'%', '_', '\xFF', '\0'}) {
      text.back() = byte;
      ASSERT_TRUE(containsAnyOf(text, kFew)) << size;
    }
  }
}

TEST(ByteSet, HoldsItsBytes) {
  const std::string bytes = allBytes();
  for (const std::string_view members :
       {std::string_view(""), std::string_view(" \t\r\n"), std::string_view("\0\xFF\x80", 3)}) {
    const ByteSet set(members);
    for (const char byte : bytes)
      EXPECT_EQ(members.find(byte) != std::string_view::npos, set.contains(byte));
  }
}

TEST(ByteSet, SkipsToTheFirstOtherByte) {
  const ByteSet set(" \t");
  EXPECT_EQ(2U, set.skip(" \tx ", 0));
  EXPECT_EQ(2U, set.skip(" \tx ", 2));
  EXPECT_EQ(4U, set.skip(" \tx ", 3));
  EXPECT_EQ(4U, set.skip(" \tx ", 9));
  EXPECT_EQ(0U, set.skip("", 0));
}

}  // namespace
