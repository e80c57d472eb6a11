// Addresses, names, interfaces and cluster nodes.
#include <netinet/in.h>

#include <array>
#include <cstring>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "faults/tour.h"

namespace commutil_faults {
namespace {

using Utils = VexaCommonUtils;
using Utils_i = VexaCommonUtils_i;
using Mac = Vexacommon::LocalMACAddress;

/// An operation that reads or changes an address string.
template <class Function>
Operation ofAddress(const char* name, Function function, const std::string& address) {
  return {name, [=](Attempt& attempt) {
            std::string text = address;
            const auto result = attempt([&] { return function(text); });
            return show(result, text);
          }};
}

/// An operation that returns a string.
template <class Function>
Operation ofAnswer(const char* name, Function function, std::vector<std::string> failures = {}) {
  return {name,
          [=](Attempt& attempt) {
            std::string answer = "before";
            const auto result = attempt([&] { return function(answer); });
            return show(result, answer);
          },
          std::move(failures)};
}

std::string shownMac(const Mac& mac) {
  std::string text;
  for (const unsigned char byte : mac.mac) text += shown(byte) + " ";
  return text;
}

template <class Function>
Operation ofMac(const char* name, Function function, std::vector<std::string> failures = {}) {
  return {name,
          [=](Attempt& attempt) {
            Mac mac{};
            const int result = attempt([&] { return function(&mac); });
            return show(result, shownMac(mac));
          },
          std::move(failures)};
}

std::string shownMacs(const std::vector<CMACAddress>& addresses) {
  std::string text;
  for (const CMACAddress& address : addresses) text += std::string(address.text) + " ";
  return text;
}

CMACAddress macOf(const char* bytes) {
  CMACAddress address;
  address = reinterpret_cast<const unsigned char*>(bytes);
  return address;
}

const std::string kNoMac = shown(-1) + " " + shown(shownMac(Mac{}));

}  // namespace

Tour addressesTour() {
  return {
      {"CheckIp",
       [](Attempt& attempt) { return show(attempt([] { return CheckIp(" 192.0.2.1\n"); })); }},
      ofAddress(
          "FullNameIp",
          [](std::string& ip) {
            FullNameIp(ip);
            return 0;
          },
          "2001:db8::ab:17"),
      {"TrimStringIp",
       [](Attempt& attempt) {
         char text[64] = "[2001:db8::ab:17]:65533";
         const int result = attempt([&] { return TrimStringIp(text, sizeof text); });
         return show(result, text);
       }},
      ofAddress("VexaCommonUtils::isValidIP", Utils::isValidIP, "192.0.2.1"),
      {"VexaCommonUtils_i::validateIPv4",
       [](Attempt& attempt) {
         std::vector<unsigned char> octets;
         const std::string ip = "192.0.2.1";
         const int result = attempt([&] { return Utils_i::validateIPv4(ip, octets); });
         return show(result, octets.size(), +octets.back());
       }},
      ofAddress("VexaCommonUtils_i::formatStringIP", Utils_i::formatStringIP, "2001:db8::ab:17"),
      {"VexaCommonUtils_i::stringIPToAddress",
       [](Attempt& attempt) {
         sockaddr_in6 record{};
         const int result = attempt([&] {
           return Utils_i::stringIPToAddress(AF_INET6, "2001:db8::17", &record, sizeof record);
         });
         return show(result, +record.sin6_addr.s6_addr[15]);
       }},
      {"VexaCommonUtils_i::addressToStringIP",
       [](Attempt& attempt) {
         sockaddr_in6 record{};
         record.sin6_addr.s6_addr[0] = 0x20;
         char text[64] = "";
         const int result = attempt([&] {
           return Utils_i::addressToStringIP(AF_INET6, &record, sizeof record, text, sizeof text);
         });
         return show(result, text);
       }},
      {"GetInet6Address",
       [](Attempt& attempt) {
         const std::string text = "2001:db8:0:0:0:0:0:17/64";
         std::string address = "before";
         attempt([&] { GetInet6Address(text, address); });
         return show(address);
       }},
      {"CMACAddress::CMACAddress",
       [](Attempt& attempt) { return show(attempt([] { return CMACAddress(); }).text); }},
      {"CMACAddress::~CMACAddress",
       [](Attempt& attempt) {
         attempt([] { const CMACAddress gone; });
         return show("gone");
       }},
      {"CMACAddress::operator=",
       [](Attempt& attempt) { return show(attempt([] { return macOf("abcdef"); }).text); }},
      {"CMACAddress::operator==",
       [](Attempt& attempt) {
         CMACAddress one = macOf("abcdef");
         const CMACAddress other = macOf("abcdef");
         return show(attempt([&] { return one.operator==(other); }));
       }},
      {"GetMac",
       [](Attempt& attempt) {
         const std::string line = "an-interface-with-a-name: flags=4163 mtu 1500:";
         std::string name = "before";
         attempt([&] { GetMac(line, name); });
         return show(name);
       }},
      ofMac("GetEther",
            [](Mac* mac) {
              static const std::string line = "    ether 02:00:00:00:00:17  txqueuelen 1000";
              return GetEther(line, mac);
            }),
      ofMac("GetZirelEther",
            [](Mac* mac) {
              static const std::string line = "    ether 02:00:00:00:00:17  txqueuelen 1000";
              return GetZirelEther(line, mac);
            }),
      {"VexaCommonUtils_i::GetAllWebswingNodeIPs",
       [](Attempt& attempt) {
         std::list<std::string> addresses{"before"};
         const int result = attempt([&] { return Utils_i::GetAllWebswingNodeIPs(addresses); });
         return show(result, addresses);
       },
       {show(-1, std::list<std::string>{"before"})}},
  };
}

Tour hostsTour() {
  const std::string name = "node-with-a-long-name";
  return {
      {"VexaCommonUtils::hostname",
       [](Attempt& attempt) { return show(attempt([] { return Utils::hostname(); })); },
       {show("")}},
      {"VexaCommonUtils::sysname",
       [](Attempt& attempt) { return show(attempt([] { return Utils::sysname(); }).substr(0, 5)); },
       {show("")}},
      {"VexaCommonUtils::hostipaddr",
       [](Attempt& attempt) { return show(attempt([] { return Utils::hostipaddr(); })); },
       {show("")}},
      ofAnswer("VexaCommonUtils::getIPbyHostname",
               [=](std::string& ip) { return Utils::getIPbyHostname(name, ip); }, {show(-1, "")}),
      ofAnswer("VexaCommonUtils::getHostnamebyIP",
               [](std::string& found) { return Utils::getHostnamebyIP("192.0.2.17", found); },
               {show(-1, "")}),
      {"VexaCommonUtils_i::formatStringIP_DNS",
       [](Attempt& attempt) {
         std::string text = "node-of-the-sixth-version";
         const int result = attempt([&] { return Utils_i::formatStringIP_DNS(text); });
         return show(result, text);
       },
       {show(0, "node-of-the-sixth-version")}},
      {"VexaCommonUtils_i::getAllIPAddr",
       [](Attempt& attempt) {
         std::list<std::string> addresses;
         const int result = attempt([&] { return Utils_i::getAllIPAddr(addresses); });
         return show(result, addresses);
       },
       {show(0, std::list<std::string>())}},
  };
}

Tour interfacesTour() {
  const std::vector<std::string> noAnswer{show(-1, "")};
  const std::string address = "2001:db8::17";
  return {
      ofAnswer(
          "VexaCommonUtils::getNetmaskByIP",
          [](std::string& mask) {
            std::string ip = "192.0.2.17";
            return Utils::getNetmaskByIP(ip, mask);
          },
          noAnswer),
      ofAnswer(
          "GetNetmaskByIpUseioctl",
          [](std::string& mask) { return GetNetmaskByIpUseioctl("192.0.2.17", mask); }, noAnswer),
      ofAnswer(
          "GetNetmaskByIpUseifconfig",
          [](std::string& mask) { return GetNetmaskByIpUseifconfig("192.0.2.17", mask); },
          noAnswer),
      {"VexaCommonUtils_i::getInterfaceOfIPV6",
       [=](Attempt& attempt) {
         std::string ip = address;
         std::string name = "before";
         const int result = attempt([&] { return Utils_i::getInterfaceOfIPV6(ip, name); });
         return show(result, ip, name);
       },
       {show(-1, "2001:db8:0:0:0:0:0:17", "before")}},
      ofMac("VexaCommonUtils_i::getMacAddrOfIPV6",
            [=](Mac* mac) {
              std::string ip = address;
              return Utils_i::getMacAddrOfIPV6(ip, mac);
            },
            {kNoMac, show(0, shownMac(Mac{}))}),
      ofMac("VexaCommonUtils_i::getZirelMacAddrOfIPV6",
            [](Mac* mac) { return Utils_i::getZirelMacAddrOfIPV6("2001:db8:0:0:0:0:0:17", mac); },
            {kNoMac}),
      {"GetHWMACAddr",
       [](Attempt& attempt) {
         std::vector<CMACAddress> addresses;
         CMACAddress work;
         attempt([&] { GetHWMACAddr(addresses, work); });
         return show(shownMacs(addresses));
       },
       {show("")}},
      {"GetLocalMACAddr",
       [](Attempt& attempt) {
         std::vector<CMACAddress> addresses;
         const int result = attempt([&] { return GetLocalMACAddr(addresses); });
         return show(result, shownMacs(addresses));
       },
       // The tool adds an interface, and is omitted if it cannot be started.
       {show(1, "02:00:00:00:00:17 ")}},
  };
}

}  // namespace commutil_faults
