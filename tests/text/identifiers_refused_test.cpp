// Identifiers and time stamps over bounded functions that refuse: this program compiles the family
// itself, with its own copying and formatting, on a host with a MAC address.
#include <ace/OS_NS_netdb.h>
#include <ace/OS_NS_time.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "platform/bounded.h"

namespace {

bool hasMacAddress = true;
int tmYear = 0;
std::size_t lastSize = 0;
std::size_t lastCount = 0;

}  // namespace

extern "C" {

int memcpy_s(void* dest, std::size_t size, const void*, std::size_t count) {
  lastSize = size;
  lastCount = count;
  std::memset(dest, 0xEE, size);
  return EINVAL;
}

int snprintf_s(char* dest, std::size_t size, std::size_t count, const char*, ...) {
  lastSize = size;
  lastCount = count;
  std::strcpy(dest, "half");
  return -1;
}
}

int ACE_OS::getmacaddress(macaddr_node_t*) { return hasMacAddress ? 0 : -1; }

tm* ACE_OS::localtime_r(const time_t*, tm* result) {
  *result = {};
  result->tm_year = tmYear;
  result->tm_isdst = 1;
  return result;
}

namespace {

TEST(RefusedCopy, ReturnsNoIdentifier) {
  hasMacAddress = true;
  EXPECT_EQ("", VexaCommonUtils_i::generateUUID());
  EXPECT_EQ(6U, lastSize);
  EXPECT_EQ(6U, lastCount);
}

TEST(RefusedCopy, IsNotTriedWithoutAnAddress) {
  hasMacAddress = false;
  EXPECT_EQ(std::string(12, '0'), VexaCommonUtils_i::generateUUID().substr(20));
}

TEST(RefusedFormatting, ReturnsNoTimeStamp) {
  tmYear = 10000;
  EXPECT_EQ("", VexaCommonUtils::getTimeStamp(false));
  EXPECT_EQ("", VexaCommonUtils::getTimeStamp(true));
  EXPECT_EQ(100U, lastSize);
  EXPECT_EQ(99U, lastCount);
}

}  // namespace
