// The MAC address of the interface with an IPv6 address, from the output of older and newer
// versions of ifconfig.
#include <netinet/in.h>

#include <array>
#include <iterator>
#include <list>
#include <map>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "net/tool_stream.h"
#include "platform/bounded.h"

namespace {

constexpr std::size_t kMaxToolLine = 1022;

std::list<std::string> toolLines() {
  std::list<std::string> lines;
  commutil::ToolStream output("/usr/sbin/ifconfig -a");
  for (std::array<char, kMaxToolLine + 1> line{}; output.readLine(line);)
    lines.emplace_back(line.data());
  return lines;
}

bool holds(const std::string& text, const char* word) {
  return text.find(word) != std::string::npos;
}

/// Returns whether an "inet6" line has the address `ip`, which is in full form.
bool namesAddress(const std::string& line, const std::string& ip) {
  std::list<std::string> fields;
  VexaCommonUtils::split(line, " ", fields);
  for (auto field = fields.cbegin(); field != fields.cend(); ++field) {
    const auto next = std::next(field);
    if (*field != "inet6" || next == fields.cend()) continue;
    std::string address;
    GetInet6Address(*next, address);
    if (VexaCommonUtils_i::formatStringIP(address) == AF_INET6 && address == ip) return true;
  }
  return false;
}

/// The newer tool's output: the interface with an address, and every interface's hardware address.
struct ToolAnswer {
  std::string carrier;
  std::map<std::string, Vexacommon::LocalMACAddress> macs;
};

ToolAnswer readTool(const std::list<std::string>& lines, const std::string& ip) {
  ToolAnswer answer;
  std::string current;
  for (const std::string& line : lines) {
    if (holds(line, "flags")) {
      GetMac(line, current);
      continue;
    }
    if (holds(line, "inet6") && namesAddress(line, ip)) answer.carrier = current;
    Vexacommon::LocalMACAddress record{};
    if (holds(line, "ether") && GetZirelEther(line, &record) == 0) answer.macs[current] = record;
  }
  return answer;
}

}  // namespace

int VexaCommonUtils_i::getMacAddrOfIPV6(std::string& ip, Vexacommon::LocalMACAddress* mac) {
  if (formatStringIP(ip) != AF_INET6) return -1;
  if (isZirel()) return getZirelMacAddrOfIPV6(ip, mac);
  std::string name;
  if (getInterfaceOfIPV6(ip, name) != 0) return -1;

  commutil::ToolStream output("/sbin/ifconfig |grep " + name + "|awk '{print $5}'");
  std::array<char, 48> line{};
  // If the tool prints no line, the result is that of the interface lookup, by contract.
  return output.readLine(line) ? GetEther(line.data(), mac) : 0;
}

int VexaCommonUtils_i::getZirelMacAddrOfIPV6(const std::string& ip,
                                             Vexacommon::LocalMACAddress* mac) {
  const std::list<std::string> lines = toolLines();
  if (lines.empty()) return -1;
  const ToolAnswer answer = readTool(lines, ip);
  int result = -1;
  for (const auto& [name, address] : answer.macs) {
    // Part of the carrier's name is enough and the last match wins: "eth1" also matches "eth10".
    if (answer.carrier.find(name) == std::string::npos) continue;
    memcpy_s(mac, sizeof(*mac), &address, sizeof(address));
    result = 0;
  }
  return result;
}
