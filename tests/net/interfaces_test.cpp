#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <array>
#include <cstring>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "net/fake_kernel.h"
#include "support/fixtures.h"

using commutil_test::FakeKernel;

using testing::ElementsAre;

// All addresses

TEST(GetAllIPAddr, SkipsEntriesOfOtherFamiliesAndWithoutAnAddress) {
  sockaddr_in v4{};
  v4.sin_family = AF_INET;
  v4.sin_addr.s_addr = htonl(0xFFFFFFFF);
  sockaddr_in6 v6{};
  v6.sin6_family = AF_INET6;
  v6.sin6_flowinfo = htonl(0x11112222);
  for (unsigned char i = 0; i < 16; ++i)
    v6.sin6_addr.s6_addr[i] = static_cast<unsigned char>(0xA0 + i);
  sockaddr packet{};
  packet.sa_family = AF_PACKET;
  std::array<ifaddrs, 5> entries{};
  for (std::size_t i = 0; i + 1 < entries.size(); ++i) entries[i].ifa_next = &entries[i + 1];
  entries[1].ifa_addr = &packet;
  entries[2].ifa_addr = reinterpret_cast<sockaddr*>(&v6);
  entries[3].ifa_addr = reinterpret_cast<sockaddr*>(&v4);
  entries[4].ifa_addr = reinterpret_cast<sockaddr*>(&v6);
  FakeKernel kernel([&entries](ifaddrs** list) {
    *list = entries.data();
    return 0;
  });
  std::list<std::string> addresses{"before"};
  EXPECT_EQ(0, VexaCommonUtils_i::getAllIPAddr(addresses));
  constexpr const char* kShifted = "1111:2222:a0a1:a2a3:a4a5:a6a7:a8a9:aaab";
  EXPECT_THAT(addresses, ElementsAre("before", kShifted, "255.255.255.255", kShifted));
  EXPECT_EQ(0, kernel.freedLists) << "the list is kept by contract";
}

TEST(GetAllIPAddr, AddsNothingWithoutAList) {
  const FakeKernel kernel([](ifaddrs** list) {
    *list = nullptr;
    return -1;
  });
  std::list<std::string> addresses{"before"};
  EXPECT_EQ(0, VexaCommonUtils_i::getAllIPAddr(addresses));
  EXPECT_THAT(addresses, ElementsAre("before"));
}

TEST(GetAllIPAddr, UsesTheListWhateverTheResult) {
  sockaddr_in v4{};
  v4.sin_family = AF_INET;
  v4.sin_addr.s_addr = htonl(0x01020304);
  ifaddrs entry{};
  entry.ifa_addr = reinterpret_cast<sockaddr*>(&v4);
  const FakeKernel kernel([&entry](ifaddrs** list) {
    *list = &entry;
    return -1;
  });
  std::list<std::string> addresses;
  EXPECT_EQ(0, VexaCommonUtils_i::getAllIPAddr(addresses));
  EXPECT_THAT(addresses, ElementsAre("1.2.3.4"));
}

// The interface of an address

constexpr const char* kJunk = "junk";

namespace {

/// A list as getifaddrs(3) returns it, of names and addresses.
class InterfaceEntries {
 public:
  void add(std::string name) { m_entries.push_back({std::move(name), {}, false}); }
  void add(std::string name, const std::string& ip) {
    Entry entry{std::move(name), {}, true};
    const bool six = ip.find(':') != std::string::npos;
    entry.address.ss_family = six ? AF_INET6 : AF_INET;
    void* const field =
        six ? static_cast<void*>(&reinterpret_cast<sockaddr_in6&>(entry.address).sin6_addr)
            : &reinterpret_cast<sockaddr_in&>(entry.address).sin_addr;
    ASSERT_EQ(1, ::inet_pton(entry.address.ss_family, ip.c_str(), field));
    m_entries.push_back(entry);
  }

  int copyTo(ifaddrs** list) {
    m_list.assign(m_entries.size(), {});
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
      m_list[i].ifa_next = i + 1 < m_list.size() ? &m_list[i + 1] : nullptr;
      m_list[i].ifa_name = m_entries[i].name.data();
      m_list[i].ifa_addr =
          m_entries[i].hasAddress ? reinterpret_cast<sockaddr*>(&m_entries[i].address) : nullptr;
    }
    *list = m_list.empty() ? nullptr : m_list.data();
    return 0;
  }

 private:
  struct Entry {
    std::string name;
    sockaddr_storage address;
    bool hasAddress;
  };
  std::vector<Entry> m_entries;
  std::vector<ifaddrs> m_list;
};

}  // namespace

TEST(GetInterfaceOfIPV6, RefusesWhatIsNotIPv6) {
  const FakeKernel kernel(FakeKernel::Getifaddrs([](ifaddrs**) {
    ADD_FAILURE() << "the kernel was called";
    return -1;
  }));
  for (std::string ip :
       {std::string("10.1.1.1"), std::string(), std::string("host"), std::string("fe80::1%eth0"),
        std::string("fe80::1/64"), std::string(" fe80::1"), std::string("::1::"),
        std::string("[::1]"), std::string(1 << 20, ':')}) {
    SCOPED_TRACE(ip.substr(0, 40));
    const std::string before = ip;
    std::string name = kJunk;
    EXPECT_EQ(-1, VexaCommonUtils_i::getInterfaceOfIPV6(ip, name));
    EXPECT_EQ(kJunk, name);
    EXPECT_EQ(before, ip);
  }
}

