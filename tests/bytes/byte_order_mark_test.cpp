#include "bytes/byte_order_mark.h"

#include <gtest/gtest.h>

namespace {

using commutil::hasByteOrderMark;
using commutil::withoutByteOrderMark;

TEST(ByteOrderMark, IsSkippedOnceAndOnlyWhole) {
  EXPECT_EQ("text", withoutByteOrderMark("\xef\xbb\xbftext"));
  EXPECT_EQ("\xef\xbb\xbftext", withoutByteOrderMark("\xef\xbb\xbf\xef\xbb\xbftext"));
  for (const char* const text : {"", "text", "\xef\xbb", "\xef\xbbtext", "t\xef\xbb\xbf"}) {
    EXPECT_FALSE(hasByteOrderMark(text)) << text;
    EXPECT_EQ(text, withoutByteOrderMark(text));
  }
}

}  // namespace
