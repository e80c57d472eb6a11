#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"

TEST(GetMacAddrOfIPV6, RefusesWhatIsNotIPv6) {
  for (std::string ip : {std::string("10.1.1.1"), std::string(), std::string("host"),
                         std::string("fe80::1%eth0"), std::string(1 << 20, ':')}) {
    SCOPED_TRACE(ip.substr(0, 40));
    const std::string before = ip;
    Vexacommon::LocalMACAddress mac{{0xA5, 0x5A, 0xA5, 0x5A, 0xA5, 0x5A}};
    const Vexacommon::LocalMACAddress junk = mac;
    EXPECT_EQ(-1, VexaCommonUtils_i::getMacAddrOfIPV6(ip, &mac));
    EXPECT_TRUE(std::equal(std::begin(junk.mac), std::end(junk.mac), std::begin(mac.mac)));
    EXPECT_EQ(before, ip);
  }
}
