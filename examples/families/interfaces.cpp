// Finds the netmask of an address. A fake ifconfig prints an address that the kernel does not have,
// so that every run prints the same.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>
#include <VexaNetUtils.h>

#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "scratch.h"

int main() {
  const Scratch scratch;
  const std::string tool =
      scratch.write("bin/ifconfig",
                    "#!/bin/sh\n"
                    "echo '        inet 192.0.2.7  netmask 255.255.255.0  broadcast 192.0.2.255'\n"
                    "echo '        inet 192.0.2.9  broadcast 192.0.2.255'\n");
  std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
  ::setenv("PATH", (scratch.path() + "/bin:" + std::getenv("PATH")).c_str(), 1);

  // Loopback and IPv6 addresses fail at once and never reach the shell.
  for (const char* text : {"192.0.2.7", "127.0.0.1", "fe80::1"}) {
    std::string ip = text;
    std::string netmask;
    const int result = VexaCommonUtils::getNetmaskByIP(ip, netmask);
    std::cout << text << ' ' << result << " \"" << netmask << "\"\n";
  }

  // Output of the tool without a mask raises an exception.
  std::string netmask;
  try {
    GetNetmaskByIpUseifconfig("192.0.2.9", netmask);
  } catch (const std::out_of_range&) {
    std::cout << "the tool prints no mask\n";
  }

  // Removes the prefix length and normalizes the address, for comparisons.
  std::string address;
  GetInet6Address("FE80::1/64", address);
  VexaCommonUtils_i::formatStringIP(address);
  std::cout << address << '\n';
}
