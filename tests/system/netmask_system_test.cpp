#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "support/fixtures.h"
#include "support/threads.h"
#include "system/interfaces.h"

using commutil_test::disable;
using commutil_test::interfaces;
using commutil_test::inThreads;
using commutil_test::ip;
using commutil_test::kIfconfig;
using commutil_test::runOnOwnNetwork;
using commutil_test::standInFor;
using commutil_test::TempDir;
using commutil_test::vethPair;

namespace {

constexpr const char* kJunk = "junk";

std::string dottedMask(unsigned prefixLength) {
  const std::uint32_t bits = prefixLength == 0 ? 0 : ~std::uint32_t{0} << (32 - prefixLength);
  const in_addr mask{htonl(bits)};
  return ::inet_ntoa(mask);
}

struct Answer {
  int result = 0;
  std::string netmask = kJunk;
};

Answer netmaskOf(std::string address) {
  Answer answer;
  answer.result = VexaCommonUtils::getNetmaskByIP(address, answer.netmask);
  return answer;
}

Answer netmaskByKernel(const std::string& address) {
  Answer answer;
  answer.result = GetNetmaskByIpUseioctl(address, answer.netmask);
  return answer;
}

void expectMask(const std::string& netmask, const Answer& answer) {
  EXPECT_EQ(netmask.empty() ? -1 : 0, answer.result);
  EXPECT_EQ(netmask, answer.netmask);
}

}  // namespace

TEST(NetmaskOnRealInterfaces, IsWhatIpPrints) {
  runOnOwnNetwork([] {
    ip("link set dev lo up\naddr add 127.0.0.2/8 dev lo\n" + vethPair("a", 1) + vethPair("b", 2) +
       vethPair("down", 3) + vethPair("bare", 4) +
       "link set dev a up\nlink set dev ap up\nlink set dev b up\nlink set dev bare up\n"
       // Several addresses of one interface, with different masks; a label; various prefix lengths.
       "addr add 10.1.2.3/24 dev a\naddr add 10.1.2.30/16 dev a\naddr add 10.1.2.4/28 dev a\n"
       "addr add 10.1.2.5/24 dev a label a:1\naddr add 10.9.0.1/32 dev b\n"
       "addr add 10.8.0.1/31 dev b\naddr add 10.7.0.1/1 dev b\naddr add 10.6.0.1/0 dev b\n"
       "addr add 192.168.77.1/25 dev down");
    int checked = 0;
    for (const auto& one : interfaces()) {
      for (const auto& address : one.addresses) {
        if (address.family != AF_INET || address.ip == "127.0.0.1") continue;
        SCOPED_TRACE(address.ip);
        expectMask(dottedMask(address.prefixLength), netmaskByKernel(address.ip));
        expectMask(dottedMask(address.prefixLength), netmaskOf(address.ip));
        ++checked;
      }
    }
    EXPECT_EQ(10, checked);
    expectMask("", netmaskOf("127.0.0.1"));
    expectMask("255.0.0.0", netmaskByKernel("127.0.0.1"));
  });
}

TEST(NetmaskOnRealInterfaces, FirstInterfaceThatCarriesTheAddressWins) {
  runOnOwnNetwork([] {
    ip(vethPair("a", 1) + vethPair("b", 2) +
       "addr add 10.1.2.3/20 dev b\naddr add 10.1.2.3/24 dev a");
    expectMask("255.255.255.0", netmaskOf("10.1.2.3"));
    ip("addr del 10.1.2.3/24 dev a");
    expectMask("255.255.240.0", netmaskOf("10.1.2.3"));
  });
}

TEST(NetmaskOnRealInterfaces, BeyondTheFiftiethTheToolIsUsed) {
  runOnOwnNetwork([] {
    std::string lines;
    for (int i = 1; i <= 26; ++i) {
      const std::string name = "v" + std::to_string(i);
      lines += vethPair(name, i) + "addr add 10.0." + std::to_string(i) + ".1/24 dev " + name +
               "\naddr add 10.0." + std::to_string(i) + ".2/25 dev " + name + "p\n";
    }
    ip(lines);
    std::size_t number = 0;
    for (const auto& one : interfaces()) {
      for (const auto& address : one.addresses) {
        SCOPED_TRACE(std::to_string(++number) + " " + address.ip);
        const std::string netmask = dottedMask(address.prefixLength);
        expectMask(number <= 50 ? netmask : "", netmaskByKernel(address.ip));
        expectMask(netmask, netmaskOf(address.ip));
      }
    }
    EXPECT_EQ(52U, number);
  });
}

TEST(NetmaskOnRealInterfaces, AddressOfNoInterface) {
  runOnOwnNetwork([] {
    ip("link set dev lo up\n" + vethPair("a", 1) + "addr add 10.1.2.30/24 dev a");
    expectMask("", netmaskOf("10.1.2.31"));
    expectMask("", netmaskOf("999.1.1.1"));
    expectMask("", netmaskByKernel("10.1.2.3"));
    // The line of a longer address matches too.
    expectMask("255.255.255.0", netmaskOf("10.1.2.3"));
    // The kernel does not print a space before the address, but the tool does.
    expectMask("255.255.255.0", netmaskOf(" 10.1.2.30"));
  });
}

