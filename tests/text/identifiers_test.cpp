#include <ace/OS_NS_netdb.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <random>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/c_library.h"
#include "support/fixtures.h"
#include "support/threads.h"

namespace {

using commutil_test::cLibrary;
using commutil_test::inThreads;
using commutil_test::runInChild;

// Fakes for the clocks, the conversion of time and the MAC address, set only in children; otherwise
// the system's are called.
std::function<int(timeval*)> timeOfDay;
std::function<std::time_t()> timeNow;
std::function<tm*(const std::time_t*, tm*)> breakDown;
std::function<int(unsigned char*)> macAddress;

}  // namespace

extern "C" {

int gettimeofday(timeval* now, void* zone) noexcept {
  if (timeOfDay) return timeOfDay(now);
  return cLibrary<int(timeval*, void*)>("gettimeofday")(now, zone);
}

std::time_t time(std::time_t* out) noexcept {
  const std::time_t now =
      timeNow ? timeNow() : cLibrary<std::time_t(std::time_t*)>("time")(nullptr);
  if (out != nullptr) *out = now;
  return now;
}

tm* localtime_r(const std::time_t* clock, tm* result) noexcept {
  if (breakDown) return breakDown(clock, result);
  return cLibrary<tm*(const std::time_t*, tm*)>("localtime_r")(clock, result);
}
}

int ACE_OS::getmacaddress(macaddr_node_t* node) {
  if (macAddress) return macAddress(node->node);
  return cLibrary<int(macaddr_node_t*)>("_ZN6ACE_OS13getmacaddressEPNS_14macaddr_node_tE")(node);
}

namespace {

std::string generated() { return VexaCommonUtils_i::generateUUID(); }

/// Returns the time part of the next identifier with the clock at `shown`.
std::string timePartAt(timeval shown) {
  timeOfDay = [shown](timeval* now) {
    *now = shown;
    return 0;
  };
  return generated().substr(0, 20);
}

std::string asTimePart(unsigned long long hundredNanoseconds) {
  std::array<char, 21> text{};
  std::snprintf(text.data(), text.size(), "%020llX", hundredNanoseconds);
  return text.data();
}

unsigned long long hundredNanosecondsNow() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<unsigned long long>(now.tv_sec) * 10'000'000 +
         static_cast<unsigned long long>(now.tv_nsec) / 1000 * 10;
}

TEST(Identifier, Is32UpperCaseHexadecimalDigits) {
  for (int i = 0; i < 100; ++i) {
    const std::string id = generated();
    EXPECT_EQ(32U, id.size());
    EXPECT_EQ(std::string::npos, id.find_first_not_of("0123456789ABCDEF")) << id;
  }
}

TEST(Identifier, BeginsWithTheTimeOfTheCall) {
  std::string last;
  for (int i = 0; i < 20; ++i) {
    const unsigned long long before = hundredNanosecondsNow();
    const std::string part = generated().substr(0, 20);
    const unsigned long long after = hundredNanosecondsNow();
    EXPECT_GE(part, asTimePart(before));
    EXPECT_LE(part, asTimePart(after));
    EXPECT_GE(part, last);
    last = part;
  }
}

TEST(Identifier, CountsUnitsOf100Nanoseconds) {
  runInChild([] {
    struct Case {
      timeval shown;
      const char* part;
    };
    const Case cases[] = {
        {{1700000000, 500000}, "0000003C6568F17ACB40"},
        {{0, 0}, "00000000000000000000"},
        {{0, 1}, "0000000000000000000A"},
        {{1, 0}, "00000000000000989680"},
        {{0, 999999}, "00000000000000989676"},
        {{1, 1500000}, "000000000000017D7840"},  // to be normalized: 2.5 s
        {{-1, 500000}, "0000FFFFFFFFFFB3B4C0"},  // before the epoch
        {{0, -1}, "0000FFFFFFFFFFFFFFF6"},
        {{4000000000000, 7}, "00002B1C8C1227A00046"},  // beyond 64 bits
    };
    for (const Case& row : cases) {
      SCOPED_TRACE(row.part);
      EXPECT_EQ(row.part, timePartAt(row.shown));
    }
  });
}

