#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "support/fixtures.h"
#include "support/namespaces.h"
#include "support/threads.h"
#include "system/interfaces.h"

using commutil_test::becomeZirel;
using commutil_test::CapturedOutput;
using commutil_test::disable;
using commutil_test::Interface;
using commutil_test::interfaces;
using commutil_test::inThreads;
using commutil_test::ip;
using commutil_test::kIfconfig;
using commutil_test::openDescriptors;
using commutil_test::runOnOwnNetwork;
using commutil_test::standInFor;
using commutil_test::TempDir;
using commutil_test::upperCase;
using commutil_test::vethPair;
using Vexacommon::LocalMACAddress;

namespace {

constexpr const char* kAwk = "/usr/bin/awk";
constexpr const char* kGrep = "/usr/bin/grep";
constexpr const char* kNoMac = "00:00:00:00:00:00";
constexpr const char* kJunkMac = "A5:A5:A5:A5:A5:A5";

using Texts = std::vector<std::string>;

Texts textsOf(const std::vector<CMACAddress>& addresses) {
  Texts texts;
  texts.reserve(addresses.size());
  for (const CMACAddress& address : addresses) texts.emplace_back(address.text);
  return texts;
}

Texts localAddresses() {
  std::vector<CMACAddress> addresses;
  const int count = GetLocalMACAddr(addresses);
  EXPECT_EQ(addresses.size(), static_cast<std::size_t>(count));
  return textsOf(addresses);
}

Texts kernelAddresses() {
  std::vector<CMACAddress> addresses;
  CMACAddress work;
  GetHWMACAddr(addresses, work);
  return textsOf(addresses);
}

void appendOnce(Texts& texts, const std::string& text) {
  if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
}

/// The expected addresses of the kernel source, from ip(8): one record per IPv4 address.
Texts expectedKernelAddresses() {
  Texts records;
  for (const Interface& one : interfaces()) {
    for (const auto& address : one.addresses) {
      if (address.family == AF_INET) records.push_back(upperCase(one.mac));
    }
  }
  records.resize(std::min<std::size_t>(records.size(), 16));
  Texts expected;
  std::for_each(records.rbegin(), records.rend(), [&](const std::string& mac) {
    if (mac != kNoMac) appendOnce(expected, mac);
  });
  return expected;
}

/// Prints this namespace in the tool's older columns.
std::string olderToolOutput() {
  std::string output;
  for (const Interface& one : interfaces()) {
    const bool loop = one.mac == kNoMac;
    output += one.name + "      Link encap:" +
              (loop ? "Local Loopback  \n" : "Ethernet  HWaddr " + one.mac + "  \n");
    for (const auto& address : one.addresses) {
      output += address.family == AF_INET ? "          inet addr:" + address.ip + "\n"
                                          : "          inet6 addr: " + address.ip + "/64\n";
    }
    output += '\n';
  }
  return output;
}

std::string textOf(const LocalMACAddress& mac) {
  CMACAddress address;
  address = mac.mac;
  return address.text;
}

struct Answer {
  int result = 0;
  std::string mac;
};

/// Calls the lookup, and expects it to set the address to its full form, whatever the result.
Answer macOf(std::string address) {
  std::string full = address;
  VexaCommonUtils_i::formatStringIP(full);
  LocalMACAddress mac{};
  std::fill(std::begin(mac.mac), std::end(mac.mac), static_cast<unsigned char>(0xA5));
  const int result = VexaCommonUtils_i::getMacAddrOfIPV6(address, &mac);
  EXPECT_EQ(full, address);
  return {result, textOf(mac)};
}

Answer zirelMacOf(const std::string& address) {
  LocalMACAddress mac{};
  std::fill(std::begin(mac.mac), std::end(mac.mac), static_cast<unsigned char>(0xA5));
  const int result = VexaCommonUtils_i::getZirelMacAddrOfIPV6(address, &mac);
  return {result, textOf(mac)};
}

void expectAnswer(int result, const std::string& mac, const Answer& answer) {
  EXPECT_EQ(result, answer.result);
  EXPECT_EQ(mac, answer.mac);
}

void expectNone(const Answer& answer) { expectAnswer(-1, kJunkMac, answer); }

}  // namespace

