// Stores MAC addresses as a string and as bytes, and parses lines of ifconfig.
#include <VexaNetUtils.h>

#include <cstdio>

int main() {
  const unsigned char bytes[] = {0x00, 0x0C, 0x29, 0xAB, 0xCD, 0xEF};
  CMACAddress address;
  address = bytes;
  std::printf("%s\n", address.text);

  // Ignores case. The right operand is const because C++20 finds two operators otherwise.
  CMACAddress other;
  std::snprintf(other.text, sizeof other.text, "%s", "00:0c:29:ab:cd:ef");
  const CMACAddress& fixed = other;
  std::printf("%s\n", address == fixed ? "equal" : "different");

  std::string name;
  GetMac("eth0: flags=4163<UP,BROADCAST>  mtu 1500", name);
  Vexacommon::LocalMACAddress mac{};
  if (GetZirelEther("        ether 00:0c:29:ab:cd:ef  txqueuelen 1000", &mac) == 0) {
    std::printf("%s ends in %02X\n", name.c_str(), mac.mac[5]);
  }

  // Read only `text` of local addresses: some sources set no bytes. Their number depends on the
  // machine.
  std::vector<CMACAddress> all;
  const int count = GetLocalMACAddr(all);
  std::printf("%s\n", count == static_cast<int>(all.size()) ? "listed" : "?");
}