TEST(NetmaskFromTools, OlderColumns) {
  runOnOwnNetwork([] {
    const TempDir dir;
    standInFor(kIfconfig, dir,
               "eth0      Link encap:Ethernet  HWaddr 00:0C:29:AB:CD:EF  \n"
               "          inet addr:10.1.2.3  Bcast:10.1.2.255  Mask:255.255.255.0\n"
               "          inet6 addr: fe80::20c:29ff:feab:cdef/64 Scope:Link\n"
               "          UP BROADCAST RUNNING MULTICAST  MTU:1500  Metric:1\n\n"
               "eth1      Link encap:Ethernet  HWaddr 00:0C:29:AB:CD:F0  \n"
               "          inet addr:10.1.2.30  Bcast:10.1.255.255  Mask:255.255.0.0\n\n"
               "ppp0      Link encap:Point-to-Point Protocol\n"
               "          inet addr:10.1.2.60  P-t-P:10.1.2.61\n\n");
    expectMask("255.255.0.0", netmaskOf("10.1.2.30"));
    expectMask("255.255.0.0", netmaskOf("10.1.2.3"));  // the last matching line
    EXPECT_THROW(netmaskOf("10.1.2.60"), std::out_of_range);
  });
}

TEST(NetmaskFromTools, NewerColumns) {
  runOnOwnNetwork([] {
    const TempDir dir;
    standInFor(kIfconfig, dir,
               "eth0: flags=4163<UP,BROADCAST,RUNNING,MULTICAST>  mtu 1500\n"
               "        inet 10.1.2.3  netmask 255.255.255.0  broadcast 10.1.2.255\n"
               "        inet 10.1.2.30  netmask 255.255.0.0  broadcast 10.1.255.255\n"
               "        inet 10.1.2.40  netmask 0xff000000\n"
               "        inet 10.1.2.50 --> 10.1.2.51  netmask ffffff80\n"
               "        inet 10.1.2.60  destination 10.1.2.61\n");
    expectMask("255.255.255.0", netmaskOf("10.1.2.3"));  // the first matching line
    expectMask("255.255.0.0", netmaskOf("10.1.2.30"));
    expectMask("", netmaskOf("10.1.2.40"));
    expectMask("255.255.255.128", netmaskOf("10.1.2.50"));
    EXPECT_THROW(netmaskOf("10.1.2.60"), std::out_of_range);
  });
}

TEST(NetmaskFromTools, MissingToolIsAFailure) {
  runOnOwnNetwork([] {
    disable(kIfconfig);
    const commutil_test::CapturedOutput shellComplaint(2);
    expectMask("", netmaskOf("10.1.2.3"));
  });
}

TEST(NetmaskFromTools, RunsItsCommandByteForByte) {
  runOnOwnNetwork([] {
    commutil_test::ShellLog log;
    netmaskOf("10.1.2.3");
    EXPECT_EQ("ifconfig -a | grep '10.1.2.3'\n", log.take());
    netmaskOf("fe80::1");
    netmaskOf("127.0.0.1");
    EXPECT_EQ("", log.take());
  });
}

TEST(InterfaceOfIPv6OnRealInterfaces, IsWhatIpPrints) {
  runOnOwnNetwork([] {
    ip("link set dev lo up\n" + vethPair("a", 1) + vethPair("b", 2) + vethPair("bare", 3) +
       "link set dev a up\nlink set dev b up\naddr add 10.1.2.3/24 dev a\n"
       "addr add fe80::1/64 dev b nodad\naddr add fe80::1/64 dev a nodad\n"
       "addr add fe80::1/64 dev ap nodad\naddr add 2001:db8::5/64 dev a nodad\n"
       "addr add 2001:db8:0:1::6/128 dev b nodad\naddr add 2001:db8:1:2:3:4:5:6/64 dev b nodad");
    std::set<std::string> seen;
    for (const auto& one : interfaces()) {
      for (const auto& address : one.addresses) {
        if (address.family != AF_INET6 || !seen.insert(address.ip).second) continue;
        SCOPED_TRACE(address.ip);
        std::string full = address.ip;
        EXPECT_EQ(AF_INET6, VexaCommonUtils_i::formatStringIP(full));
        std::string text = commutil_test::upperCase(address.ip);
        std::string name = kJunk;
        EXPECT_EQ(0, VexaCommonUtils_i::getInterfaceOfIPV6(text, name));
        EXPECT_EQ(one.name, name);
        EXPECT_EQ(full, text);
      }
    }
    EXPECT_EQ(5U, seen.size());
    std::string text = "2001:db8::6";
    std::string name = kJunk;
    EXPECT_EQ(-1, VexaCommonUtils_i::getInterfaceOfIPV6(text, name));
    EXPECT_EQ(kJunk, name);
  });
}

TEST(NetmaskOnRealInterfaces, WorksInSeveralThreadsAtOnce) {
  runOnOwnNetwork([] {
    std::string lines;
    for (int i = 1; i <= 60; i += 2) {
      const std::string name = "v" + std::to_string(i);
      for (const auto& [number, end] : {std::pair(i, name), std::pair(i + 1, name + "p")}) {
        if (end == name) lines += vethPair(name, i);
        lines += "addr add 10.0." + std::to_string(number) + ".1/" +
                 std::to_string(8 + number % 17) + " dev " + end +
                 "\naddr add 2001:db8::" + std::to_string(number) + "/64 dev " + end + " nodad\n";
      }
    }
    ip(lines);
    inThreads(4, [](int offset) {
      // From about the 51st on, each call runs the tool.
      for (int i = 41 + offset; i <= 60; i += 2) {
        expectMask(dottedMask(8 + static_cast<unsigned>(i) % 17),
                   netmaskOf("10.0." + std::to_string(i) + ".1"));
        std::string text = "2001:db8::" + std::to_string(i);
        std::string name = kJunk;
        EXPECT_EQ(0, VexaCommonUtils_i::getInterfaceOfIPV6(text, name));
        EXPECT_EQ(i % 2 == 1 ? "v" + std::to_string(i) : "v" + std::to_string(i - 1) + "p", name);
      }
    });
  });
}