// The kernel's addresses

TEST(MacAddressesOfTheKernel, AreWhatIpPrints) {
  runOnOwnNetwork([] {
    ip("link set dev lo up\n" + vethPair("a", 1) + vethPair("b", 2) + vethPair("down", 3) +
       vethPair("bare", 4) + vethPair("same", 1) +
       "link set dev a up\nlink set dev b up\nlink set dev bare up\n"
       "addr add 10.1.2.3/24 dev a\naddr add 10.1.2.4/24 dev a label a:1\n"
       "addr add 10.1.2.5/16 dev a\naddr add 10.2.2.3/24 dev b\naddr add 10.3.2.3/24 dev down\n"
       "addr add 10.4.2.3/24 dev same\naddr add fe80::1/64 dev bare nodad");
    const Texts expected = expectedKernelAddresses();
    EXPECT_EQ(3U, expected.size());
    EXPECT_EQ(expected, kernelAddresses());
  });
}

TEST(MacAddressesOfTheKernel, ComeFromSixteenRecords) {
  runOnOwnNetwork([] {
    std::string lines = "link set dev lo up\n";
    for (int i = 1; i <= 10; ++i) {
      std::string name = "v";  // one expression with the number is too much for g++ 12 at -O3
      name += std::to_string(i);
      lines += vethPair(name, i) + "addr add 10.0." + std::to_string(i) + ".1/24 dev " + name +
               "\naddr add 10.0." + std::to_string(i) + ".2/24 dev " + name + "p\n";
    }
    ip(lines);
    const Texts expected = expectedKernelAddresses();
    EXPECT_EQ(15U, expected.size());
    EXPECT_EQ(expected, kernelAddresses());
  });
}

TEST(MacAddressesOfTheKernel, AreNoneWhereAllAreZero) {
  runOnOwnNetwork([] {
    ip("link set dev lo up");
    EXPECT_EQ(Texts(), kernelAddresses());
    EXPECT_EQ(Texts(), localAddresses());
  });
}

// All local addresses

TEST(LocalMacAddresses, OfTheNewerToolAreOnlyReadOnItsDistribution) {
  runOnOwnNetwork([] {
    ip("link set dev lo up\n" + vethPair("a", 0xab) + vethPair("bare", 0xcd) +
       "addr add 10.1.2.3/24 dev a\n");
    Texts expected = expectedKernelAddresses();
    EXPECT_EQ(Texts{"02:00:00:00:00:AB"}, expected);
    EXPECT_EQ(expected, localAddresses()) << "no line holds the older keyword";

    becomeZirel();
    std::vector<Interface> sorted = interfaces();
    for (const Interface& one : sorted) {
      if (one.mac != kNoMac) appendOnce(expected, upperCase(one.mac));
    }
    EXPECT_EQ(4U, expected.size());
    const Texts found = localAddresses();
    EXPECT_EQ(expected.front(), found.front());
    EXPECT_EQ(std::set<std::string>(expected.begin(), expected.end()),
              std::set<std::string>(found.begin(), found.end()));
    EXPECT_EQ(expected.size(), found.size());
  });
}

TEST(LocalMacAddresses, OfTheOlderToolFollowTheKernels) {
  runOnOwnNetwork([] {
    ip("link set dev lo up\n" + vethPair("a", 0xab) + vethPair("bare", 0xcd) +
       "addr add 10.1.2.3/24 dev a\n");
    const TempDir dir;
    standInFor(kIfconfig, dir, olderToolOutput());
    Texts expected = expectedKernelAddresses();
    for (const Interface& one : interfaces()) {
      // The tool's string is kept unchanged: lower case, unless the kernel has it in another case.
      if (one.mac != kNoMac && one.name != "a") expected.push_back(one.mac);
    }
    EXPECT_EQ(expected, localAddresses());
  });
}

