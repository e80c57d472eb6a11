// Compares lookups that parse the output of system tools with models: netmasks, MAC addresses and
// the session. No tool runs and no interface is read; the input supplies their output.
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <list>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "VexaStringUtils.h"
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
using commutil_fuzz::modelOutput;
using commutil_test::modelSplit;
using Vexacommon::LocalMACAddress;

constexpr const char* kBlanks = " \t\r\n";

bool isZirelHost = false;

std::string trimmed(const std::string& text) { return commutil_test::modelTrim(text, kBlanks); }

bool holds(const std::string& text, const std::string& word) {
  return text.find(word) != text.npos;
}

/// Returns the element after `word`; "" if there is none.
std::string after(const std::list<std::string>& words, std::list<std::string>::iterator word) {
  return std::next(word) == words.end() ? "" : trimmed(*std::next(word));
}

// Netmasks

std::string modelMaskText(const std::string& output) {
  std::string mask;
  std::list<std::string> fields = modelSplit(output, " ");
  for (auto field = fields.begin(); field != fields.end(); ++field) {
    if (ToUpper(*field) == "NETMASK") return after(fields, field);
    std::list<std::string> parts = modelSplit(*field, ":");
    const auto part = std::find_if(parts.begin(), parts.end(),
                                   [](const auto& text) { return ToUpper(text) == "MASK"; });
    if (part != parts.end()) mask = after(parts, part);
  }
  return mask;
}

/// Returns the netmask in the output, "" if there is none; throws if the library does.
std::string modelNetmask(const std::string& output) {
  if (output.empty()) return "";
  std::string mask = modelMaskText(output);
  if (!CheckIp(mask.c_str())) {
    mask = StrHexToInt(mask.substr(0, 2)) + "." + StrHexToInt(mask.substr(2, 2)) + "." +
           StrHexToInt(mask.substr(4, 2)) + "." + StrHexToInt(mask.substr(6, 2));
  }
  return CheckIp(mask.c_str()) ? mask : "";
}

void checkNetmask(Input& input) {
  const std::string ip = input.cText();
  std::string output = input.rest();
  std::optional<std::string> expected;
  try {
    expected = modelNetmask(modelOutput(output));
  } catch (const std::out_of_range&) {
  }

  const FakeShell shell([&](const std::string& command) {
    expectEqual(command, "ifconfig -a | grep '" + ip + "'", "the command of the netmask");
    return output;
  });
  std::string netmask = "before";
  try {
    const int result = GetNetmaskByIpUseifconfig(ip, netmask);
    expect(expected.has_value(), "a mask that is too short throws");
    expectEqual(netmask, *expected, "the netmask");
    expectEqual(result, expected->empty() ? -1 : 0, "GetNetmaskByIpUseifconfig");
  } catch (const std::out_of_range&) {
    expect(!expected.has_value(), "only a mask that is too short throws");
    expectEqual(netmask, "before", "the netmask is unchanged then");
  }
  expectEqual(shell.openStreams(), 0, "the stream is closed");
}

// The list of MAC addresses

void appendOnce(std::vector<std::string>& texts, const std::string& text) {
  const std::string start = text.substr(0, 18);
  const auto same = [&](const std::string& other) {
    return ::strcasecmp(start.c_str(), other.c_str()) == 0;
  };
  if (std::none_of(texts.begin(), texts.end(), same)) texts.push_back(start);
}

std::vector<std::string> modelMacList(const std::string& tool, const std::string& bonding) {
  std::vector<std::string> texts;
  for (const std::string& line : modelLines(tool, 1024)) {
    appendOnce(texts, line.substr(0, line.empty() ? 0 : line.size() - 1));
  }
  for (const std::string& line : modelLines(bonding, 1024)) {
    if (line.size() < 35) continue;
    const std::size_t end = line.find_last_not_of(kBlanks);
    if (end == line.npos) continue;
    const std::size_t blank = line.find_last_of(kBlanks, end);
    if (blank == line.npos || end - blank <= 16) continue;
    appendOnce(texts, ToUpper(line.substr(blank + 1, end - blank)));
  }
  return texts;
}

void checkMacList(Input& input) {
  isZirelHost = input.choice(2) == 1;
  const std::string tool = input.field();
  const std::string bonding = input.rest();
  const commutil_test::FakeKernel kernel([](unsigned long, void*) {
    errno = EPERM;
    return -1;
  });
  const FakeShell shell([&](const std::string& command) {
    return holds(command, "/proc/net/bonding/") ? bonding : tool;
  });
  std::vector<CMACAddress> addresses;
  const int count = GetLocalMACAddr(addresses);
  std::vector<std::string> texts;
  texts.reserve(addresses.size());
  for (const CMACAddress& address : addresses) texts.emplace_back(address.text);
  expectEqual(texts, modelMacList(tool, bonding), "the list of MAC addresses");
  expectEqual(count, static_cast<int>(texts.size()), "GetLocalMACAddr");
  expectEqual(shell.openStreams(), 0, "the streams are closed");
}

// The MAC address of an IPv6 address

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

// The session

void checkSession(Input& input) {
  const std::string tty = input.field();
  const std::string name = input.field();
  const std::string who = input.rest();
  const FakeShell shell([&](const std::string& command) {
    return command == "/usr/bin/tty" ? tty : command == "/usr/bin/whoami" ? name : who;
  });
  const bool hasTerminal = !modelOutput(tty).empty() && trimmed(modelOutput(tty)) != "not a tty";
  const std::string user = hasTerminal ? trimmed(modelOutput(name)) : "before";
  const std::string line = trimmed(modelOutput(who));
  const std::size_t open = line.rfind('(');
  const std::size_t close = line.rfind(')');
  const bool found =
      hasTerminal && !modelOutput(name).empty() && open != line.npos && close != line.npos;
  std::string address = "before";
  if (found) address = line.substr(open, close < open ? line.npos : close + 1 - open);

  std::string actualUser = "before";
  std::string actualAddress = "before";
  expectEqual(VexaCommonUtils::getSessionDetails(actualUser, actualAddress), found ? 0 : -1,
              "getSessionDetails");
  expectEqual(actualUser, user, "the session's user");
  expectEqual(actualAddress, address, "the session's address");
  expectEqual(shell.openStreams(), 0, "the streams are closed");
}

}  // namespace

// Replaces the library's own, which reads a file of the system.
bool VexaCommonUtils_i::isZirel() { return isZirelHost; }

void commutil_fuzz::testInput(Input& input) {
  switch (input.choice(5)) {
    case 0:
      return checkNetmask(input);
    case 1:
      return checkMacList(input);
    case 2:
      return checkZirelMac(input);
    case 3:
      return checkOlderMac(input);
    default:
      return checkSession(input);
  }
}
