// The string utilities over failing bounded functions: this program compiles the source with its
// own copying and formatting.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaStringUtils.h"
#include "platform/bounded.h"

namespace {

struct Call {
  std::size_t size;
  std::size_t count;
};

Call lastCall;

}  // namespace

extern "C" {

int strncpy_s(char* dest, std::size_t size, const char*, std::size_t count) {
  lastCall = {size, count};
  std::strcpy(dest, "x y");
  return EINVAL;
}

int snprintf_s(char* dest, std::size_t size, std::size_t count, const char*, ...) {
  lastCall = {size, count};
  dest[0] = '\0';
  return -1;
}
}

namespace {

using ::testing::ElementsAre;

TEST(RefusedCopy, LeavesTheVectorAndReturnsZero) {
  std::vector<std::string> out = {"old"};
  EXPECT_EQ(VexaCommonUtils::splitAll("a b", " ", out), 0U);
  EXPECT_THAT(out, ElementsAre("old"));
  EXPECT_EQ(lastCall.size, 1025U);
  EXPECT_EQ(lastCall.count, 1024U);
}

TEST(RefusedCopy, LeavesTheSet) {
  std::set<std::string> out = {"old"};
  VexaCommonUtils_i::splitAll("a b", " ", out);
  EXPECT_THAT(out, ElementsAre("old"));
  EXPECT_EQ(lastCall.size, 1025U);
  EXPECT_EQ(lastCall.count, 1024U);
}

TEST(RefusedFormatting, IsNullFromLtoaOnly) {
  char buf[22];
  EXPECT_EQ(VexaCommonUtils::ltoa(5, buf), nullptr);
  EXPECT_EQ(lastCall.size, 22U);
  EXPECT_EQ(lastCall.count, 21U);
  EXPECT_EQ(VexaCommonUtils::ultoa(5, buf), buf);
  EXPECT_EQ(lastCall.count, 21U);
  EXPECT_EQ(VexaCommonUtils_i::ulltoa(5, buf), buf);
  EXPECT_EQ(lastCall.size, 22U);
}

TEST(RefusedFormatting, IsAnEmptyResultOfStrHexToInt) {
  EXPECT_EQ(StrHexToInt("1"), "");
  EXPECT_EQ(lastCall.size, 4U);
  EXPECT_EQ(lastCall.count, 3U);
}

}  // namespace
