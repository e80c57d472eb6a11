// Validates, compares and prints addresses.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>
#include <VexaNetUtils.h>
#include <netinet/in.h>

#include <array>
#include <iostream>

int main() {
  // isValidIP validates; CheckIp only distinguishes dotted IPv4 from IPv6.
  std::cout << std::boolalpha;
  for (const char* text : {"10.1.2.3", "999.1.1.1", "fe80::1"}) {
    std::cout << text << ' ' << VexaCommonUtils::isValidIP(text) << ' ' << CheckIp(text) << '\n';
  }

  // Every form of an address becomes the same string, for comparisons.
  std::string address = "FE80::0001";
  std::cout << VexaCommonUtils_i::formatStringIP(address) << ' ' << address << '\n';

  // The bare address of an end point. The call may write one byte less than the array has.
  std::array<char, 64> text{"[fe80::1]:65533"};
  if (TrimStringIp(text.data(), text.size() - 1) == 0) std::cout << text.data() << '\n';

  // To a socket address and back.
  sockaddr_in6 end{};
  std::array<char, 48> printed{};
  if (VexaCommonUtils_i::stringIPToAddress(AF_INET6, "2001:db8::5", &end, sizeof end) == 1 &&
      VexaCommonUtils_i::addressToStringIP(AF_INET6, &end, sizeof end, printed.data(),
                                           static_cast<int>(printed.size())) == 0) {
    std::cout << printed.data() << '\n';
  }

  // Lookups wait for the name service; a dotted address resolves to itself.
  std::string ip;
  std::cout << VexaCommonUtils::getIPbyHostname("192.0.2.7", ip) << ' ' << ip << '\n';
  std::string name;
  std::cout << VexaCommonUtils::getHostnamebyIP("0.1.2.3", name) << " \"" << name << "\"\n";
}
