#include "VexaStringUtils.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"

namespace {

using namespace std::string_literals;
using commutil_test::allBytes;

// Positions at which block-wise code changes its path.
const std::vector<std::size_t> kLengths = {0,  1,  7,  15, 16, 17, 31, 32,
                                           33, 47, 48, 63, 64, 65, 100};

// Classes

TEST(Classes, ClassifyEveryByteAtEveryPosition) {
  for (const std::size_t length : kLengths) {
    for (std::size_t at = 0; at < length; ++at) {
      for (const char byte : allBytes()) {
        std::string text(length, '0');
        text[at] = byte;
        const bool digit = byte >= '0' && byte <= '9';
        const bool beyond = (byte >= 'G' && byte <= 'Z') || (byte >= 'g' && byte <= 'z');
        ASSERT_EQ(VexaCommonUtils_i::Isdigitstr(text), digit)
            << static_cast<int>(byte) << " at " << at << " of " << length;
        ASSERT_EQ(StringIsRight(text), !beyond)
            << static_cast<int>(byte) << " at " << at << " of " << length;
      }
    }
  }
}

TEST(Classes, OfStrings) {
  EXPECT_TRUE(StringIsRight("00:1A:ff"));
  EXPECT_TRUE(StringIsRight(""));
  EXPECT_FALSE(StringIsRight("0x1f"));
  EXPECT_FALSE(StringIsRight("\0z"s));
  EXPECT_TRUE(VexaCommonUtils_i::Isdigitstr(""));
  EXPECT_TRUE(VexaCommonUtils_i::Isdigitstr("0123456789"));
  for (const char* text : {"12a", "-1", "+1", " 1", "1.0", "1 "}) {
    EXPECT_FALSE(VexaCommonUtils_i::Isdigitstr(text)) << text;
  }
}

// Numbers

TEST(NumberToText, WritesDecimal) {
  char buf[24];
  const auto fill = [&buf] { std::memset(buf, '#', sizeof buf); };
  for (const long value : {0L, 5L, -5L, LONG_MAX, LONG_MIN}) {
    fill();
    EXPECT_EQ(VexaCommonUtils::ltoa(value, buf), buf);
    EXPECT_EQ(buf, std::to_string(value));
    EXPECT_EQ(std::string_view(buf + 22, 2), "##");
  }
  for (const unsigned long value : {0UL, 7UL, ULONG_MAX}) {
    fill();
    EXPECT_EQ(VexaCommonUtils::ultoa(value, buf), buf);
    EXPECT_EQ(buf, std::to_string(value));
    EXPECT_EQ(std::string_view(buf + 22, 2), "##");
    fill();
    EXPECT_EQ(VexaCommonUtils_i::ulltoa(value, buf), buf);
    EXPECT_EQ(buf, std::to_string(value));
    EXPECT_EQ(std::string_view(buf + 22, 2), "##");
  }
}

TEST(NumberToText, OfANullBufferIsNull) {
  EXPECT_EQ(VexaCommonUtils::ltoa(-5, nullptr), nullptr);
  EXPECT_EQ(VexaCommonUtils::ultoa(5, nullptr), nullptr);
  EXPECT_EQ(VexaCommonUtils_i::ulltoa(5, nullptr), nullptr);
}

struct HexCase {
  std::string hex;
  std::string expected;
};

TEST(StrHexToInt, PrintsThreeCharactersAtMost) {
  const std::vector<HexCase> cases = {
      {"ff", "255"},
      {"FF", "255"},
      {"fF", "255"},
      {"00ff", "255"},
      {"0", "0"},
      {"", "0"},
      {"a", "10"},
      {"3e7", "999"},
      {"3e8", ""},
      {"fff", ""},
      {"7fffffff", ""},
      {"ffffffff", "-1"},  // the low 32 bits, signed
      {"ffffff9d", "-99"},
      {"ffffff9c", ""},
      {"80000000", ""},
      {"100000000", "0"},
      {"1000000ff", "255"},
      {"123456780000000a", "10"},
      {"ffffffffffffffff", "-1"},
      {"10000000000000000", "0"},  // past 64 bits: weighs nothing
      {"f00000000000000ff", "255"},
      {std::string(5000, 'f'), "-1"},
      {std::string(5000, '0') + "1f", "31"},
      {std::string(5000, '7') + "0000007f", "127"},
  };
  for (const HexCase& each : cases) {
    SCOPED_TRACE(each.hex);
    EXPECT_EQ(StrHexToInt(each.hex), each.expected);
  }
}

TEST(StrHexToInt, RefusesWhatIsNotADigit) {
  for (const char* hex : {"g1", "0xff", "1g", " 1", "1 ", "-1", "+1", "f\n"}) {
    EXPECT_EQ(StrHexToInt(hex), "") << hex;
  }
  EXPECT_EQ(StrHexToInt("z" + std::string(5000, '0')), "");
  EXPECT_EQ(StrHexToInt("1" + std::string(5000, '0') + "z"), "");
}

TEST(StrHexToInt, KnowsEveryByte) {
  const std::string digits = "0123456789abcdefABCDEF";
  for (const char byte : allBytes().substr(1)) {
    const std::size_t place = digits.find(byte);
    const std::size_t value = place < 16 ? place : place - 6;
    EXPECT_EQ(StrHexToInt(std::string(1, byte)),
              place == std::string::npos ? "" : std::to_string(value));
  }
}

TEST(StrHexToInt, EndsAtANul) {
  EXPECT_EQ(StrHexToInt("1f\0zz"s), "31");
  EXPECT_EQ(StrHexToInt("\0ff"s), "0");
}

struct PercentCase {
  double value;
  double expected;
};

TEST(GetUpperIntVal, RoundsUpToTheNextWholeNumber) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const std::vector<PercentCase> cases = {
      {0.0, 0.0},
      {-0.0, 0.0},
      {0.2, 1.0},
      {std::numeric_limits<double>::denorm_min(), 1.0},
      {1.0, 1.0},
      {42.0, 42.0},
      {42.5, 43.0},
      {97.9, 98.0},
      {98.0, 98.0},
      {98.0000001, 99.0},
      {98.01, 99.0},
      {std::nextafter(99.0, 0.0), 99.0},
      {99.0, 99.0},
      {99.5, 99.0},  // never 100 from below
      {std::nextafter(100.0, 0.0), 99.0},
      {100.0, 100.0},
      {250.0, 100.0},
      {1e300, 100.0},
      {kInfinity, 100.0},
      {std::nan(""), 100.0},
      {-std::nan(""), 100.0},
      {-0.5, 0.0},
      {std::nextafter(-1.0, 0.0), 0.0},
  };
  for (const PercentCase& each : cases) {
    SCOPED_TRACE(each.value);
    EXPECT_EQ(VexaCommonUtils_i::getUpperIntVal(each.value), each.expected);
    EXPECT_FALSE(std::signbit(VexaCommonUtils_i::getUpperIntVal(each.value)));
  }
}

TEST(GetUpperIntVal, WrapsNegativeNumbers) {
  constexpr double kWrap = 18446744073709551616.0;
  const std::vector<PercentCase> cases = {
      {-1.0, kWrap},
      {-1.5, kWrap},
      {-5.0, kWrap},
      {-100000.0, kWrap - 100000.0},
      {-4611686018427387904.0, kWrap - 4611686018427387904.0},
      {-9223372036854775808.0, kWrap / 2},
      {-1e19, kWrap},  // below the signed range: the largest number
      {-1e300, kWrap},
      {-std::numeric_limits<double>::infinity(), kWrap},
  };
  for (const PercentCase& each : cases) {
    SCOPED_TRACE(each.value);
    EXPECT_EQ(VexaCommonUtils_i::getUpperIntVal(each.value), each.expected);
  }
}

}  // namespace
