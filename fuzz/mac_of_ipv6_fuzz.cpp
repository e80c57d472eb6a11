// Compares the MAC address lookups that parse ifconfig's output, in its older and its newer form,
// with models. No tool runs and no interface is read; the input supplies the output.
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <algorithm>
#include <iterator>
#include <list>
#include <map>
#include <optional>
#include <string>

#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "models/tool_models.h"
#include "net/fake_kernel.h"
#include "support/expect.h"
#include "support/fake_shell.h"
#include "support/input.h"
#include "text/strings_model.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;
using commutil_fuzz::FakeShell;
using commutil_fuzz::Input;
using commutil_fuzz::MacBytes;
using commutil_fuzz::modelLines;
using commutil_test::modelSplit;
using Vexacommon::LocalMACAddress;

bool isZirelHost = false;

bool holds(const std::string& text, const std::string& word) {
  return text.find(word) != text.npos;
}

/// The output of the newer tool.
std::optional<MacBytes> modelZirelMac(const std::string& ip, const std::string& output) {
  std::string current;
  std::string carrier;
  std::map<std::string, MacBytes> macs;
  for (const std::string& line : modelLines(output, 1023)) {
    if (holds(line, "flags")) {
      if (holds(line, ":")) current = line.substr(0, line.rfind(':'));
      continue;
    }
    std::list<std::string> fields = modelSplit(line, " ");
    for (auto field = fields.begin(); field != fields.end(); ++field) {
      if (*field != "inet6" || std::next(field) == fields.end()) continue;
      std::string address = std::next(field)->substr(0, std::next(field)->find('/'));
      if (VexaCommonUtils_i::formatStringIP(address) == AF_INET6 && address == ip)
        carrier = current;
    }
    if (const auto bytes = commutil_fuzz::modelZirelEther(line)) macs[current] = *bytes;
  }
  std::optional<MacBytes> mac;
  for (const auto& [name, bytes] : macs) {
    if (holds(carrier, name)) mac = bytes;
  }
  return mac;
}

void expectMac(const LocalMACAddress& mac, const std::optional<MacBytes>& expected) {
  const MacBytes bytes = expected.value_or(MacBytes{});
  expect(std::equal(bytes.begin(), bytes.end(), mac.mac), "the bytes of the MAC address");
}

void checkZirelMac(Input& input) {
  isZirelHost = true;
  std::string ip = input.cText();
  std::string output = input.rest();
  const FakeShell shell([&](const std::string& command) {
    expectEqual(command, "/usr/sbin/ifconfig -a", "the newer tool's command");
    return output;
  });
  std::string form = ip;
  const bool isIpv6 = VexaCommonUtils_i::formatStringIP(form) == AF_INET6;
  const auto expected = isIpv6 ? modelZirelMac(form, output) : std::nullopt;
  LocalMACAddress mac{};
  expectEqual(VexaCommonUtils_i::getMacAddrOfIPV6(ip, &mac), expected ? 0 : -1,
              "getMacAddrOfIPV6 with the newer tool");
  expectMac(mac, expected);
  expectEqual(shell.openStreams(), 0, "the stream is closed");
}

/// One interface with the address 2001:db8::7.
struct Carrier {
  sockaddr_in6 address{};
  char name[5] = "eth1";
  ifaddrs entry{};

  Carrier() {
    address.sin6_family = AF_INET6;
    ::inet_pton(AF_INET6, "2001:db8::7", &address.sin6_addr);
    entry.ifa_name = name;
    entry.ifa_addr = reinterpret_cast<sockaddr*>(&address);
  }
};

void checkOlderMac(Input& input) {
  isZirelHost = false;
  static Carrier carrier;
  const commutil_test::FakeKernel kernel([](ifaddrs** list) {
    *list = &carrier.entry;
    return 0;
  });
  std::string output = input.rest();
  const FakeShell shell([&](const std::string& command) {
    expectEqual(command, "/sbin/ifconfig |grep eth1|awk '{print $5}'", "the older tool's command");
    return output;
  });
  const std::list<std::string> lines = modelLines(output, 48);
  const auto expected = lines.empty() ? std::nullopt : commutil_fuzz::modelEther(lines.front());
  std::string ip = "2001:DB8::7";
  LocalMACAddress mac{};
  expectEqual(VexaCommonUtils_i::getMacAddrOfIPV6(ip, &mac), lines.empty() || expected ? 0 : -1,
              "getMacAddrOfIPV6 with the older tool");
  expectMac(mac, expected);
  expectEqual(ip, "2001:db8:0:0:0:0:0:7", "the address in full form");
  expectEqual(shell.openStreams(), 0, "the stream is closed");
}

}  // namespace

// Replaces the library's own, which reads a file of the system.
bool VexaCommonUtils_i::isZirel() { return isZirelHost; }

void commutil_fuzz::testInput(Input& input) {
  return input.choice(2) == 0 ? checkZirelMac(input) : checkOlderMac(input);
}
