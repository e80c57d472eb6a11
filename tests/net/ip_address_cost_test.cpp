// The address checks allocate nothing. The vector of `validateIPv4` is the caller's and grows to
// four bytes at most; the full form of an IPv6 address is one string.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "support/allocations.h"

namespace {

using commutil_test::allocationsOf;

const std::vector<std::string>& addresses() {
  static const std::vector<std::string> texts = {
      "",
      "10.0.0.1",
      "192.168.100.254",
      "192.168.100.256",
      " \t 192.168.100.254 \r\n",
      "00000000000000000000192.168.100.254",
      "fe80::20c:29ff:feab:cdef",
      "2001:0db8:1234:5678:020c:29ff:feab:cdef",
      "a-host-name-that-is-longer-than-a-short-text.example",
      std::string(4096, '1'),
      std::string(4096, '.'),
  };
  return texts;
}

TEST(AddressAllocations, NoneInAnyCheck) {
  std::vector<unsigned char> octets;
  octets.reserve(4);
  for (const std::string& text : addresses()) {
    SCOPED_TRACE(text.substr(0, 60));
    EXPECT_EQ(0U, allocationsOf([&] { VexaCommonUtils::isValidIP(text); }));
    EXPECT_EQ(0U, allocationsOf([&] { CheckIp(text.c_str()); }));
    EXPECT_EQ(0U, allocationsOf([&] { VexaCommonUtils_i::validateIPv4(text, octets); }));
  }
}

TEST(AddressAllocations, NoneForAnUnchangedString) {
  for (const std::string text :
       {"192.168.100.254", "00000000000000000000192.168.100.254",
        "a-host-name-that-is-longer-than-a-short-text.example", "1:2:3:4:5:6:7:8"}) {
    std::string ip = text;
    EXPECT_EQ(0U, allocationsOf([&] { VexaCommonUtils_i::formatStringIP(ip); })) << text;
    EXPECT_EQ(text, ip);
    EXPECT_EQ(0U, allocationsOf([&] { FullNameIp(ip); })) << text;
    EXPECT_EQ(text, ip);
  }
}

TEST(AddressAllocations, OneForALongAddress) {
  std::string ip = "2001:db8::20c:29ff:feab:cdef";
  EXPECT_EQ(1U, allocationsOf([&] { VexaCommonUtils_i::formatStringIP(ip); }));
  EXPECT_EQ("2001:db8:0:0:20c:29ff:feab:cdef", ip);
}

TEST(AddressAllocations, NoneForBinaryAddresses) {
  alignas(8) unsigned char record[64] = {};
  char text[64];
  EXPECT_EQ(0U, allocationsOf([&] {
              VexaCommonUtils_i::stringIPToAddress(10, "2001:db8::20c:29ff:feab:cdef", record, 28);
              VexaCommonUtils_i::addressToStringIP(10, record, 28, text, sizeof(text));
            }));
  EXPECT_STREQ("2001:db8::20c:29ff:feab:cdef", text);
}

}  // namespace