TEST(LocalMacAddresses, AppendToWhatIsThere) {
  runOnOwnNetwork([] {
    ip(vethPair("a", 1) + "addr add 10.1.2.3/24 dev a\n");
    const TempDir dir;
    standInFor(kIfconfig, dir, "x Link encap:Ethernet HWaddr 00:0c:29:ab:cd:ef\n");
    std::vector<CMACAddress> addresses(1);
    EXPECT_EQ(3, GetLocalMACAddr(addresses));
    EXPECT_EQ((Texts{"", "02:00:00:00:00:01", "00:0c:29:ab:cd:ef"}), textsOf(addresses));
    EXPECT_EQ(3, GetLocalMACAddr(addresses));
    // The entry from the tool keeps the bytes that the working value held last.
    EXPECT_TRUE(std::equal(addresses[1].bytes, addresses[1].bytes + 6, addresses[2].bytes));
    EXPECT_EQ(1, addresses[2].bytes[5]);
  });
}

TEST(LocalMacAddresses, PiecesOfAnyToolOutput) {
  struct Case {
    const char* name;
    std::string output;
    Texts texts;
  };
  using namespace std::string_literals;
  const std::vector<Case> cases = {
      {"nothing", "", {}},
      {"an address", "00:0c:29:ab:cd:ef\n", {"00:0c:29:ab:cd:ef"}},
      {"in two cases", "00:0c:29:ab:cd:ef\n00:0C:29:AB:CD:EF\n", {"00:0c:29:ab:cd:ef"}},
      {"empty lines are one entry", "\n\na\n\n", {"", "a"}},
      {"without a line end", "00:0c:29:ab:cd:ef", {"00:0c:29:ab:cd:e"}},
      {"a single character without a line end", "x", {""}},
      {"18 characters fit", "123456789012345678\n", {"123456789012345678"}},
      {"more are cut", "1234567890123456789\n", {"123456789012345678"}},
      {"carriage returns stay", "a\r\n", {"a\r"}},
      {"a line of 1022 characters", std::string(1022, 'a') + "\nx\n", {std::string(18, 'a'), "x"}},
      {"1023: its line end is a piece",
       std::string(1023, 'a') + "\nx\n",
       {std::string(18, 'a'), "", "x"}},
      {"1024", std::string(1023, 'a') + "b\n", {std::string(18, 'a'), "b"}},
      {"pieces lose their last character",
       std::string(1023, 'a') + "bcd",
       {std::string(18, 'a'), "bc"}},
      {"a long line", std::string(1 << 20, 'a') + "\n", {std::string(18, 'a'), "a"}},
      {"text ends at a NUL", "ab\0cd\n\0\nef\n"s, {"a", "", "ef"}},
      {"any bytes", "\x01\xff\x80\n", {"\x01\xff\x80"}},
  };
  for (const Case& row : cases) {
    runOnOwnNetwork([&row] {
      SCOPED_TRACE(row.name);
      const TempDir dir;
      standInFor(kAwk, dir, row.output);
      EXPECT_EQ(row.texts, localAddresses());
    });
  }
}

TEST(LocalMacAddresses, PermanentAddressesOfBonds) {
  runOnOwnNetwork([] {
    ip(vethPair("a", 1) + "addr add 10.1.2.3/24 dev a\n");
    const TempDir dir;
    standInFor(kIfconfig, dir, "a Link encap:Ethernet HWaddr 00:0c:29:00:00:01\n");
    commutil_test::mountTmpfs("/proc");
    std::filesystem::create_directories("/proc/net/bonding");
    const std::string slave =
        "\nSlave Interface: eth\nMII Status: up\nLink Failure Count: 0\nPermanent HW addr: ";
    commutil_test::writeFile("/proc/net/bonding/bond1",
                             "Bonding Mode: active-backup\n" + slave + "00:0c:29:ab:cd:10\n");
    commutil_test::writeFile("/proc/net/bonding/bond0",
                             "Bonding Mode: active-backup\n" + slave + "00:0c:29:ab:cd:ef\n" +
                                 slave + "00:0c:29:00:00:01\n" + slave + "02:00:00:00:00:01\n" +
                                 slave + "00:0C:29:AB:CD:EF\n" + slave + "00:0c:29:ab:cd:0f\n");
    std::vector<CMACAddress> addresses;
    EXPECT_EQ(5, GetLocalMACAddr(addresses));
    EXPECT_EQ((Texts{"02:00:00:00:00:01", "00:0c:29:00:00:01", "00:0C:29:AB:CD:EF",
                     "00:0C:29:AB:CD:0F", "00:0C:29:AB:CD:10"}),
              textsOf(addresses));
    for (const CMACAddress& address : addresses) EXPECT_EQ(1, address.bytes[5]);
  });
}

