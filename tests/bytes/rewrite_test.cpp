#include "bytes/rewrite.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>

#include "bytes/aligned_room.h"

namespace {

using commutil::AnyOf;
using commutil::rewriteBytes;
using commutil::RunCopier;

constexpr AnyOf<'\'', '%'> kSet;

char* writeTwo(char* out, char byte) {
  *out++ = '\\';
  *out++ = byte;
  return out;
}

char* writeThree(char* out, char byte) {
  *out++ = '[';
  *out++ = byte;
  *out++ = ']';
  return out;
}

std::string rewrittenByteByByte(const std::string& text, bool three) {
  std::string result;
  for (const char byte : text) {
    if (!kSet(byte)) {
      result += byte;
    } else if (three) {
      result.append("[").append(1, byte).append("]");
    } else {
      result.append("\\").append(1, byte);
    }
  }
  return result;
}

TEST(RewriteBytes, AgreesWithAPlainLoop) {
  std::mt19937 random(32);
  for (std::size_t size = 0; size < 120; ++size) {
    for (int round = 0; round < 30; ++round) {
      std::string text(size, 'x');
      for (char& byte : text)
        if (random() % 8 < static_cast<unsigned>(round % 9)) byte = round % 2 == 0 ? '\'' : '%';
      ASSERT_EQ(rewrittenByteByByte(text, false), rewriteBytes(text, kSet, 2, writeTwo));
      ASSERT_EQ(rewrittenByteByByte(text, true), rewriteBytes(text, kSet, 3, writeThree));
    }
  }
}

// The thread sanitizer takes its time, and here is one thread: a sample of the sizes will do.
#ifdef __SANITIZE_THREAD__
constexpr std::size_t kStep = 17;
#else
constexpr std::size_t kStep = 1;
#endif

TEST(RewriteBytes, AgreesWithAPlainLoopAtEverySizeAndAlignment) {
  commutil_test::AlignedRoom room('%');
  for (std::size_t size = 0; size <= commutil_test::kMostBytes; size += kStep) {
    std::string text(size, 'x');
    for (std::size_t i = 0; i < size; ++i) {
      if (i * i % (3 + size % 40) == 1) text[i] = i % 2 == 0 ? '\'' : '%';
    }
    const std::string expected = rewrittenByteByByte(text, true);
    for (std::size_t alignment = 0; alignment < commutil_test::kAlignments; ++alignment) {
      ASSERT_EQ(rewriteBytes(room.place(text, alignment), kSet, 3, writeThree), expected) << size;
    }
  }
}

TEST(RunCopier, WritesNothingAroundTheRun) {
  for (std::size_t size = 0; size < 60; ++size) {
    const std::string text = std::string(size, 't');
    std::string result(size + 1, '#');
    for (std::size_t begin = 0; begin <= size; ++begin) {
      result.back() = '#';
      const RunCopier copy(text, result);
      const std::string_view run = std::string_view(text).substr(begin);
      EXPECT_EQ(result.data() + begin + run.size(), copy(result.data() + begin, run));
      EXPECT_EQ(run, std::string_view(result).substr(begin, run.size()));
    }
  }
}

}  // namespace
