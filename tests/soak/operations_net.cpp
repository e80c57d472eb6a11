// Addresses, host names, netmasks and interfaces, MAC addresses, cluster nodes.
#include <arpa/inet.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <list>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "soak/operations.h"

namespace commutil_soak {
namespace {

using Utils = VexaCommonUtils;
using Utils_i = VexaCommonUtils_i;
using Mac = Vexacommon::LocalMACAddress;
using Text = std::string;

// What commutil_test::Host has.
constexpr const char* kAddress = "192.0.2.17";
constexpr const char* kMask = "255.255.240.0";
constexpr const char* kName = "node-with-a-long-name";
constexpr const char* kAddress6 = "2001:db8::17";
constexpr const char* kFullAddress6 = "2001:db8:0:0:0:0:0:17";
constexpr const char* kMac = "02:00:00:00:00:17";

template <class Call>
void add(Operations& all, const char* name, Call call, Cost cost = Cost::memory) {
  all.push_back({{name}, cost, call});
}

Text addressOf(const std::array<unsigned char, 4>& bytes) {
  char text[INET_ADDRSTRLEN];
  return ::inet_ntop(AF_INET, bytes.data(), text, sizeof text);
}

std::array<unsigned char, 4> fourBytes(Random& random) {
  std::array<unsigned char, 4> bytes{};
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random.below(256));
  return bytes;
}

/// An IPv6 address in its short and its full form.
struct Address6 {
  in6_addr bytes{};
  char brief[INET6_ADDRSTRLEN] = "";
  Text full;