TEST(LocalMacAddresses, WordsOfAnyBondingLine) {
  struct Case {
    const char* name;
    std::string output;
    Texts texts;
  };
  using namespace std::string_literals;
  const std::string label = "Permanent HW addr: ";
  const std::string mac = "00:0c:29:ab:cd:ef";
  const std::string upper = "00:0C:29:AB:CD:EF";
  const std::vector<Case> cases = {
      {"an address", label + mac + "\n", {upper}},
      {"without a line end", label + mac, {upper}},
      {"whitespace after", label + mac + " \t\r\n", {upper}},
      {"a tab before it", "Permanent HW addr:\t" + mac + "\n", {upper}},
      {"a carriage return before it", "Permanent HW addr:\r" + mac + "\n", {upper}},
      {"34 characters", std::string(16, ' ') + "0" + mac.substr(0, 17), {}},
      {"35 characters", std::string(17, ' ') + "0" + mac.substr(0, 17), {"0" + upper}},
      {"34 and the line end", std::string(17, ' ') + mac + "\n", {upper}},
      {"33 and the line end", std::string(16, ' ') + mac + "\n", {}},
      {"a word of 16 characters", std::string(40, ' ') + mac.substr(1) + "\n", {}},
      {"a word of 17 characters", std::string(40, ' ') + mac + "\n", {upper}},
      {"a word of 18 characters", std::string(40, ' ') + mac + "a\n", {upper + "A"}},
      {"a word of 19 characters", std::string(40, ' ') + mac + "ab\n", {upper + "A"}},
      {"the last word counts", label + mac + " " + std::string(17, 'x'), {std::string(17, 'X')}},
      {"the last word is short", label + mac + " up\n", {}},
      {"no space before the word", std::string(40, 'x') + "\n", {}},
      {"spaces only", std::string(40, ' ') + "\n", {}},
      {"a long line",
       std::string(1000, 'x') + " " + std::string(22, 'a') + std::string(18, ' ') +
           std::string(17, 'b') + "\n",
       {std::string(18, 'A'), std::string(17, 'B')}},
      {"a line of 1 MiB", std::string(1 << 20, 'x') + "\n", {}},
      {"text ends at a NUL", std::string(40, ' ') + mac + "\0abc\n"s, {upper}},
      {"bytes that are not letters",
       std::string(40, ' ') + std::string(17, '\xe4') + "\n",
       {std::string(17, '\xe4')}},
      {"empty lines", "\n\n\n", {}},
  };
  for (const Case& row : cases) {
    runOnOwnNetwork([&row] {
      SCOPED_TRACE(row.name);
      const TempDir dir;
      standInFor(kAwk, dir, "");
      standInFor(kGrep, dir, row.output);
      EXPECT_EQ(row.texts, localAddresses());
    });
  }
}

TEST(LocalMacAddresses, MissingToolsAddNothing) {
  runOnOwnNetwork([] {
    ip(vethPair("a", 1) + "addr add 10.1.2.3/24 dev a\n");
    for (const char* tool : {kIfconfig, "/bin/cat", kGrep}) disable(tool);
    const CapturedOutput shellComplaint(2);
    EXPECT_EQ(Texts{"02:00:00:00:00:01"}, localAddresses());
    becomeZirel();
    EXPECT_EQ(Texts{"02:00:00:00:00:01"}, localAddresses());
  });
}

