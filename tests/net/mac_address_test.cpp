#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "net/fake_kernel.h"
#include "support/fixtures.h"

using commutil_test::FakeKernel;
using commutil_test::interfaceRecord;
using Vexacommon::LocalMACAddress;

namespace {

constexpr unsigned long kListRequest = 35090;
constexpr unsigned long kAddressRequest = 35111;

using Bytes = std::array<unsigned char, 6>;

constexpr Bytes kJunk = {0xA5, 0x5A, 0xA5, 0x5A, 0xA5, 0x5A};

LocalMACAddress junkAddress() {
  LocalMACAddress address{};
  std::copy(kJunk.begin(), kJunk.end(), address.mac);
  return address;
}

Bytes bytesOf(const LocalMACAddress& address) {
  Bytes bytes{};
  std::copy(std::begin(address.mac), std::end(address.mac), bytes.begin());
  return bytes;
}

Bytes bytesOf(const CMACAddress& address) {
  Bytes bytes{};
  std::copy(std::begin(address.bytes), std::end(address.bytes), bytes.begin());
  return bytes;
}

bool equal(CMACAddress left, const CMACAddress& right) { return left == right; }

std::vector<std::string> textsOf(const std::vector<CMACAddress>& addresses) {
  std::vector<std::string> texts;
  texts.reserve(addresses.size());
  for (const CMACAddress& address : addresses) texts.emplace_back(address.text);
  return texts;
}

/// An interface of a simulated kernel; no bytes if the kernel refuses to return them.
struct Interface {
  std::string name;
  std::vector<unsigned char> mac;
};

FakeKernel::Ioctl kernelWith(std::vector<Interface> interfaces) {
  return [interfaces = std::move(interfaces)](unsigned long request, void* argument) {
    if (request == kListRequest) {
      EXPECT_EQ(640, static_cast<ifconf*>(argument)->ifc_len);
      std::vector<ifreq> records;
      records.reserve(interfaces.size());
      for (const auto& one : interfaces) records.push_back(interfaceRecord(one.name, "10.0.0.1"));
      return commutil_test::giveRecords(records, argument);
    }
    EXPECT_EQ(kAddressRequest, request);
    auto& record = *static_cast<ifreq*>(argument);
    const auto one = std::find_if(interfaces.begin(), interfaces.end(),
                                  [&](const auto& entry) { return entry.name == record.ifr_name; });
    if (one == interfaces.end() || one->mac.empty()) return -1;
    std::memset(&record.ifr_hwaddr, 0x77, sizeof(record.ifr_hwaddr));
    std::copy(one->mac.begin(), one->mac.end(), record.ifr_hwaddr.sa_data);
    return 0;
  };
}

}  // namespace

// The value

TEST(CMACAddress, IsAPlainValueOf25Bytes) {
  static_assert(sizeof(CMACAddress) == 25 && alignof(CMACAddress) == 1);
  static_assert(!std::is_polymorphic_v<CMACAddress>);
  static_assert(sizeof(LocalMACAddress) == 6 && std::is_trivial_v<LocalMACAddress>);
  EXPECT_EQ(0, offsetof(CMACAddress, text));
  EXPECT_EQ(19, offsetof(CMACAddress, bytes));
}

TEST(CMACAddress, StartsZero) {
  alignas(CMACAddress) std::array<unsigned char, sizeof(CMACAddress)> memory{};
  memory.fill(0xee);
  auto* const address = new (memory.data()) CMACAddress;
  address->~CMACAddress();
  EXPECT_TRUE(std::all_of(memory.begin(), memory.end(), [](unsigned char c) { return c == 0; }));
}

TEST(CMACAddress, TakesBytesAndPrintsThem) {
  CMACAddress address;
  std::fill(std::begin(address.text), std::end(address.text), 'x');
  const Bytes bytes = {0x00, 0x0c, 0x29, 0xab, 0xcd, 0xef};
  EXPECT_EQ(&address, &(address = bytes.data()));
  EXPECT_STREQ("00:0C:29:AB:CD:EF", address.text);
  EXPECT_EQ(bytes, bytesOf(address));

  std::copy_n("kept", 5, address.text);
  EXPECT_EQ(&address, &(address = static_cast<const unsigned char*>(nullptr)));
  EXPECT_STREQ("kept", address.text);
  EXPECT_EQ(bytes, bytesOf(address));

  const Bytes zero{};
  address = zero.data();
  EXPECT_STREQ("00:00:00:00:00:00", address.text);
  for (int value = 0; value < 256; ++value) {
    Bytes same{};
    same.fill(static_cast<unsigned char>(value));
    address = same.data();
    std::array<char, 3> pair{};
    std::snprintf(pair.data(), pair.size(), "%02X", static_cast<unsigned>(value));
    std::string text = pair.data();
    for (int i = 1; i < 6; ++i) text += std::string(":") + pair.data();
    EXPECT_EQ(text, address.text);
  }
}

