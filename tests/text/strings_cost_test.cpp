// The cost of the string utilities: one allocation for a result, none for a check or an unchanged
// string, and linear time. The strings are so long that quadratic code exceeds the test's time
// limit.
#include <gtest/gtest.h>

#include <list>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaStringUtils.h"
#include "support/allocations.h"

namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

using commutil_test::allocationsOf;

std::string repeated(const std::string& piece, std::size_t size) {
  std::string text;
  text.reserve(size + piece.size());
  while (text.size() < size) text += piece;
  return text;
}

TEST(StringAllocations, OneForAResult) {
  std::string text = "  " + repeated("a long line, 'quoted' ", 500) + "  ";
  EXPECT_EQ(1U, allocationsOf([&] { VexaCommonUtils::Vexareverse(text); }));
  EXPECT_EQ(1U, allocationsOf([&] { VexaCommonUtils::Vexaltrim(text); }));
  EXPECT_EQ(1U, allocationsOf([&] { VexaCommonUtils::Vexatrim(text); }));
  EXPECT_EQ(1U, allocationsOf([&] { VexaCommonUtils_i::VexatrimAll(text, " \t\r\n"); }));
  EXPECT_EQ(1U, allocationsOf([&] { VexaCommonUtils_i::VexatrimAll(text, nullptr); }));
  EXPECT_EQ(1U, allocationsOf([&] { ToUpper(text); }));
  EXPECT_EQ(1U, allocationsOf([&] { ReplaceChar(text, '\'', "''"); }));
  EXPECT_EQ(1U, allocationsOf([&] { ReplaceChar(text, '\'', ""); }));
  EXPECT_EQ(1U, allocationsOf([&] { ReplaceChar(text, '#', "''"); }));
  std::string s = text;
  EXPECT_EQ(1U, allocationsOf([&] { VexaCommonUtils::stringReplace("line", "longer line", s); }));
  EXPECT_EQ(1U, allocationsOf([&] { VexaCommonUtils::stringReplace("line", "", s); }));
}

TEST(StringAllocations, NoneForAShortOne) {
  std::string text = " a 'b' ";
  EXPECT_EQ(0U, allocationsOf([&] { VexaCommonUtils::Vexatrim(text); }));
  EXPECT_EQ(0U, allocationsOf([&] { ToUpper(text); }));
  EXPECT_EQ(0U, allocationsOf([&] { ReplaceChar(text, '\'', "''"); }));
  EXPECT_EQ(0U, allocationsOf([&] { VexaCommonUtils::stringReplace("'", "''", text); }));
}

TEST(StringAllocations, NoneForACheckOrInPlace) {
  std::string text = repeated("0123456789", 1000);
  EXPECT_EQ(0U, allocationsOf([&] { EXPECT_TRUE(VexaCommonUtils_i::Isdigitstr(text)); }));
  EXPECT_EQ(0U, allocationsOf([&] { EXPECT_TRUE(StringIsRight(text)); }));
  EXPECT_EQ(0U, allocationsOf([&] { ToUpperEx(text); }));
  EXPECT_EQ(0U, allocationsOf([&] { VexaCommonUtils::stringReplace("a", "aaaa", text); }));
  EXPECT_EQ(0U, allocationsOf([&] { VexaCommonUtils::stringReplace("12", "xy", text); }));
}

TEST(StringAllocations, FewForManyCallsOnOneVector) {
  std::vector<std::string> out;
  const std::size_t allocations = allocationsOf([&out] {
    for (int call = 0; call < 1000; ++call) VexaCommonUtils::splitAll("a b c", " ", out);
  });
  EXPECT_EQ(3000U, out.size());
  EXPECT_LE(allocations, 12U);  // 3 doubled ten times is more than 3000
}

TEST(StringGrowth, ReplacingAMillionMatchesIsLinear) {
  for (const std::string to : {"<replaced>", "=====", "=", ""}) {
    SCOPED_TRACE(to);
    std::string text = repeated("0123456789a,match", 17 * kMiB);
    VexaCommonUtils::stringReplace("match", to, text);
    EXPECT_EQ(text, repeated("0123456789a," + to, (12 + to.size()) * kMiB));
  }
}

TEST(StringGrowth, ReplacingACharacterIsLinear) {
  const std::string text = repeated("0123456789abcde'", 16 * kMiB);
  EXPECT_EQ(ReplaceChar(text, '\'', "''"), repeated("0123456789abcde''", 17 * kMiB));
  EXPECT_EQ(ReplaceChar(text, '\'', ""), repeated("0123456789abcde", 15 * kMiB));
  EXPECT_EQ(ReplaceChar(std::string(kMiB, '-'), '-', "+-+").size(), 3 * kMiB);
}

TEST(StringGrowth, SearchingForANearMatchIsLinear) {
  std::string text(16 * kMiB, 'a');
  const std::string wanted = std::string(kMiB, 'a') + "b" + std::string(10, 'a');
  VexaCommonUtils::stringReplace(wanted, "", text);
  EXPECT_EQ(text.size(), 16 * kMiB);
  std::list<std::string> out;
  VexaCommonUtils::split("x" + text, wanted, out);
  ASSERT_EQ(out.size(), 1U);
  EXPECT_EQ(out.front().size(), 16 * kMiB + 1);
}

// The searched string differs from the repeated one only in its last byte but one: each block has
// one position with its first and its last byte, and a comparison there runs to the end.
TEST(StringGrowth, SearchingWithALikelyStartInEveryBlockIsLinear) {
  const std::string text = repeated("a--------------b", 64 * kMiB);
  std::string wanted = text.substr(0, 8 * kMiB);
  wanted[wanted.size() - 2] = 'x';
  std::string s = text;
  VexaCommonUtils::stringReplace(wanted, std::string(wanted.size(), '='), s);
  EXPECT_TRUE(text == s);
}

TEST(StringGrowth, SplittingIsLinear) {
  std::list<std::string> out;
  VexaCommonUtils::split(repeated("0123456789abcd::", 16 * kMiB), "::", out);
  EXPECT_EQ(out.size(), kMiB);
  out.clear();
  VexaCommonUtils::split(std::string(16 * kMiB, ':') + "x", ":", out);
  EXPECT_EQ(out.size(), 1U);
}

TEST(StringGrowth, AppendingToOneVectorIsLinear) {
  std::vector<std::string> out;
  for (std::size_t call = 1; call <= 200000; ++call) {
    ASSERT_EQ(VexaCommonUtils::splitAll("a b", " ", out), 2 * call);
  }
}

TEST(StringGrowth, OfAVeryLongString) {
  std::string text(64 * kMiB, ' ');
  EXPECT_EQ(VexaCommonUtils::Vexatrim(text), "");
  text.front() = 'a';
  text.back() = 'z';
  EXPECT_EQ(VexaCommonUtils_i::VexatrimAll(text, " \t").size(), 64 * kMiB);
  EXPECT_EQ(ToUpper(text).back(), 'Z');
  EXPECT_FALSE(StringIsRight(text));
  EXPECT_FALSE(VexaCommonUtils_i::Isdigitstr(text));
  EXPECT_EQ(VexaCommonUtils::Vexareverse(text).front(), 'z');
  EXPECT_EQ(StrHexToInt(std::string(64 * kMiB, '0') + "ff"), "255");
}

}  // namespace
