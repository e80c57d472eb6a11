#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

struct Check {
  std::string text;
  bool valid;
};

TEST(IsValidIP, TakesFourFieldsOfDigitsUpTo255) {
  const Check rows[] = {
      {"1.2.3.4", true},
      {"0.0.0.0", true},
      {"255.255.255.255", true},
      {"010.001.000.255", true},
      {"0001.2.3.4", true},
      {"000000001.1.1.1", true},
      {"1.1.1.000000255", true},
      {"0000000001.1.1.1", false},
      {"001.002.003.0004", false},
      {"256.1.1.1", false},
      {"1.256.1.1", false},
      {"1.1.1.256", false},
      {"1.1.1.999999999", false},
      {"1.2.3", false},
      {"1.2.3.4.", false},
      {".1.2.3.4", false},
      {"1..2.3", false},
      {"1.2.3.", false},
      {".2.3.4", false},
      {"1.2.3.4.5", false},
      {"...", false},
      {"....", false},
      {"", false},
      {"1", false},
      {"..", false},
      {"12", false},
      {"1234", false},
      {" 1.2.3.4", false},
      {"1.2.3.4 ", false},
      {"1.2.3.4\n", false},
      {"-1.2.3.4", false},
      {"+1.2.3.4", false},
      {"0x1.2.3.4", false},
      {"1.2.3.a", false},
      {"fe80::1", false},
      {"1.2.3.4\0"s, false},
      {"1.2\0.3.4"s, false},
  };
  for (const Check& row : rows) {
    EXPECT_EQ(row.valid, VexaCommonUtils::isValidIP(row.text)) << row.text;
  }
}

TEST(IsValidIP, RefusesEveryByteButDigitsAndDots) {
  for (int byte = 0; byte < 256; ++byte) {
    const auto c = static_cast<char>(byte);
    const bool digit = c >= '0' && c <= '9';
    EXPECT_EQ(digit, VexaCommonUtils::isValidIP("1.2.3."s + c)) << byte;
  }
}

TEST(CheckIp, IsDeliberatelyLax) {
  const Check rows[] = {
      {"10.0.0.1", true},
      {"  10.0.0.1\r\n", true},
      {"\t\n1.2.3.4 \t", true},
      {"..1.2.3.4", true},
      {".1..2.3.4.", true},
      {"300.1.1.1", true},
      {"999.999.999.999", true},
      {"00000000000000000000001.2.3.4", true},
      {"1.2.3", false},
      {"1.2.3.4.5", false},
      {"fe80::1", false},
      {"1.2.3.x", false},
      {"1.2. 3.4", false},
      {"1.2.3.4 .", false},
      {"\v1.2.3.4", false},
      {"", false},
      {"   ", false},
      {"....", false},
      {"-1.2.3.4", false},
      {"1.2.3.4;reboot", false},
      {"1.2.3.$(id)", false},
      {"1,2,3,4", false},
      {"1.2.3.4\0.5"s, true},
      {"1.2.3.4\n1.2.3.4", false},
  };
  for (const Check& row : rows) EXPECT_EQ(row.valid, CheckIp(row.text.c_str())) << row.text;
}

TEST(CheckIp, ThrowsForANullPointer) { EXPECT_THROW(CheckIp(nullptr), std::logic_error); }

struct Parse {
  std::string text;
  int result;
  std::vector<unsigned char> octets;
};

TEST(ValidateIPv4, KeepsTheFieldsBeforeTheFailure) {
  const Parse rows[] = {
      {"1.2.3.4", 0, {1, 2, 3, 4}},
      {"255.0.255.0", 0, {255, 0, 255, 0}},
      {"001.002.003.000004", 0, {1, 2, 3, 4}},
      {"1..2.3", -1, {1}},
      {".1.2.3", -1, {}},
      {"1.2.3.", -1, {1, 2, 3}},
      {"1.2.3.4.", -1, {1, 2, 3, 4}},
      {"1.2.3", -1, {1, 2, 3}},
      {"1.2.3.4.5", -1, {1, 2, 3, 4, 5}},
      {"abc", -1, {}},
      {"1234", -1, {}},
      {"12", -1, {}},
      {"", -1, {}},
      {".", -1, {}},
      {"1.256.3.4", -1, {1}},
      {"1.2.3.x", -1, {1, 2, 3}},
      {"1.2.3.4 ", -1, {1, 2, 3}},
      {" 1.2.3.4", -1, {}},
      {"-1.2.3.4", -1, {}},
      {"fe80::1", -1, {}},
  };
  for (const Parse& row : rows) {
    SCOPED_TRACE(row.text);
    std::vector<unsigned char> octets{9, 9, 9, 9, 9, 9};
    EXPECT_EQ(row.result, VexaCommonUtils_i::validateIPv4(row.text, octets));
    EXPECT_EQ(row.octets, octets);
  }
}