TEST(CMACAddress, ComparesTextIgnoringCase) {
  const Bytes bytes = {0x00, 0x0c, 0x29, 0xab, 0xcd, 0xef};
  CMACAddress upper;
  upper = bytes.data();
  CMACAddress lower;
  std::copy_n("00:0c:29:ab:cd:ef", 18, lower.text);
  EXPECT_TRUE(equal(upper, lower)) << "the bytes differ but are not compared";
  EXPECT_TRUE(equal(lower, upper));

  CMACAddress other = upper;
  other.text[16] = 'E';
  EXPECT_FALSE(equal(upper, other)) << "the bytes are equal but are not compared";
  EXPECT_FALSE(equal(upper, CMACAddress()));
  EXPECT_TRUE(equal(CMACAddress(), CMACAddress()));
  static_assert(std::is_same_v<bool (CMACAddress::*)(const CMACAddress&),
                               decltype(&CMACAddress::operator==)>);
}

// Header lines

TEST(GetMac, ReturnsWhatIsBeforeTheLastColon) {
  struct Case {
    std::string line;
    std::string name;
  };
  using namespace std::string_literals;
  for (const Case& row : std::vector<Case>{
           {"eth0: flags=4163<UP,BROADCAST,RUNNING,MULTICAST>  mtu 1500", "eth0"},
           {"eth0:1: flags=4163<UP>  mtu 1500\n", "eth0:1"},
           {"a:b:c", "a:b"},
           {":", ""},
           {"x:", "x"},
           {":x", ""},
           {"", "junk"},
           {"no colon", "junk"},
           {"a\0b:c"s, "a\0b"s},
           {std::string(1 << 20, 'x') + ":", std::string(1 << 20, 'x')},
       }) {
    SCOPED_TRACE(row.line.substr(0, 60));
    std::string name = "junk";
    GetMac(row.line, name);
    EXPECT_EQ(row.name, name);
  }
  std::string same = "eth0: x";
  GetMac(same, same);
  EXPECT_EQ("eth0", same);
}

// Address lines

struct EtherCase {
  std::string line;
  bool found;
  Bytes bytes;
};

TEST(GetEther, ReadsSixFields) {
  using namespace std::string_literals;
  const Bytes none = kJunk;
  const Bytes usual = {0x00, 0x0c, 0x29, 0xab, 0xcd, 0xef};
  for (const EtherCase& row : std::vector<EtherCase>{
           {"ether 00:0c:29:ab:cd:ef  txqueuelen 1000  (Ethernet)", true, usual},
           {"        ether 00:0c:29:ab:cd:ef  txqueuelen 1000  (Ethernet)\n", true, usual},
           {"00:0C:29:AB:CD:EF\n", true, usual},
           {"00:0C:29:AB:CD:EF", true, usual},
           {"0:c:29:ab:cd:ef", true, usual},
           {":00::0c:29:ab::cd:ef:", true, usual},
           {"etherX00:0c:29:ab:cd:ef", true, usual},
           {"a:b:c ether 00:0c:29:ab:cd:ef", true, usual},
           {"ether 00:0c:29:ab:cd:ef ether", true, usual},
           {"ether 00:0c:29:ab:cd:ef ether 1:2", false, none},
           {"ether10:0c:29:ab:cd:ef", true, usual},
           {"ether 1ff:-1: 2:+3:0x4:zz", true, {0xff, 0xff, 0x02, 0x03, 0x04, 0x00}},
           {"1g:2 3:4\t:5\n:6\0f:7"s, true, {1, 2, 4, 5, 6, 7}},
           {"ffffffffffffffffffff:-ffffffffffffffffffff:1:2:3:4", true, {0xff, 0, 1, 2, 3, 4}},
           {"00:0C:29:AB:CD", false, none},
           {"00:0C:29:AB:CD:EF:01", false, none},
           {"ether 00:0c:29:ab:cd:ef  inet6 fe80::1", false, none},
           {"", false, none},
           {"\n", false, none},
           {"ether", false, none},
           {"1:2:3:4:5:6 ether", false, none},
           {"1:2:3:4:5:6 ether ", false, none},
           {"ether :", false, none},
           {"::::::", false, none},
           {"Ether 00:0c:29:ab:cd:ef", true, {0x0e, 0x0c, 0x29, 0xab, 0xcd, 0xef}},
           {std::string(1 << 20, ':'), false, none},
           {std::string(1 << 20, 'f'), false, none},
           {std::string(1 << 20, '0') + ":1:2:3:4:5", true, {0, 1, 2, 3, 4, 5}},
       }) {
    SCOPED_TRACE(row.line.substr(0, 60));
    LocalMACAddress mac = junkAddress();
    EXPECT_EQ(row.found ? 0 : -1, GetEther(row.line, &mac));
    EXPECT_EQ(row.bytes, bytesOf(mac));
  }
}