  explicit Address6(Random& random) {
    for (std::size_t i = 0; i < 8; ++i) {
      // The first group keeps the address from being a mapped one, which has dots.
      const std::size_t group = i == 0 ? 0x2001 : random.below(2) * random.below(0x10000);
      bytes.s6_addr[2 * i] = static_cast<unsigned char>(group >> 8);
      bytes.s6_addr[2 * i + 1] = static_cast<unsigned char>(group & 255);
      char digits[8];
      std::snprintf(digits, sizeof digits, "%s%zx", i == 0 ? "" : ":", group);
      full.append(digits);
    }
    ::inet_ntop(AF_INET6, &bytes, brief, sizeof brief);
  }
};

void addIpv4(Operations& all) {
  add(all, "CheckIp", [](Caller& caller) {
    const Text text = " " + addressOf(fourBytes(caller.random)) + "\n";
    return caller.holds(CheckIp(text.c_str()) && !CheckIp(("1." + text).c_str()));
  });
  add(all, "VexaCommonUtils::isValidIP", [](Caller& caller) {
    const Text text = addressOf(fourBytes(caller.random));
    return caller.holds(Utils::isValidIP(text) && !Utils::isValidIP(text + "."));
  });
  add(all, "VexaCommonUtils_i::validateIPv4", [](Caller& caller) {
    const auto bytes = fourBytes(caller.random);
    std::vector<unsigned char> octets;
    const int result = Utils_i::validateIPv4(addressOf(bytes), octets);
    return both(caller.equal(result, 0),
                caller.equal(octets, std::vector<unsigned char>(bytes.begin(), bytes.end())));
  });
}

Outcome trim(Caller& caller) {
  const Address6 address(caller.random);
  char text[80];
  std::snprintf(text, sizeof text, "[%s]:%zu", address.brief, caller.random.below(65536));
  const int result = TrimStringIp(text, sizeof text);
  return both(caller.equal(result, 0), caller.equal(Text(text), address.full));
}

Outcome parse(Caller& caller) {
  const Address6 address(caller.random);
  sockaddr_in6 record{};
  if (caller.random.once(4)) {
    const int result =
        Utils_i::stringIPToAddress(AF_INET6, "not an address", &record, sizeof record);
    return result == 0 ? Outcome::failed : Outcome::wrong;
  }
  const int result = Utils_i::stringIPToAddress(AF_INET6, address.brief, &record, sizeof record);
  return caller.holds(result == 1 &&
                      std::memcmp(&record.sin6_addr, &address.bytes, sizeof address.bytes) == 0);
}

Outcome print(Caller& caller) {
  const Address6 address(caller.random);
  sockaddr_in6 record{};
  record.sin6_addr = address.bytes;
  char text[64] = "";
  const int result =
      Utils_i::addressToStringIP(AF_INET6, &record, sizeof record, text, sizeof text);
  return both(caller.equal(result, 0), caller.equal(Text(text), Text(address.brief)));
}

void addIpv6(Operations& all) {
  add(all, "FullNameIp", [](Caller& caller) {
    const Address6 address(caller.random);
    Text text = address.brief;
    FullNameIp(text);
    return caller.equal(text, address.full);
  });
  add(all, "TrimStringIp", trim);
  add(all, "VexaCommonUtils_i::formatStringIP", [](Caller& caller) {
    const Address6 address(caller.random);
    Text text = address.brief;
    const int family = Utils_i::formatStringIP(text);
    return both(caller.equal(family, 10), caller.equal(text, address.full));
  });
  add(all, "VexaCommonUtils_i::stringIPToAddress", parse);
  add(all, "VexaCommonUtils_i::addressToStringIP", print);
  add(all, "GetInet6Address", [](Caller& caller) {
    const Address6 address(caller.random);
    Text text;
    GetInet6Address(address.brief + Text("/64"), text);
    return caller.equal(text, Text(address.brief));
  });
}

void addHosts(Operations& all) {
  add(all, "VexaCommonUtils::hostname",
      [](Caller& caller) { return caller.equal(Utils::hostname(), Text(kName)); });
  add(all, "VexaCommonUtils::sysname",
      [](Caller& caller) { return caller.equal(Utils::sysname().substr(0, 5), Text("Linux")); });
  add(
      all, "VexaCommonUtils::hostipaddr",
      [](Caller& caller) { return caller.equal(Utils::hostipaddr(), Text(kAddress)); },
      Cost::files);
  add(
      all, "VexaCommonUtils::getIPbyHostname",
      [](Caller& caller) {
        Text ip = "before";
        if (caller.random.once(4)) {
          const int result = Utils::getIPbyHostname(caller.random.word(30), ip);
          return result == -1 && ip.empty() ? Outcome::failed : Outcome::wrong;
        }
        const int result = Utils::getIPbyHostname(kName, ip);
        return both(caller.equal(result, 0), caller.equal(ip, Text(kAddress)));
      },
      Cost::files);
  add(
      all, "VexaCommonUtils::getHostnamebyIP",
      [](Caller& caller) {
        Text name;
        const int result = Utils::getHostnamebyIP(kAddress, name);
        return both(caller.equal(result, 0), caller.equal(name, Text(kName)));
      },
      Cost::files);
  add(
      all, "VexaCommonUtils_i::formatStringIP_DNS",
      [](Caller& caller) {
        Text text = "node-of-the-sixth-version";
        const int family = Utils_i::formatStringIP_DNS(text);
        return both(caller.equal(family, 10), caller.equal(text, Text(kFullAddress6)));
      },
      Cost::files);
}

template <class Function>
void addOfMask(Operations& all, const char* name, Function function, Cost cost) {
  add(
      all, name,
      [=](Caller& caller) {
        const bool unknown = caller.random.once(4);
        Text ip = unknown ? "203.0.113.99" : kAddress;
        Text mask = "before";
        const int result = function(ip, mask);
        if (unknown) return result == -1 && mask.empty() ? Outcome::failed : Outcome::wrong;
        return both(caller.equal(result, 0), caller.equal(mask, Text(kMask)));
      },
      cost);
}

void addInterfaces(Operations& all) {
  addOfMask(all, "VexaCommonUtils::getNetmaskByIP", Utils::getNetmaskByIP, Cost::command);
  addOfMask(all, "GetNetmaskByIpUseioctl", GetNetmaskByIpUseioctl, Cost::files);
  addOfMask(all, "GetNetmaskByIpUseifconfig", GetNetmaskByIpUseifconfig, Cost::command);
  add(
      all, "VexaCommonUtils_i::getInterfaceOfIPV6",
      [](Caller& caller) {
        Text ip = kAddress6;
        Text name;
        ++caller.common.keepers;
        const int result = Utils_i::getInterfaceOfIPV6(ip, name);
        return both(caller.equal(result, 0), caller.equal(name, Text("veth-long")));
      },
      Cost::keeping);
  add(
      all, "VexaCommonUtils_i::getAllIPAddr",
      [](Caller& caller) {
        std::list<Text> addresses;
        ++caller.common.keepers;
        const int result = Utils_i::getAllIPAddr(addresses);
        return both(caller.equal(result, 0), caller.holds(addresses.size() >= 3));
      },
      Cost::keeping);
}

CMACAddress macOf(const Text& bytes) {
  CMACAddress address;
  address = reinterpret_cast<const unsigned char*>(bytes.data());
  return address;
}

Text macBytes(Random& random) {
  Text bytes(6, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random.below(256));
  return bytes;
}

Text lineOf(const CMACAddress& address) {
  return Text("    ether ") + address.text + "  txqueuelen 1000";
}

bool hasBytes(const Mac& mac, const Text& bytes) {
  return std::memcmp(mac.mac, bytes.data(), bytes.size()) == 0;
}

void addMacValues(Operations& all) {
  add(all, "CMACAddress::CMACAddress", [](Caller& caller) {
    const Text bytes = macBytes(caller.random);
    CMACAddress one = macOf(bytes);
    const CMACAddress other = macOf(bytes);
    return both(caller.holds(one.operator==(other)), caller.equal(std::strlen(one.text), 17U));
  });
  all.back().names = {"CMACAddress::CMACAddress", "CMACAddress::~CMACAddress",
                      "CMACAddress::operator=", "CMACAddress::operator=="};
  add(all, "GetMac", [](Caller& caller) {
    const Text name = caller.random.word(15);
    Text found;
    GetMac(name + ": flags=4163  mtu 1500", found);
    return caller.equal(found, name);
  });
  for (const bool zirel : {false, true}) {
    add(all, zirel ? "GetZirelEther" : "GetEther", [=](Caller& caller) {
      const Text bytes = macBytes(caller.random);
      Mac mac{};
      const Text line = caller.random.once(4) ? "no address" : lineOf(macOf(bytes));
      const int result = zirel ? GetZirelEther(line, &mac) : GetEther(line, &mac);
      if (line == "no address") return result == -1 ? Outcome::failed : Outcome::wrong;
      return caller.holds(result == 0 && hasBytes(mac, bytes));
    });
  }
}

bool has(const std::vector<CMACAddress>& addresses, const char* text) {
  for (const CMACAddress& address : addresses) {
    if (std::strcmp(address.text, text) == 0) return true;
  }
  return false;
}

void addMacLookups(Operations& all) {
  add(
      all, "GetHWMACAddr",
      [](Caller& caller) {
        std::vector<CMACAddress> addresses;
        CMACAddress work;
        GetHWMACAddr(addresses, work);
        return caller.holds(addresses.size() == 1 && has(addresses, kMac));
      },
      Cost::files);
  add(
      all, "GetLocalMACAddr",
      [](Caller& caller) {
        std::vector<CMACAddress> addresses;
        const int count = GetLocalMACAddr(addresses);
        return caller.holds(count == 2 && has(addresses, kMac));
      },
      Cost::command);
  const Text bytes("\x02\0\0\0\0\x17", 6);
  add(
      all, "VexaCommonUtils_i::getMacAddrOfIPV6",
      [=](Caller& caller) {
        Text ip = kAddress6;
        Mac mac{};
        const int result = Utils_i::getMacAddrOfIPV6(ip, &mac);
        return caller.holds(result == 0 && hasBytes(mac, bytes) && ip == kFullAddress6);
      },
      Cost::command);
  add(
      all, "VexaCommonUtils_i::getZirelMacAddrOfIPV6",
      [=](Caller& caller) {
        Mac mac{};
        const int result = Utils_i::getZirelMacAddrOfIPV6(kFullAddress6, &mac);
        return caller.holds(result == 0 && hasBytes(mac, bytes));
      },
      Cost::command);
}

/// The addresses are all of one version of the file.
Outcome listNodes(Caller& caller) {
  std::list<Text> addresses;
  const int result = Utils_i::GetAllWebswingNodeIPs(addresses);
  if (result != 0 || addresses.size() != 3) return Outcome::wrong;
  const Text network = addresses.front().substr(0, addresses.front().size() - 1);
  return caller.equal(addresses, std::list<Text>{network + "1", network + "2", network + "3"});
}

}  // namespace

void addNetOperations(Operations& all) {
  addIpv4(all);
  addIpv6(all);
  addHosts(all);
  addInterfaces(all);
  addMacValues(all);
  addMacLookups(all);
  add(all, "VexaCommonUtils_i::GetAllWebswingNodeIPs", listNodes, Cost::files);
}

}  // namespace commutil_soak