// The address of an IPv6 address's interface

TEST(MacOfIPv6, OfTheOlderToolIsWhatIpPrints) {
  runOnOwnNetwork([] {
    ip("link set dev lo up\n" + vethPair("eth1", 1) + vethPair("eth10", 2) + vethPair("down", 3) +
       "link set dev eth1 up\nlink set dev eth10 up\n"
       "addr add fe80::1/64 dev eth1 nodad\naddr add 2001:db8::5/64 dev eth10 nodad\n"
       "addr add 2001:db8::6/64 dev eth10p nodad\naddr add fe80::1/64 dev down nodad\n");
    const TempDir dir;
    standInFor(kIfconfig, dir, olderToolOutput());
    // Names match as part of a line, so the first printed interface wins.
    const std::string printed = olderToolOutput();
    for (const Interface& one : interfaces()) {
      for (const auto& address : one.addresses) {
        SCOPED_TRACE(address.ip + " on " + one.name);
        if (one.name == "down" || one.name == "lo") continue;
        const std::string line = printed.substr(printed.find(one.name));
        const std::string mac = line.substr(line.find("HWaddr ") + 7, 17);
        expectAnswer(0, upperCase(mac), macOf(upperCase(address.ip)));
      }
    }
    expectNone(macOf("::1"));  // the line of the loopback interface holds no address
    expectNone(macOf("fe80::2"));
    expectNone(macOf("10.1.1.1"));
  });
}

TEST(MacOfIPv6, OfTheNewerToolIsNotReadOnOtherDistributions) {
  runOnOwnNetwork([] {
    ip(vethPair("a", 1) + "addr add fe80::1/64 dev a nodad\nlink set dev a up");
    expectNone(macOf("fe80::1"));
  });
}

TEST(MacOfIPv6, SucceedsWithNothingRead) {
  runOnOwnNetwork([] {
    ip(vethPair("a", 1) + "addr add fe80::1/64 dev a nodad\n");
    expectAnswer(0, kJunkMac, macOf("fe80::1"));  // a down interface, which the tool omits
    disable(kIfconfig);
    const CapturedOutput shellComplaint(2);
    expectAnswer(0, kJunkMac, macOf("fe80::1"));
    expectNone(macOf("fe80::2"));
  });
}

TEST(MacOfIPv6, SucceedsWithoutAStream) {
  runOnOwnNetwork([] {
    ip(vethPair("a", 1) + "addr add fe80::1/64 dev a nodad\n");
    // Enough for the interface lookup's one descriptor, not for the pipe's two.
    const int next = ::dup(0);
    ::close(next);
    const rlimit room{static_cast<rlim_t>(next) + 1, static_cast<rlim_t>(next) + 1};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &room));
    expectAnswer(0, kJunkMac, macOf("fe80::1"));
    expectNone(zirelMacOf("fe80:0:0:0:0:0:0:1"));
  });
}

TEST(MacOfIPv6, ReadsOneLineOf47Characters) {
  struct Case {
    const char* name;
    std::string output;
    int result;
    std::string mac;
  };
  const std::string tail = ":11:22:33:44:";
  const std::vector<Case> cases = {
      {"an address", "00:0c:29:ab:cd:ef\n", 0, "00:0C:29:AB:CD:EF"},
      {"the first line counts", "00:0c:29:ab:cd:ef\n1:2:3:4:5:6\n", 0, "00:0C:29:AB:CD:EF"},
      {"the first line counts even if it is empty", "\n00:0c:29:ab:cd:ef\n", -1, kJunkMac},
      {"without a line end", "00:0c:29:ab:cd:ef", 0, "00:0C:29:AB:CD:EF"},
      {"with the word", "ether 00:0c:29:ab:cd:ef", 0, "00:0C:29:AB:CD:EF"},
      {"47 characters", std::string(32, '0') + tail + "ab", 0, "00:11:22:33:44:AB"},
      {"48 characters", std::string(33, '0') + tail + "ab", 0, "00:11:22:33:44:0A"},
      {"49 characters", std::string(34, '0') + tail + "ab", -1, kJunkMac},
      {"1 MiB", std::string(1 << 20, ':'), -1, kJunkMac},
      {"a NUL", std::string("1:2:3:4:5:6\0:7\n", 15), 0, "01:02:03:04:05:06"},
      {"nothing", "", 0, kJunkMac},
      {"garbage", "\xff\xfe", -1, kJunkMac},
  };
  for (const Case& row : cases) {
    runOnOwnNetwork([&row] {
      SCOPED_TRACE(row.name);
      ip(vethPair("a", 1) + "addr add fe80::1/64 dev a nodad\n");
      const TempDir dir;
      standInFor(kAwk, dir, row.output);
      expectAnswer(row.result, row.mac, macOf("fe80::1"));
    });
  }
}

