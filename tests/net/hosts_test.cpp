#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <list>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"

namespace {

TEST(Hostname, IsTheNodeName) {
  utsname system{};
  ASSERT_EQ(0, ::uname(&system));
  EXPECT_EQ(system.nodename, VexaCommonUtils::hostname());
}

TEST(Sysname, IsTheNameAndTheReleaseWithoutASeparator) {
  utsname system{};
  ASSERT_EQ(0, ::uname(&system));
  EXPECT_EQ(std::string("Linux") + system.release, VexaCommonUtils::sysname());
}

TEST(GetIPbyHostname, RefusesTheEmptyName) {
  std::string ip = "junk";
  EXPECT_EQ(-1, VexaCommonUtils::getIPbyHostname("", ip));
  EXPECT_EQ("", ip);
}

TEST(GetIPbyHostname, ReadsDottedText) {
  std::string ip = "junk";
  EXPECT_EQ(0, VexaCommonUtils::getIPbyHostname("10.1.2.3", ip));
  EXPECT_EQ("10.1.2.3", ip);
}

TEST(GetIPbyHostname, EmptiesTheAddressOfAnUnknownName) {
  for (const char* const name : {"no-such-host.invalid", "a b", "$(reboot)", "\n"}) {
    std::string ip = "junk";
    EXPECT_EQ(-1, VexaCommonUtils::getIPbyHostname(name, ip)) << name;
    EXPECT_EQ("", ip);
  }
}

TEST(GetIPbyHostname, ReadsItsNameBeforeItWritesTheSameText) {
  std::string text = "10.1.2.3";
  EXPECT_EQ(0, VexaCommonUtils::getIPbyHostname(text, text));
  EXPECT_EQ("10.1.2.3", text);
}

TEST(GetHostnamebyIP, RefusesTextThatIsNoAddress) {
  for (const char* const ip : {"not-an-ip", "", "256.1.1.1", "1.2.3.4.5", "fe80::1", "1.2.3.4;"}) {
    std::string name = "junk";
    EXPECT_EQ(-1, VexaCommonUtils::getHostnamebyIP(ip, name)) << ip;
    EXPECT_EQ("", name);
  }
}

TEST(GetHostnamebyIP, RefusesEveryAddressOfTheZeroNetwork) {
  for (const char* const ip : {"0.0.0.0", "0.1.2.3", "0.255.255.255", "1", "0x00010203", "0"}) {
    std::string name = "junk";
    EXPECT_EQ(-1, VexaCommonUtils::getHostnamebyIP(ip, name)) << ip;
    EXPECT_EQ("", name);
  }
}

}  // namespace