TEST(Identifier, TreatsAFailedClockAsMinusOneSecond) {
  runInChild([] {
    timeOfDay = [](timeval* now) {
      *now = {1234, 5678};
      errno = EFAULT;
      return -1;
    };
    EXPECT_EQ("0000FFFFFFFFFF676980", generated().substr(0, 20));
  });
}

TEST(Identifier, RepeatsWithinAMicrosecond) {
  runInChild([] {
    const std::string part = timePartAt({1700000000, 1});
    const std::string id = generated();
    EXPECT_EQ(part, id.substr(0, 20));
    EXPECT_EQ(id, generated());
    EXPECT_LT(id, timePartAt({1700000000, 2}));
  });
}

TEST(Identifier, EndsWithTheHostsMacAddress) {
  ACE_OS::macaddr_node_t node{};
  ACE_OS::getmacaddress(&node);  // six zeros if there is none
  std::string expected;
  for (const unsigned char byte : node.node) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02X", unsigned{byte});
    expected += digits.data();
  }
  EXPECT_EQ(expected, generated().substr(20));
  EXPECT_EQ(expected, generated().substr(20));
}

TEST(Identifier, ReadsTheMacAddressOnEveryCall) {
  runInChild([] {
    unsigned char first = 0;
    macAddress = [&first](unsigned char* node) {
      const unsigned char bytes[] = {first++, 0x01, 0x9A, 0xBC, 0x0F, 0xFF};
      std::memcpy(node, bytes, sizeof bytes);
      return 0;
    };
    for (int byte = 0; byte <= UCHAR_MAX; ++byte) {
      std::array<char, 13> expected{};
      std::snprintf(expected.data(), expected.size(), "%02X019ABC0FFF",
                    static_cast<unsigned>(byte));
      ASSERT_EQ(expected.data(), generated().substr(20));
    }
  });
}

TEST(Identifier, EndsWithZerosWithoutAMacAddress) {
  runInChild([] {
    macAddress = [](unsigned char* node) {
      std::memset(node, 0xEE, 6);  // left halfway
      return -1;
    };
    EXPECT_EQ("0000003C6568F17ACB40", timePartAt({1700000000, 500000}));
    EXPECT_EQ("0000003C6568F17ACB40000000000000", generated());
  });
}

TEST(Identifier, MayBeGeneratedInSeveralThreadsAtOnce) {
  const std::string mac = generated().substr(20);
  inThreads(4, [&mac](int) {
    for (int turn = 0; turn < 50; ++turn) {
      EXPECT_EQ(mac, generated().substr(20));
      EXPECT_EQ(14U, VexaCommonUtils::getTimeStamp(false).size());
    }
  });
}

constexpr const char* kUtc = "UTC0";
constexpr const char* kBerlin = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* kSydney = "AEST-10AEDT,M10.1.0,M4.1.0/3";
constexpr const char* kKolkata = "IST-5:30";

/// Sets the time zone, and the clock to `now`.
void enterZone(const char* zone, std::time_t now) {
  ::setenv("TZ", zone, 1);
  ::tzset();
  timeNow = [now] { return now; };
}