TEST(MacOfIPv6, OfTheNewerToolIsWhatIpPrints) {
  runOnOwnNetwork([] {
    ip("link set dev lo up\n" + vethPair("eth1", 1) + vethPair("eth10", 2) + vethPair("down", 3) +
       "addr add fe80::1/64 dev eth1 nodad\naddr add 2001:db8::5/64 dev eth10 nodad\n"
       "addr add 2001:db8::7/128 dev eth10 nodad\naddr add 2001:db8::6/64 dev down nodad\n");
    becomeZirel();
    int checked = 0;
    for (const Interface& one : interfaces()) {
      for (const auto& address : one.addresses) {
        if (address.family != AF_INET6 || one.name == "lo") continue;
        SCOPED_TRACE(address.ip + " on " + one.name);
        expectAnswer(0, upperCase(one.mac), macOf(upperCase(address.ip)));
        std::string full = address.ip;
        VexaCommonUtils_i::formatStringIP(full);
        expectAnswer(0, upperCase(one.mac), zirelMacOf(full));
        expectNone(zirelMacOf(address.ip));  // only the full form is compared
        expectNone(zirelMacOf(upperCase(full)));
        ++checked;
      }
    }
    EXPECT_EQ(4, checked);
    expectNone(macOf("::1"));
    expectNone(macOf("fe80::2"));
    expectNone(macOf("10.1.1.1"));
  });
}

TEST(MacOfIPv6, PartOfTheInterfacesNameIsEnough) {
  runOnOwnNetwork([] {
    ip(vethPair("a", 1) + vethPair("xa", 2) + "addr add fe80::1/64 dev xa nodad\n" +
       "addr add fe80::2/64 dev a nodad\naddr add fe80::3/64 dev xap nodad\n");
    becomeZirel();
    // In name order: a, ap, xa, xap; the last one that is part of the carrier's name wins.
    expectAnswer(0, "02:00:00:00:00:02", macOf("fe80::1"));
    expectAnswer(0, "02:00:00:00:00:01", macOf("fe80::2"));
    expectAnswer(0, "06:00:00:00:00:02", macOf("fe80::3"));
  });
}

struct NewerToolCase {
  const char* name;
  std::string output;
  int result;
  std::string mac;
};

