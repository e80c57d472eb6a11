#include <ace/INET_Addr.h>
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sched.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <fstream>
#include <functional>
#include <list>
#include <string>
#include <utility>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

// Name resolution through files only, and the addresses of interfaces that the tests create.

namespace {

using commutil_test::enterNamespaces;
using commutil_test::replaceFile;
using commutil_test::runInChild;
using commutil_test::shell;
using testing::ElementsAre;

/// Runs `body` with names only from `hosts` and the node name `nodeName`.
void withHosts(const std::string& hosts, const std::string& nodeName,
               const std::function<void()>& body) {
  runInChild([&] {
    enterNamespaces(CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWNET);
    replaceFile("/etc/nsswitch.conf", "passwd: files\ngroup: files\nhosts: files\n");
    replaceFile("/etc/hosts", hosts);
    ASSERT_EQ(0, ::sethostname(nodeName.data(), nodeName.size()));
    body();
  });
}

TEST(HostsOnTheSystem, ResolvesNamesToTheirFirstAddress) {
  withHosts(
      "10.1.1.1 several.example alias1 alias2\n10.1.1.2 several.example\n10.2.2.2 other\n"
      "fe80::1 six.example\n127.0.0.1 localhost\n",
      "node", [] {
        const struct {
          const char* name;
          int result;
          const char* ip;
        } rows[] = {{"several.example", 0, "10.1.1.1"},
                    {"alias2", 0, "10.1.1.1"},
                    {"other", 0, "10.2.2.2"},
                    {"localhost", 0, "127.0.0.1"},
                    {"six.example", -1, ""},
                    {"unknown", -1, ""},
                    {"OTHER", 0, "10.2.2.2"}};
        for (const auto& row : rows) {
          std::string ip = "junk";
          EXPECT_EQ(row.result, VexaCommonUtils::getIPbyHostname(row.name, ip)) << row.name;
          EXPECT_EQ(row.ip, ip) << row.name;
        }
      });
}

TEST(HostsOnTheSystem, FindsTheOfficialNameOfAnAddress) {
  withHosts("10.1.1.1 official.example alias1\n1.0.0.2 short\n", "node", [] {
    const struct {
      const char* ip;
      int result;
      const char* name;
    } rows[] = {{"10.1.1.1", 0, "official.example"},
                {"012.1.1.1", 0, "official.example"},
                {"0xa010101", 0, "official.example"},
                {"10.1.257", 0, "official.example"},
                {"1.2", 0, "short"},
                {"10.1.1.9", -1, ""}};
    for (const auto& row : rows) {
      std::string name = "junk";
      EXPECT_EQ(row.result, VexaCommonUtils::getHostnamebyIP(row.ip, name)) << row.ip;
      EXPECT_EQ(row.name, name) << row.ip;
    }
  });
}

TEST(HostsOnTheSystem, ReturnsTheAddressOfItsOwnNode) {
  withHosts("10.9.8.7 the-node\n", "the-node", [] {
    EXPECT_EQ("the-node", VexaCommonUtils::hostname());
    EXPECT_EQ("10.9.8.7", VexaCommonUtils::hostipaddr());
  });
  withHosts("10.9.8.7 another\n", "the-node", [] { EXPECT_EQ("", VexaCommonUtils::hostipaddr()); });
  withHosts("10.9.8.7 another\n", "", [] {
    EXPECT_EQ("", VexaCommonUtils::hostname());
    EXPECT_EQ("", VexaCommonUtils::hostipaddr());
  });
}

/// Returns a line of a hosts file whose entry needs about `size` bytes of the resolver's buffer.
std::string longEntry(const std::string& ip, std::size_t size) {
  std::string line = ip + " big";
  for (int i = 0; line.size() < size; ++i) line += " " + std::string(50, 'a') + std::to_string(i);
  return line + "\n";
}

TEST(HostsOnTheSystem, FailsIfAResultDoesNotFitInItsBuffer) {
  withHosts("10.1.1.2 small\n" + longEntry("10.1.1.1", 8000), "big", [] {
    std::string text = "junk";
    EXPECT_EQ(-1, VexaCommonUtils::getIPbyHostname("big", text));
    EXPECT_EQ("", text);
    EXPECT_EQ("", VexaCommonUtils::hostipaddr());
    text = "junk";
    EXPECT_EQ(-1, VexaCommonUtils::getHostnamebyIP("10.1.1.1", text));
    EXPECT_EQ("", text);
    EXPECT_EQ(0, VexaCommonUtils::getIPbyHostname("small", text));
    EXPECT_EQ("10.1.1.2", text);
  });
  withHosts(longEntry("10.1.1.1", 2000), "big",
            [] { EXPECT_EQ("10.1.1.1", VexaCommonUtils::hostipaddr()); });
}

/// Returns whether the C library finds the host "big" with a buffer of 4096 bytes.
bool fitsInTheBuffer() {
  hostent entry{};
  hostent* result = nullptr;
  int error = 0;
  std::array<char, 4096> buffer{};
  return ::gethostbyname_r("big", &entry, buffer.data(), buffer.size(), &result, &error) == 0 &&
         result != nullptr;
}

void writeHost(std::size_t nameLength) {
  std::ofstream("/etc/hosts") << "10.1.1.1 big " << std::string(nameLength, 'a') << '\n';
}

TEST(HostsOnTheSystem, FailsFromTheFirstByteThatDoesNotFit) {
  withHosts("", "big", [] {
    std::size_t fits = 2000;
    std::size_t tooLong = 4096;
    while (tooLong - fits > 1) {
      const std::size_t middle = (fits + tooLong) / 2;
      writeHost(middle);
      (fitsInTheBuffer() ? fits : tooLong) = middle;
    }
    ASSERT_GT(fits, 2000U);
    std::string text;
    writeHost(fits);
    EXPECT_EQ("10.1.1.1", VexaCommonUtils::hostipaddr());
    EXPECT_EQ(0, VexaCommonUtils::getIPbyHostname("big", text));
    EXPECT_EQ(0, VexaCommonUtils::getHostnamebyIP("10.1.1.1", text));
    writeHost(tooLong);
    EXPECT_EQ("", VexaCommonUtils::hostipaddr());
    EXPECT_EQ(-1, VexaCommonUtils::getIPbyHostname("big", text));
    EXPECT_EQ("", text);
  });
}

/// ACE's result for a host: its family, 0 on failure, and the string that it prints with the port.
std::pair<int, std::string> resolvedByAce(const std::string& host) {
  ACE_INET_Addr address;
  if (address.set(65533, host.c_str(), 1, AF_UNSPEC) != 0) return {0, ""};
  std::array<char, 128> text{};
  address.addr_to_string(text.data(), text.size(), 1);
  return {address.get_type(), text.data()};
}

TEST(HostsOnTheSystem, FormatsResolvedNamesAsAceDoes) {
  withHosts(
      "fe80::77 six.example\n10.1.1.1 four.example\n10.1.1.2 both.example\n"
      "2001:db8::2 both.example\n10.1.1.3 several.example\n10.1.1.4 several.example\n",
      "node", [] {
        shell("ip link set lo up");
        for (const char* const host :
             {"six.example", "four.example", "both.example", "several.example", "unknown.example",
              "127.1", "1.2.3", "256.1.1.1", "::ffff:1.2.3.4", "::1.2.3.4", "fe80::1%lo", "FE80::1",
              "[::1]", "::", "", "a b", "x;reboot"}) {
          SCOPED_TRACE(host);
          const auto [family, printed] = resolvedByAce(host);
          std::string expected = host;
          if (family != 0) {
            ASSERT_TRUE(printed.size() > 6 && printed.substr(printed.size() - 6) == ":65533");
            expected = printed.substr(0, printed.size() - 6);
            if (expected.front() == '[') expected = expected.substr(1, expected.size() - 2);
            FullNameIp(expected);
          }
          std::string ip = host;
          EXPECT_EQ(family, VexaCommonUtils_i::formatStringIP_DNS(ip));
          EXPECT_EQ(expected, ip);
        }
        std::string ip = "six.example";
        EXPECT_EQ(10, VexaCommonUtils_i::formatStringIP_DNS(ip));
        EXPECT_EQ("fe80:0:0:0:0:0:0:77", ip);
        ip = "four.example";
        EXPECT_NE(0, VexaCommonUtils_i::formatStringIP_DNS(ip));
        EXPECT_THAT(ip, testing::EndsWith("10.1.1.1"));
      });
}

/// The expected list, from the system's own: IPv6 addresses are printed from the flow information
/// on.
std::list<std::string> expectedAddresses() {
  std::list<std::string> texts;
  ifaddrs* list = nullptr;
  EXPECT_EQ(0, ::getifaddrs(&list));
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr) continue;
    std::array<char, 64> text{};
    if (entry->ifa_addr->sa_family == AF_INET) {
      const auto* const v4 = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
      texts.emplace_back(::inet_ntop(AF_INET, &v4->sin_addr, text.data(), text.size()));
    } else if (entry->ifa_addr->sa_family == AF_INET6) {
      const auto* const v6 = reinterpret_cast<const sockaddr_in6*>(entry->ifa_addr);
      std::array<unsigned char, 16> shifted{};
      std::memcpy(shifted.data(), &v6->sin6_flowinfo, 4);
      std::memcpy(shifted.data() + 4, &v6->sin6_addr, 12);
      texts.emplace_back(::inet_ntop(AF_INET6, shifted.data(), text.data(), text.size()));
    }
  }
  ::freeifaddrs(list);
  return texts;
}

