#include "bytes/raw_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>

namespace {

using commutil::writtenText;

TEST(WrittenText, OffersExactlyTheRequestedSize) {
  for (std::size_t size = 0; size <= 100; ++size) {
    SCOPED_TRACE(size);
    const std::string text = writtenText(size, [](char* data, std::size_t room) {
      std::memset(data, 'x', room);
      return room;
    });
    EXPECT_EQ(std::string(size, 'x'), text);
  }
}

TEST(WrittenText, IsAsLongAsWhatWasWritten) {
  const std::string text = writtenText(
      1000, [](char* data, std::size_t) { return std::string_view("abc").copy(data, 3); });
  EXPECT_EQ("abc", text);
  EXPECT_EQ('\0', text.c_str()[3]);
  EXPECT_EQ("", writtenText(1000, [](char*, std::size_t) { return std::size_t{0}; }));
}

}  // namespace