TEST(GetZirelEther, ReadsTheFieldAfterEther) {
  using namespace std::string_literals;
  const Bytes none = kJunk;
  const Bytes usual = {0x00, 0x0c, 0x29, 0xab, 0xcd, 0xef};
  for (const EtherCase& row : std::vector<EtherCase>{
           {"        ether 00:0c:29:ab:cd:ef  txqueuelen 1000  (Ethernet)\n", true, usual},
           {"ether   00:0c:29:ab:cd:ef", true, usual},
           {"x ether 00:0c:29:ab:cd:ef\n", true, usual},
           {"ether 00:0c:29:ab:cd:ef ether 1:2:3:4:5:6", true, usual},
           {"ether 1ff:-1:2x:+3:0x4:zz", true, {0xff, 0xff, 0x02, 0x03, 0x04, 0x00}},
           {"ether 1:2:3:4:5:6\0:7"s, false, none},
           {"ether ether 00:0c:29:ab:cd:ef", false, none},
           {"00:0c:29:ab:cd:ef", false, none},
           {"ether", false, none},
           {"ether ", false, none},
           {"00:0c:29:ab:cd:ef ether", false, none},
           {"ether\t00:0c:29:ab:cd:ef", false, none},
           {"Ether 00:0c:29:ab:cd:ef", false, none},
           {"ether: 00:0c:29:ab:cd:ef", false, none},
           {"xether 00:0c:29:ab:cd:ef", false, none},
           {"ether 00:0c:29:ab:cd", false, none},
           {"ether 00:0c:29:ab:cd:ef:01", false, none},
           {"ether 00 :0c:29:ab:cd:ef", false, none},
           {"", false, none},
           {std::string(1 << 20, ' ') + "ether 1:2:3:4:5:6", true, {1, 2, 3, 4, 5, 6}},
       }) {
    SCOPED_TRACE(row.line.substr(0, 60));
    LocalMACAddress mac = junkAddress();
    EXPECT_EQ(row.found ? 0 : -1, GetZirelEther(row.line, &mac));
    EXPECT_EQ(row.bytes, bytesOf(mac));
  }
}

TEST(GetEther, EverySixFieldsOfAnyBytesAreAnAddress) {
  std::mt19937 random(1);
  std::uniform_int_distribution<std::size_t> pick(0, 9);
  for (int round = 0; round < 20000; ++round) {
    std::string line;
    for (std::size_t i = 0; i < 24; ++i) line += std::string_view(":::: efth1\xff")[pick(random)];
    if (round % 3 == 0) line.insert(pick(random), "ether ");
    SCOPED_TRACE(line);
    std::string rest = line;
    if (const auto word = rest.find("ether"); word != std::string::npos) {
      rest = word + 6 > rest.size() ? "" : rest.substr(word + 6);
    }
    int fields = 0;
    for (std::size_t i = 0; i < rest.size(); ++i) {
      if (rest[i] != ':' && (i == 0 || rest[i - 1] == ':')) ++fields;
    }
    LocalMACAddress mac = junkAddress();
    ASSERT_EQ(fields == 6 ? 0 : -1, GetEther(line, &mac));
    if (fields != 6) {
      ASSERT_EQ(kJunk, bytesOf(mac));
    }
  }
}

// The kernel's addresses