TEST(AddressesOnTheSystem, ListsEveryInterfaceAddressInTheSystemsOrder) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNET | CLONE_NEWNS);
    shell("ip link set lo up");
    shell("ip link add east type veth peer name west");
    shell("ip address add 10.1.1.1/24 dev east && ip address add 10.1.1.2/24 dev east");
    shell("ip address add 10.1.1.1/24 dev west");
    shell("ip address add 2001:db8:1:2:3:4:5:6/64 dev east nodad");
    std::list<std::string> addresses{"before"};
    EXPECT_EQ(0, VexaCommonUtils_i::getAllIPAddr(addresses));
    std::list<std::string> expected = expectedAddresses();
    EXPECT_THAT(expected, testing::Contains("::2001:db8:1:2:3:4"));
    EXPECT_THAT(expected, testing::Contains("10.1.1.1").Times(2));
    expected.push_front("before");
    EXPECT_EQ(expected, addresses);
    EXPECT_EQ(0, VexaCommonUtils_i::getAllIPAddr(addresses));
    EXPECT_EQ(2 * expected.size() - 1, addresses.size());
  });
}

TEST(AddressesOnTheSystem, ListsLoopbackAndLinksThatAreDown) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNET);
    shell("ip link set lo up");
    std::list<std::string> addresses;
    EXPECT_EQ(0, VexaCommonUtils_i::getAllIPAddr(addresses));
    // The twelve bytes of ::1 after the flow information are zero.
    EXPECT_THAT(addresses, ElementsAre("127.0.0.1", "::"));
    EXPECT_EQ(0, VexaCommonUtils_i::getAllIPAddr(addresses));
    EXPECT_THAT(addresses, ElementsAre("127.0.0.1", "::", "127.0.0.1", "::"));

    shell("ip link add east type veth peer name west && ip address add 10.3.3.3/24 dev east");
    addresses.clear();
    EXPECT_EQ(0, VexaCommonUtils_i::getAllIPAddr(addresses));
    EXPECT_THAT(addresses, ElementsAre("127.0.0.1", "10.3.3.3", "::"));
  });
}

TEST(AddressesOnTheSystem, ListsNothingWithoutAddresses) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNET);
    std::list<std::string> addresses;
    EXPECT_EQ(0, VexaCommonUtils_i::getAllIPAddr(addresses));
    EXPECT_THAT(addresses, testing::IsEmpty());
  });
}

}  // namespace
