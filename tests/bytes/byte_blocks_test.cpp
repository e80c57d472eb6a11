// Blocks beside plain loops, at every size up to 4096 and every alignment within a cache line.
#include "bytes/byte_blocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace {

using commutil::AnyOf;

constexpr std::size_t kMostBytes = 4096;
constexpr std::size_t kAlignments = 64;
constexpr AnyOf<'%', '_', '\xFF', '\0'> kSet{};

char* doubled(char* out, char byte) {
  *out++ = byte;
  *out++ = byte;
  return out;
}

/// A block of memory in which a text can have any alignment, with bytes of the set around it.
class Room {
 public:
  std::string_view place(std::string_view text, std::size_t alignment) {
    char* const begin = m_bytes + kAlignments + alignment;
    std::fill(m_bytes, begin, '%');
    std::copy(text.begin(), text.end(), begin);
    std::fill(begin + text.size(), begin + text.size() + kAlignments, '%');
    return {begin, text.size()};
  }

 private:
  alignas(kAlignments) char m_bytes[kMostBytes + 3 * kAlignments];
};

TEST(ByteBlocks, FindAByteOfASetWhereverItIs) {
  Room room;
  for (std::size_t size = 0; size <= kMostBytes; ++size) {
    std::string text(size, 'x');
    for (std::size_t alignment = 0; alignment < kAlignments; ++alignment) {
      ASSERT_FALSE(commutil::containsAnyOf(room.place(text, alignment), kSet)) << size;
      if (size == 0) continue;
      char& byte = text[(size * 31 + alignment * 257) % size];
      byte = "%_\xFF\0"[alignment % 4];
      ASSERT_TRUE(commutil::containsAnyOf(room.place(text, alignment), kSet)) << size;
      byte = 'x';
    }
  }
}

// Texts of more than one piece, in each of which every byte is searched for.
TEST(ByteBlocks, FindTheLastByteOfALongText) {
  for (const std::size_t size : {4095U, 4096U, 4097U, 8192U, 8193U, 100000U}) {
    std::string text(size, 'x');
    ASSERT_FALSE(commutil::containsAnyOf(text, kSet));
    for (const char byte : {'%', '_', '\xFF', '\0'}) {
      text.back() = byte;
      ASSERT_TRUE(commutil::containsAnyOf(text, kSet)) << size;
    }
  }
}

TEST(ByteBlocks, RewriteAsAPlainLoopDoes) {
  Room room;
  for (std::size_t size = 0; size <= kMostBytes; ++size) {
    std::string text;
    std::string expected;
    for (std::size_t i = 0; i < size; ++i) {
      text += i * i % (3 + size % 40) == 1 ? "%_\xFF\0"[i % 4] : 'x';
      expected.append(kSet(text.back()) ? 2 : 1, text.back());
    }
    for (std::size_t alignment = 0; alignment < kAlignments; ++alignment) {
      ASSERT_EQ(commutil::rewriteBytes(room.place(text, alignment), kSet, 2, doubled), expected)
          << size;
    }
  }
}

}  // namespace