TEST(GetInterfaceOfIPV6, TakesTheFirstThatCarriesTheAddress) {
  InterfaceEntries entries;
  entries.add("none");
  entries.add("v4", "10.1.2.3");
  entries.add("other", "fe80::2");
  entries.add("none");
  entries.add("first", "fe80::1");
  entries.add("second", "fe80::1");
  entries.add("mapped", "::ffff:10.1.2.3");
  FakeKernel kernel(FakeKernel::Getifaddrs([&](ifaddrs** list) { return entries.copyTo(list); }));
  struct Case {
    std::string ip;
    std::string full;
    std::string name;
  };
  for (const Case& row : std::vector<Case>{
           {"FE80::1", "fe80:0:0:0:0:0:0:1", "first"},
           {"fe80:0000:0:0::2", "fe80:0:0:0:0:0:0:2", "other"},
           {"::ffff:10.1.2.3", "::ffff:10.1.2.3", "mapped"},
           {"::FFFF:a01:203", "::ffff:10.1.2.3", "mapped"},
       }) {
    SCOPED_TRACE(row.ip);
    std::string ip = row.ip;
    std::string name = kJunk;
    EXPECT_EQ(0, VexaCommonUtils_i::getInterfaceOfIPV6(ip, name));
    EXPECT_EQ(row.full, ip);
    EXPECT_EQ(row.name, name);
  }
  std::string ip = "FE80::3";
  std::string name = kJunk;
  EXPECT_EQ(-1, VexaCommonUtils_i::getInterfaceOfIPV6(ip, name));
  EXPECT_EQ("fe80:0:0:0:0:0:0:3", ip);
  EXPECT_EQ(kJunk, name);
  EXPECT_EQ(0, kernel.freedLists) << "the list stays allocated by contract";
}

TEST(GetInterfaceOfIPV6, FailsWithoutAList) {
  for (const int result : {-1, 0}) {
    SCOPED_TRACE(result);
    FakeKernel kernel(FakeKernel::Getifaddrs([result](ifaddrs** list) {
      *list = nullptr;
      return result;
    }));
    std::string ip = "FE80::1";
    std::string name = kJunk;
    EXPECT_EQ(-1, VexaCommonUtils_i::getInterfaceOfIPV6(ip, name));
    EXPECT_EQ("fe80:0:0:0:0:0:0:1", ip);
    EXPECT_EQ(kJunk, name);
  }
}

TEST(GetInterfaceOfIPV6, IgnoresTheListOfAFailedRequest) {
  InterfaceEntries entries;
  entries.add("carrier", "fe80::1");
  FakeKernel kernel(FakeKernel::Getifaddrs([&](ifaddrs** list) {
    entries.copyTo(list);
    return -1;
  }));
  std::string ip = "fe80::1";
  std::string name = kJunk;
  EXPECT_EQ(-1, VexaCommonUtils_i::getInterfaceOfIPV6(ip, name));
  EXPECT_EQ(kJunk, name);
}

TEST(GetInterfaceOfIPV6, ReadsTheRealKernel) {
  std::string ip = "2001:DB8::dead:beef";
  std::string name = kJunk;
  EXPECT_EQ(-1, VexaCommonUtils_i::getInterfaceOfIPV6(ip, name)) << "a documentation address";
  EXPECT_EQ("2001:db8:0:0:0:0:dead:beef", ip);
  EXPECT_EQ(kJunk, name);
}

// The prefix length

TEST(GetInet6Address, CutsThePrefixLength) {
  struct Case {
    const char* text;
    const char* address;
  };
  for (const Case& row :
       {Case{"fe80::1/64", "fe80::1"}, Case{"2001:db8::5/64", "2001:db8::5"},
        Case{"fe80::1", "fe80::1"}, Case{"a/b/c", "a"}, Case{"/64", ""}, Case{"/", ""},
        Case{"fe80::1/", "fe80::1"}, Case{" x /", " x "}, Case{"", "junk"}}) {
    SCOPED_TRACE(row.text);
    std::string address = kJunk;
    GetInet6Address(row.text, address);
    EXPECT_EQ(row.address, address);
  }
}

TEST(GetInet6Address, TakesAnyBytesAndItsOwnOutput) {
  using namespace std::string_literals;
  std::string address;
  GetInet6Address("a\0b\xff/1"s, address);
  EXPECT_EQ("a\0b\xff"s, address);
  GetInet6Address(std::string(1 << 20, 'f') + "/64", address);
  EXPECT_EQ(std::string(1 << 20, 'f'), address);
  address = "fe80::1/64";
  GetInet6Address(address, address);
  EXPECT_EQ("fe80::1", address);
}