std::vector<NewerToolCase> newerToolCases() {
  using namespace std::string_literals;
  const std::string eth0 = "eth0: flags=4163<UP>  mtu 1500\n";
  const std::string carries = "        inet6 fe80::1  prefixlen 64  scopeid 0x20<link>\n";
  const std::string ether = "        ether 00:0c:29:ab:cd:ef  txqueuelen 1000  (Ethernet)\n";
  const std::string mac = "00:0C:29:AB:CD:EF";
  return {
      {"usual", eth0 + carries + ether, 0, mac},
      {"address after the hardware address", eth0 + ether + carries, 0, mac},
      {"a prefix length", eth0 + "inet6 fe80::1/64\n" + ether, 0, mac},
      {"upper case", eth0 + "inet6 FE80:0::1 x\n" + ether, 0, mac},
      {"the last line that names the address wins",
       eth0 + carries + ether + "lo: flags=1\n" + carries, -1, kJunkMac},
      {"a later part of the name wins",
       "c0: flags\nether 1:1:1:1:1:1\nbc0: flags\n" + carries + "b: flags\nether 2:2:2:2:2:2\n", 0,
       "01:01:01:01:01:01"},
      {"map order, not line order",
       "c0: flags\nether 3:3:3:3:3:3\nb: flags\nether 2:2:2:2:2:2\nbc0: flags\n" + carries +
           "ether 1:1:1:1:1:1\n",
       0, "03:03:03:03:03:03"},
      {"a second hardware address replaces the first",
       eth0 + carries + "ether 1:1:1:1:1:1\n" + ether, 0, mac},
      {"a malformed second one does not", eth0 + carries + ether + "ether 1:1:1:1:1\n", 0, mac},
      {"one before any header matches every name",
       "ether 1:1:1:1:1:1\n" + eth0 + carries + "eth1: flags\n" + ether, 0, "01:01:01:01:01:01"},
      {"one before any header loses to later names", "ether 1:1:1:1:1:1\n" + eth0 + carries + ether,
       0, mac},
      {"one before any header matches without the address too",
       "ether 1:1:1:1:1:1\n" + eth0 + ether, 0, "01:01:01:01:01:01"},
      {"no line names the address", eth0 + ether, -1, kJunkMac},
      {"another address", eth0 + "inet6 fe80::2 x\n" + ether, -1, kJunkMac},
      {"no hardware address", eth0 + carries, -1, kJunkMac},
      {"inet6 ends the line", eth0 + "fe80::1 inet6" + "\n" + ether, -1, kJunkMac},
      {"inet6 ends the text", eth0 + ether + "fe80::1 inet6", -1, kJunkMac},
      {"the older columns", eth0 + "inet6 addr: fe80::1/64 Scope:Link\n" + ether, -1, kJunkMac},
      {"inet6 inside a word", eth0 + "xinet6 fe80::1 x\n" + ether, -1, kJunkMac},
      {"an address that ends the line", eth0 + "inet6 fe80::1\n" + ether, -1, kJunkMac},
      {"an address with its prefix length that ends the line", eth0 + "inet6 fe80::1/\n" + ether, 0,
       mac},
      {"a zone", eth0 + "inet6 fe80::1%eth0 x\n" + ether, -1, kJunkMac},
      {"a header that also names the address", "eth0: flags inet6 fe80::1 x\n" + ether, -1,
       kJunkMac},
      {"a header that also has the hardware address", eth0 + carries + "flags: ether 1:2:3:4:5:6\n",
       -1, kJunkMac},
      {"one line with both", eth0 + "inet6 fe80::1 ether 00:0c:29:ab:cd:ef\n", 0, mac},
      {"a header without a colon keeps the name", eth0 + "flags\n" + carries + ether, 0, mac},
      {"an alias", "eth0:1: flags=1\n" + carries + ether, 0, mac},
      {"a name up to the last colon", "eth0: flags=a:b\n" + carries + ether, 0, mac},
      {"headers only", eth0 + eth0, -1, kJunkMac},
      {"nothing", "", -1, kJunkMac},
      {"an empty line", "\n", -1, kJunkMac},
      {"NUL bytes", eth0 + "inet6 fe80::1 \0\n"s + "ether 0:c:29:ab:cd:ef\0:1\n"s, 0, mac},
      {"1 MiB without a line end", std::string(1 << 20, 'x'), -1, kJunkMac},
      {"1 MiB of bytes", std::string(1 << 19, '\xff') + std::string(1 << 19, '\n'), -1, kJunkMac},
      {"pieces of 1022 characters end after the address",
       eth0 + carries + std::string(1022 - 23, ' ') + "ether 00:0c:29:ab:cd:ef\n", 0, mac},
      {"pieces of 1022 characters end inside the address",
       eth0 + carries + std::string(1023 - 23, ' ') + "ether 00:0c:29:ab:cd:ef\n", 0,
       "00:0C:29:AB:CD:0E"},
      {"a header that is cut in two does not count",
       eth0 + carries + ether + "eth1: " + std::string(1019 - 6, ' ') + "flags\n" +
           "ether 1:1:1:1:1:1\n",
       0, "01:01:01:01:01:01"},
      {"a header that just fits counts",
       eth0 + carries + ether + "eth1: " + std::string(1017 - 6, ' ') + "flags\n" +
           "ether 1:1:1:1:1:1\n",
       0, mac},
  };
}