TEST(GetHWMACAddr, AppendsInReverseOrderWithoutZeroAddressesAndDuplicates) {
  const FakeKernel kernel(kernelWith({{"lo", {0, 0, 0, 0, 0, 0}},
                                      {"eth0", {0, 1, 2, 3, 4, 5}},
                                      {"refused", {}},
                                      {"eth1", {0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54}},
                                      {"eth0:1", {0, 1, 2, 3, 4, 5}}}));
  std::vector<CMACAddress> addresses(1);
  std::copy_n("kept", 5, addresses[0].text);
  CMACAddress work;
  GetHWMACAddr(addresses, work);
  EXPECT_EQ((std::vector<std::string>{"kept", "00:01:02:03:04:05", "FE:DC:BA:98:76:54"}),
            textsOf(addresses));
  EXPECT_EQ((Bytes{0, 1, 2, 3, 4, 5}), bytesOf(addresses[1]));
  EXPECT_EQ((Bytes{0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54}), bytesOf(addresses[2]));
  EXPECT_STREQ("00:00:00:00:00:00", work.text) << "the first record is the last one read";
}

TEST(GetHWMACAddr, LeavesTheWorkingValueAtTheLastAddressRead) {
  const FakeKernel kernel(kernelWith({{"refused", {}}, {"eth0", {0, 1, 2, 3, 4, 5}}}));
  std::vector<CMACAddress> addresses;
  CMACAddress work;
  GetHWMACAddr(addresses, work);
  EXPECT_STREQ("00:01:02:03:04:05", work.text);
  EXPECT_EQ((Bytes{0, 1, 2, 3, 4, 5}), bytesOf(work));
}

TEST(GetHWMACAddr, DoesNotListWhatIsListedInAnotherCase) {
  const FakeKernel kernel(kernelWith({{"eth0", {0xab, 0xcd, 0xef, 3, 4, 5}}}));
  std::vector<CMACAddress> addresses(1);
  std::copy_n("ab:cd:ef:03:04:05", 18, addresses[0].text);
  CMACAddress work;
  GetHWMACAddr(addresses, work);
  EXPECT_EQ((std::vector<std::string>{"ab:cd:ef:03:04:05"}), textsOf(addresses));
}

TEST(GetHWMACAddr, SeesSixteenRecords) {
  std::vector<Interface> interfaces(20);
  for (std::size_t i = 0; i < interfaces.size(); ++i) {
    interfaces[i].name = "eth" + std::to_string(i);
    interfaces[i].mac = {1, 0, 0, 0, 0, static_cast<unsigned char>(i)};
  }
  const FakeKernel kernel(kernelWith(interfaces));
  std::vector<CMACAddress> addresses;
  CMACAddress work;
  GetHWMACAddr(addresses, work);
  ASSERT_EQ(16U, addresses.size());
  EXPECT_STREQ("01:00:00:00:00:0F", addresses.front().text);
  EXPECT_STREQ("01:00:00:00:00:00", addresses.back().text);
}

TEST(GetHWMACAddr, AddsNothingWhenTheKernelRefuses) {
  std::vector<CMACAddress> addresses;
  CMACAddress work;
  std::copy_n("kept", 5, work.text);
  {
    const FakeKernel kernel([](unsigned long, void*) { return -1; });
    GetHWMACAddr(addresses, work);
  }
  {
    const FakeKernel kernel(kernelWith({}));
    GetHWMACAddr(addresses, work);
  }
  EXPECT_TRUE(addresses.empty());
  EXPECT_STREQ("kept", work.text);
}

TEST(GetHWMACAddr, UsesOnePlainDatagramSocket) {
  const FakeKernel kernel(kernelWith({}));
  std::vector<CMACAddress> addresses;
  CMACAddress work;
  GetHWMACAddr(addresses, work);
  ASSERT_EQ(1U, kernel.sockets.size());
  EXPECT_EQ((std::array<int, 3>{AF_INET, SOCK_DGRAM, 0}), kernel.sockets.front());
}

TEST(GetHWMACAddr, AddsNothingWithoutADescriptor) {
  commutil_test::runInChild([] {
    const FakeKernel kernel(kernelWith({{"eth0", {0, 1, 2, 3, 4, 5}}}));
    const rlimit none{0, 0};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &none));
    std::vector<CMACAddress> addresses;
    CMACAddress work;
    GetHWMACAddr(addresses, work);
    EXPECT_TRUE(addresses.empty());
    EXPECT_EQ(0, GetLocalMACAddr(addresses));
    EXPECT_TRUE(addresses.empty());
  });
}