TEST(ValidateIPv4, ComparesTheLow32BitsOfAField) {
  const Parse rows[] = {
      {"4294967296.0.0.1", 0, {0, 0, 0, 1}},
      {"4294967297.0.0.1", 0, {1, 0, 0, 1}},
      {"4294967551.0.0.1", 0, {255, 0, 0, 1}},
      {"4294967552.0.0.1", -1, {}},
      {"4294967295.0.0.1", -1, {}},
      {"9223372032559808512.0.0.1", 0, {0, 0, 0, 1}},
      // LONG_MAX from here on, whose low bits are all set.
      {"9223372036854775807.0.0.1", -1, {}},
      {"9223372036854775808.0.0.1", -1, {}},
      {"18446744073709551616.0.0.1", -1, {}},
  };
  for (const Parse& row : rows) {
    SCOPED_TRACE(row.text);
    std::vector<unsigned char> octets;
    EXPECT_EQ(row.result, VexaCommonUtils_i::validateIPv4(row.text, octets));
    EXPECT_EQ(row.octets, octets);
  }
}

TEST(ValidateIPv4, RefusesEmbeddedNulsAndLongStrings) {
  std::vector<unsigned char> octets;
  EXPECT_EQ(-1, VexaCommonUtils_i::validateIPv4("1.2.3.4\0"s, octets));
  EXPECT_THAT(octets, ElementsAre(1, 2, 3));
  EXPECT_EQ(-1, VexaCommonUtils_i::validateIPv4(std::string(1 << 20, '1') + ".2.3.4", octets));
  EXPECT_THAT(octets, IsEmpty());
  EXPECT_EQ(0, VexaCommonUtils_i::validateIPv4(std::string(1 << 20, '0') + ".2.3.4", octets));
}

struct Format {
  std::string text;
  int family;
  std::string formatted;
};

TEST(FormatStringIP, ReturnsOneFormForEachAddress) {
  const Format rows[] = {
      {"10.0.0.1", 2, "10.0.0.1"},
      {"010.0.0.1", 2, "010.0.0.1"},
      {"4294967297.0.0.1", 2, "4294967297.0.0.1"},
      {"FE80::0001", 10, "fe80:0:0:0:0:0:0:1"},
      {"::", 10, "0:0:0:0:0:0:0:0"},
      {"::1", 10, "0:0:0:0:0:0:0:1"},
      {"1::", 10, "1:0:0:0:0:0:0:0"},
      {"2001:0DB8:0000:0000:0001:0000:0000:0001", 10, "2001:db8:0:0:1:0:0:1"},
      {"1:2:3:4:5:6:7:8", 10, "1:2:3:4:5:6:7:8"},
      {"1:2:3:4:5:6:7::", 10, "1:2:3:4:5:6:7:0"},
      {"1:2:3:4:5:6:0.7.0.8", 10, "1:2:3:4:5:6:7:8"},
      {"::ffff:1.2.3.4", 10, "::ffff:1.2.3.4"},
      {"::FFFF:102:304", 10, "::ffff:1.2.3.4"},
      {"::1.2.3.4", 10, "::1.2.3.4"},
      {"::a00:1", 10, "::10.0.0.1"},
      {"host", 0, "host"},
      {"fe80::1%eth0", 0, "fe80::1%eth0"},
      {"[::1]", 0, "[::1]"},
      {"", 0, ""},
      {"1.2.3", 0, "1.2.3"},
      {"::1 ", 0, "::1 "},
      {"1::2::3", 0, "1::2::3"},
      {"12345::", 0, "12345::"},
  };
  for (const Format& row : rows) {
    SCOPED_TRACE(row.text);
    std::string ip = row.text;
    EXPECT_EQ(row.family, VexaCommonUtils_i::formatStringIP(ip));
    EXPECT_EQ(row.formatted, ip);
  }
}

/// The full form by its rule: the C library's output with "::" expanded.
std::string printedAndExpanded(const in6_addr& address) {
  char text[INET6_ADDRSTRLEN];
  std::string full = ::inet_ntop(AF_INET6, &address, text, sizeof(text));
  FullNameIp(full);
  return full;
}