TEST(MacOfIPv6, AnyOutputOfTheNewerTool) {
  for (const NewerToolCase& row : newerToolCases()) {
    runOnOwnNetwork([&row] {
      SCOPED_TRACE(row.name);
      becomeZirel();
      const TempDir dir;
      standInFor(kIfconfig, dir, row.output);
      expectAnswer(row.result, row.mac, zirelMacOf("fe80:0:0:0:0:0:0:1"));
      expectAnswer(row.result, row.mac, macOf("FE80::1"));
    });
  }
}

TEST(MacOfIPv6, WithoutTheNewerToolThereIsNone) {
  runOnOwnNetwork([] {
    ip(vethPair("a", 1) + "addr add fe80::1/64 dev a nodad\n");
    becomeZirel();
    disable(kIfconfig);
    const CapturedOutput shellComplaint(2);
    expectNone(macOf("fe80::1"));
  });
}

// The commands

TEST(MacAddressCommands, RunByteForByte) {
  runOnOwnNetwork([] {
    ip(vethPair("a", 1) + "addr add fe80::1/64 dev a nodad\n");
    commutil_test::ShellLog log;
    const std::string bonding =
        "/bin/cat /proc/net/bonding/* 2>&1 | /usr/bin/grep \"Permanent HW addr\"\n";
    localAddresses();
    EXPECT_EQ(
        "/sbin/ifconfig -a | /usr/bin/grep HWaddr | /usr/bin/awk -F' ' '{print $5}'\n" + bonding,
        log.take());
    macOf("fe80::1");
    EXPECT_EQ("/sbin/ifconfig |grep a|awk '{print $5}'\n", log.take());
    macOf("fe80::2");
    EXPECT_EQ("", log.take());

    becomeZirel();
    localAddresses();
    EXPECT_EQ(
        "/sbin/ifconfig -a  | /usr/bin/grep ether | /usr/bin/awk -F' ' '{print $2}'| "
        "tr 'a-z' 'A-Z'\n" +
            bonding,
        log.take());
    macOf("fe80::2");
    EXPECT_EQ("/usr/sbin/ifconfig -a\n", log.take());
  });
}

TEST(MacAddressCommands, LeaveNoDescriptorAndNoChild) {
  runOnOwnNetwork([] {
    ip(vethPair("a", 1) + "addr add 10.1.2.3/24 dev a\naddr add fe80::1/64 dev a nodad\n");
    const std::size_t before = openDescriptors();
    for (int round = 0; round < 2; ++round) {
      localAddresses();
      macOf("fe80::1");
      zirelMacOf("fe80:0:0:0:0:0:0:1");
      if (round == 0) becomeZirel();
    }
    EXPECT_EQ(before, openDescriptors());
    EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
  });
}

TEST(MacAddresses, WorkInSeveralThreadsAtOnce) {
  runOnOwnNetwork([] {
    ip("link set dev lo up\n" + vethPair("a", 1) + vethPair("b", 2) +
       "addr add 10.1.2.3/24 dev a\naddr add 10.1.3.3/24 dev b\naddr add fe80::1/64 dev a nodad\n"
       "addr add fe80::2/64 dev b nodad\n");
    becomeZirel();
    const Texts expected = localAddresses();
    EXPECT_EQ(4U, expected.size());
    inThreads(4, [&expected](int i) {
      for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(expected, localAddresses());
        const std::string number = std::to_string(1 + i % 2);
        expectAnswer(0, "02:00:00:00:00:0" + number, macOf("fe80::" + number));
      }
    });
  });
}