TEST(TimeStamp, IsTheLocalTime) {
  struct Case {
    const char* zone;
    std::time_t now;
    const char* stamp;
    bool dst;
  };
  const Case cases[] = {
      {kUtc, 1772694489, "20260305070809", false},
      {kBerlin, 1772690889, "20260305070809", false},
      {kKolkata, 1772674689, "20260305070809", false},
      {kSydney, 1772654889, "20260305070809", true},
      {kUtc, 0, "19700101000000", false},
      {kUtc, -1, "19691231235959", false},  // a failing clock reads the same
      {kUtc, 946684799, "19991231235959", false},
      {kUtc, 951782400, "20000229000000", false},
      {kUtc, 4102444799, "20991231235959", false},
      {kBerlin, 1774745999, "20260329015959", false},  // the last second of winter
      {kBerlin, 1774746000, "20260329030000", true},
      {kBerlin, 1792889999, "20261025025959", true},  // the last second of summer
      {kBerlin, 1792890000, "20261025020000", false},
      // Years of less and of more than four digits.
      {kUtc, -62167219201, "-0011231235959", false},
      {kUtc, -62167219200, "00000101000000", false},
      {kUtc, -62135596800, "00010101000000", false},
      {kUtc, 253402300799, "99991231235959", false},
      {kUtc, 253402300800, "100000101000000", false},
      {kUtc, 67768036191676799, "21474855471231235959", false},
      {kUtc, -67768040609740800, "-21474817480101000000", false},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(std::string(row.zone) + " " + std::to_string(row.now));
    runInChild([&row] {
      enterZone(row.zone, row.now);
      const std::string stamp = row.stamp;
      EXPECT_EQ(stamp, VexaCommonUtils::getTimeStamp(false));
      EXPECT_EQ(row.dst ? stamp + "DST" : stamp, VexaCommonUtils::getTimeStamp(true));
    });
  }
}

TEST(TimeStamp, FollowsTheFormatForAnyTime) {
  runInChild([] {
    std::mt19937_64 random(5);
    std::uniform_int_distribution<std::time_t> times(-70000000000, 300000000000);
    for (int i = 0; i < 20000; ++i) {
      const std::time_t now = times(random);
      enterZone(kBerlin, now);
      tm local{};
      ASSERT_NE(nullptr, ::localtime_r(&now, &local));
      std::array<char, 100> expected{};
      std::snprintf(expected.data(), expected.size(), "%04d%02d%02d%02d%02d%02d",
                    local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                    local.tm_min, local.tm_sec);
      ASSERT_EQ(expected.data(), VexaCommonUtils::getTimeStamp(false));
    }
  });
}

TEST(TimeStamp, IsTheTimeOfTheCall) {
  const std::time_t before = std::time(nullptr);
  const std::string stamp = VexaCommonUtils::getTimeStamp(false);
  const std::time_t after = std::time(nullptr);
  const auto stampOf = [](std::time_t moment) {
    tm local{};
    ::localtime_r(&moment, &local);
    std::array<char, 15> text{};
    std::strftime(text.data(), text.size(), "%Y%m%d%H%M%S", &local);
    return std::string(text.data());
  };
  EXPECT_LE(stampOf(before), stamp);
  EXPECT_GE(stampOf(after), stamp);
}

TEST(TimeStamp, MarksEveryFlagThatIsNotZero) {
  struct Case {
    int flag;
    const char* marked;
  };
  for (const Case row : {Case{0, "20260305070860"},
                         {1, "20260305070860DST"},
                         {2, "20260305070860DST"},
                         {-1, "20260305070860DST"},  // unknown
                         {INT_MIN, "20260305070860DST"}}) {
    SCOPED_TRACE(row.flag);
    runInChild([row] {
      breakDown = [row](const std::time_t*, tm* result) {
        *result = {};
        result->tm_year = 126;
        result->tm_mon = 2;
        result->tm_mday = 5;
        result->tm_hour = 7;
        result->tm_min = 8;
        result->tm_sec = 60;  // a leap second
        result->tm_isdst = row.flag;
        return result;
      };
      EXPECT_EQ("20260305070860", VexaCommonUtils::getTimeStamp(false));
      EXPECT_EQ(row.marked, VexaCommonUtils::getTimeStamp(true));
    });
  }
}

TEST(TimeStamp, IsEmptyForATimeBeyondTheCalendar) {
  runInChild([] {
    enterZone(kUtc, 67768036191676800);
    EXPECT_EQ("", VexaCommonUtils::getTimeStamp(false));
    EXPECT_EQ("", VexaCommonUtils::getTimeStamp(true));
  });
}

}  // namespace