TEST(FormatStringIP, AgreesWithTheCLibraryForEveryPatternOfZeros) {
  for (unsigned pattern = 0; pattern < 1U << 16; ++pattern) {
    // Each group is one of 0, 0x0a, 0xb00c and 0xffff.
    constexpr std::array<std::uint16_t, 4> kGroupValues = {0, 0x0a, 0xb00c, 0xffff};
    in6_addr address{};
    std::string written;
    for (unsigned group = 0; group < 8; ++group) {
      const std::uint16_t value = kGroupValues[pattern >> 2 * group & 3];
      address.s6_addr[2 * group] = static_cast<unsigned char>(value >> 8);
      address.s6_addr[2 * group + 1] = static_cast<unsigned char>(value);
      char text[8];
      std::snprintf(text, sizeof(text), ":%04X", value);
      written += text;
    }
    std::string ip = written.substr(1);
    ASSERT_EQ(10, VexaCommonUtils_i::formatStringIP(ip)) << written;
    ASSERT_EQ(printedAndExpanded(address), ip) << written;
  }
}

TEST(FullNameIp, ExpandsTheFirstDoubleColon) {
  const struct {
    std::string text;
    std::string full;
  } rows[] = {
      {"::1", "0:0:0:0:0:0:0:1"},
      {"::", "0:0:0:0:0:0:0:0"},
      {"fe80::1", "fe80:0:0:0:0:0:0:1"},
      {"1::", "1:0:0:0:0:0:0:0"},
      {"1:2::3", "1:2:0:0:0:0:0:3"},
      {"FE80::A", "FE80:0:0:0:0:0:0:A"},
      {"fe80::1%eth0", "fe80:0:0:0:0:0:0:1%eth0"},
      {"1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8"},
      {"", ""},
      {":", ":"},
      {"abc", "abc"},
      {"::ffff:10.1.2.3", "::ffff:10.1.2.3"},
      {"1::2.", "1::2."},
      // Eight or more colons leave nothing to fill in; such strings are not refused.
      {"1:2:3:4:5:6::7", "1:2:3:4:5:6:0:7"},
      {"1:2:3:4:5:6:7::8", "1:2:3:4:5:6:7:8"},
      {"1:2:3:4:5:6:7:8::9", "1:2:3:4:5:6:7:8:9"},
      {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"},
      {"::2:3:4:5:6:7:8", "0:2:3:4:5:6:7:8"},
      {"1::2::3", "1:0:0:0:0:2::3"},
      {":::", "0:0:0:0:0:0::"},
  };
  for (const auto& row : rows) {
    std::string ip = row.text;
    FullNameIp(ip);
    EXPECT_EQ(row.full, ip) << row.text;
  }
}

struct Trim {
  std::string text;
  int size;
  int result;
  std::string left;
};

TEST(TrimStringIp, LeavesTheBareAddress) {
  const Trim rows[] = {
      {"[fe80::1]:65533", 64, 0, "fe80:0:0:0:0:0:0:1"},
      {"[fe80::1", 64, 0, "[fe80:0:0:0:0:0:0:1"},
      {"[::ffff:1.2.3.4]:80", 64, 0, "::ffff:1.2.3.4"},
      {"x[1::2]y[3::4]", 64, 0, "1:0:0:0:0:0:0:2"},
      {"]a[1::2", 64, 0, "1:0:0:0:0:0:0:2"},
      {"[1::2]:80]", 64, 0, "1:0:0:0:0:0:0:2"},
      {"10.1.1.1[2::3]", 64, 0, "2:0:0:0:0:0:0:3"},
      {"[10.1.1.1]:80", 64, 0, "10.1.1.1"},
      {"[1::2%eth0.5]:80", 64, 0, "1::2%eth0.5"},
      {"10.1.1.1:", 64, 0, "10.1.1.1"},
      {":10.1.1.1", 64, 0, ""},
      {"[]", 64, 0, ""},
      {"fe80::1", 64, 0, "fe80:0:0:0:0:0:0:1"},
      {"fe80::1]", 64, 0, "fe80:0:0:0:0:0:0:1]"},
      {"10.1.1.1:65533", 64, 0, "10.1.1.1"},
      {"10.1.1.1", 64, 0, "10.1.1.1"},
      {"::ffff:10.1.1.1", 64, 0, ""},
      {"localhost:80", 64, 0, "localhost:80"},
      {"", 64, 0, ""},
      {"fe80:0:0:0:0:0:0:12", 18, -1, ""},
      {"12345678901234567890", 10, -1, ""},
  };
  for (const Trim& row : rows) {
    SCOPED_TRACE(row.text);
    std::array<char, 128> buf;
    buf.fill('#');
    std::memcpy(buf.data(), row.text.c_str(), row.text.size() + 1);
    EXPECT_EQ(row.result, TrimStringIp(buf.data(), row.size));
    const auto size = static_cast<std::size_t>(row.size);
    std::string expected(size, '\0');
    expected.replace(0, row.left.size(), row.left);
    EXPECT_EQ(expected, std::string(buf.data(), size));
    if (row.text.size() < size) {
      EXPECT_EQ('#', buf[size]) << "written beyond the size";
    }
  }
}

TEST(TrimStringIp, CopiesAResultOfExactlyTheSizeWithoutATerminator) {
  std::array<char, 16> buf;
  buf.fill('#');
  std::strcpy(buf.data(), "10.1.1.1:9");
  EXPECT_EQ(0, TrimStringIp(buf.data(), 8));
  EXPECT_EQ("10.1.1.1:9", std::string(buf.data()).substr(0, 10)) << "no terminator at the size";
  buf.fill('#');
  std::strcpy(buf.data(), "10.1.1.1:9");
  EXPECT_EQ(-1, TrimStringIp(buf.data(), 7));
  EXPECT_EQ(std::string(7, '\0') + "1:9", std::string(buf.data(), 10));
}

TEST(TrimStringIp, WritesNothingWithoutABufferOrASize) {
  EXPECT_EQ(-1, TrimStringIp(nullptr, 10));
  for (const int size : {0, -1, -2147483647}) {
    char buf[] = "1.2.3.4:5";
    EXPECT_EQ(-1, TrimStringIp(buf, size));
    EXPECT_STREQ("1.2.3.4:5", buf);
  }
}

TEST(StringIPToAddress, WritesOnlyTheAddressField) {
  sockaddr_in v4;
  std::memset(&v4, 0x5A, sizeof(v4));
  EXPECT_EQ(1, VexaCommonUtils_i::stringIPToAddress(2, "1.2.3.4", &v4, 1));
  EXPECT_EQ(htonl(0x01020304), v4.sin_addr.s_addr);
  EXPECT_EQ(0x5A5A, v4.sin_family);
  EXPECT_EQ(0x5A5A, v4.sin_port);

  sockaddr_in6 v6;
  std::memset(&v6, 0x5A, sizeof(v6));
  EXPECT_EQ(1, VexaCommonUtils_i::stringIPToAddress(10, "::1", &v6, 1));
  EXPECT_EQ(0, std::memcmp(&v6.sin6_addr, &in6addr_loopback, sizeof(in6_addr)));
  EXPECT_EQ(0x5A5A, v6.sin6_family);
  EXPECT_EQ(0x5A5A5A5AU, v6.sin6_flowinfo);
  EXPECT_EQ(0x5A5A5A5AU, v6.sin6_scope_id);
}

TEST(StringIPToAddress, RefusesBadArguments) {
  sockaddr_in6 record{};
  EXPECT_EQ(-1, VexaCommonUtils_i::stringIPToAddress(2, "1.2.3.4", nullptr, 16));
  EXPECT_EQ(-1, VexaCommonUtils_i::stringIPToAddress(2, nullptr, &record, 16));
  EXPECT_EQ(-1, VexaCommonUtils_i::stringIPToAddress(2, "1.2.3.4", &record, 0));
  EXPECT_EQ(-1, VexaCommonUtils_i::stringIPToAddress(2, "1.2.3.4", &record, -1));
  EXPECT_EQ(-1, VexaCommonUtils_i::stringIPToAddress(1, "1.2.3.4", &record, 16));
  EXPECT_EQ(0, VexaCommonUtils_i::stringIPToAddress(2, "::1", &record, 16));
  EXPECT_EQ(0, VexaCommonUtils_i::stringIPToAddress(2, "01.2.3.4.5", &record, 16));
  EXPECT_EQ(0, VexaCommonUtils_i::stringIPToAddress(10, "1.2.3.4", &record, 28));
}

TEST(AddressToStringIP, PrintsTheAddressField) {
  sockaddr_in v4{};
  v4.sin_addr.s_addr = htonl(0xC0A80102);
  sockaddr_in6 v6{};
  v6.sin6_addr = in6addr_loopback;
  char buf[64];
  EXPECT_EQ(0, VexaCommonUtils_i::addressToStringIP(2, &v4, 0, buf, 48));
  EXPECT_STREQ("192.168.1.2", buf);
  EXPECT_EQ(0, VexaCommonUtils_i::addressToStringIP(10, &v6, 28, buf, 64));
  EXPECT_STREQ("::1", buf);
}

TEST(AddressToStringIP, RefusesBadArguments) {
  sockaddr_in6 record{};
  char buf[64] = "untouched";
  EXPECT_EQ(-1, VexaCommonUtils_i::addressToStringIP(2, &record, 16, buf, 47));
  EXPECT_EQ(-1, VexaCommonUtils_i::addressToStringIP(2, &record, 16, buf, -1));
  EXPECT_EQ(-1, VexaCommonUtils_i::addressToStringIP(2, &record, 16, nullptr, 64));
  EXPECT_EQ(-1, VexaCommonUtils_i::addressToStringIP(2, nullptr, 16, buf, 64));
  EXPECT_EQ(-1, VexaCommonUtils_i::addressToStringIP(2, &record, -1, buf, 64));
  EXPECT_EQ(-1, VexaCommonUtils_i::addressToStringIP(0, &record, 16, buf, 64));
  EXPECT_EQ(-1, VexaCommonUtils_i::addressToStringIP(17, &record, 16, buf, 64));
  EXPECT_STREQ("untouched", buf);
}

TEST(FormatStringIpDns, KeepsIPv4AndExpandsIPv6Literals) {
  const Format rows[] = {
      {"10.0.0.1", 2, "10.0.0.1"},
      {"4294967297.0.0.1", 2, "4294967297.0.0.1"},
      {"::1", 10, "0:0:0:0:0:0:0:1"},
      {"FE80::0001", 10, "fe80:0:0:0:0:0:0:1"},
      {"no-such-host.invalid", 0, "no-such-host.invalid"},
      {"not a name;\n", 0, "not a name;\n"},
  };
  for (const Format& row : rows) {
    SCOPED_TRACE(row.text);
    std::string ip = row.text;
    EXPECT_EQ(row.family, VexaCommonUtils_i::formatStringIP_DNS(ip));
    EXPECT_EQ(row.formatted, ip);
  }
}

TEST(FormatStringIP, ReadsUpToANulAsTheParserDoes) {
  std::string ip = "FE80::1\0junk"s;
  EXPECT_EQ(10, VexaCommonUtils_i::formatStringIP(ip));
  EXPECT_EQ("fe80:0:0:0:0:0:0:1", ip);
  ip = "1.2.3.4\0"s;
  EXPECT_EQ(0, VexaCommonUtils_i::formatStringIP(ip));
  EXPECT_EQ("1.2.3.4\0"s, ip);
}

TEST(FullNameIp, TakesANulAsAnyByte) {
  std::string ip = "a\0::b"s;
  FullNameIp(ip);
  EXPECT_EQ("a\0:0:0:0:0:0:0:b"s, ip);
}

TEST(IpAddresses, TakeStringsOf1MiB) {
  constexpr std::size_t kLength = 1 << 20;
  for (const char byte : {'1', '.', ':', '[', ']', ' ', ';', '\xff'}) {
    SCOPED_TRACE(byte);
    const std::string text(kLength, byte);
    EXPECT_FALSE(VexaCommonUtils::isValidIP(text));
    EXPECT_FALSE(CheckIp(text.c_str()));
    std::vector<unsigned char> octets;
    EXPECT_EQ(-1, VexaCommonUtils_i::validateIPv4(text, octets));
    EXPECT_THAT(octets, IsEmpty());
    std::string ip = text;
    EXPECT_EQ(0, VexaCommonUtils_i::formatStringIP(ip));
    EXPECT_EQ(0, VexaCommonUtils_i::formatStringIP_DNS(ip));
    EXPECT_EQ(text, ip);
    FullNameIp(ip);
    EXPECT_EQ(byte == ':' ? "0" + text.substr(1) : text, ip);
    sockaddr_in6 record{};
    EXPECT_EQ(0, VexaCommonUtils_i::stringIPToAddress(2, text.c_str(), &record, 16));
    EXPECT_EQ(0, VexaCommonUtils_i::stringIPToAddress(10, text.c_str(), &record, 28));
  }
  EXPECT_TRUE(
      CheckIp((std::string(kLength, '9') + ".1.1." + std::string(kLength, '.') + "1").c_str()));
  std::vector<char> buf(kLength + 1, 'a');
  buf.back() = '\0';
  EXPECT_EQ(-1, TrimStringIp(buf.data(), static_cast<int>(kLength - 1)));
  EXPECT_THAT(std::vector<char>(buf.begin(), buf.end() - 2), testing::Each('\0'));
  EXPECT_EQ('a', buf[kLength - 1]) << "nothing is written beyond the size";
}

}  // namespace
