// The subcommands net, ip and mac: this host's names, addresses, netmasks, interfaces and nodes.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>
#include <VexaNetUtils.h>

#include <ifaddrs.h>
#include <json/value.h>
#include <netinet/in.h>
#include <netpacket/packet.h>

#include <array>
#include <cstdlib>
#include <exception>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "output.h"
#include "progress.h"
#include "settings/json_document.h"
#include "settings_store/read_file.h"
#include "tool.h"

namespace {

using InterfaceList = std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)>;

InterfaceList interfaces() {
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) list = nullptr;
  return {list, &::freeifaddrs};
}

std::string macText(const unsigned char* bytes) {
  CMACAddress address;
  address = bytes;
  return address.text;
}

Json::Value jsonList(const std::list<std::string>& texts) {
  Json::Value result(Json::arrayValue);
  for (const std::string& text : texts) result.append(text);
  return result;
}

/// Returns the kernel's hardware addresses by interface.
std::map<std::string, std::string> hardwareAddresses(const ifaddrs* list) {
  std::map<std::string, std::string> result;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_PACKET) continue;
    const auto* const link = reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr);
    if (link->sll_halen == 6) result[entry->ifa_name] = macText(link->sll_addr);
  }
  return result;
}

Json::Value netmaskOf(std::string ip) {
  std::string netmask;
  try {
    if (VexaCommonUtils::getNetmaskByIP(ip, netmask) == 0) return netmask;
  } catch (const std::out_of_range&) {  // the tool's output holds no mask
  }
  return {};
}

Json::Value interfaceOf(std::string ip) {
  std::string name;
  if (VexaCommonUtils_i::getInterfaceOfIPV6(ip, name) != 0) return {};
  return name;
}

/// Returns the library's answer; null also if it succeeds without having read anything.
Json::Value macOf(std::string ip) {
  Vexacommon::LocalMACAddress address{};
  const Vexacommon::LocalMACAddress untouched{};
  if (VexaCommonUtils_i::getMacAddrOfIPV6(ip, &address) != 0) return {};
  const std::string text = macText(address.mac);
  if (text == macText(untouched.mac)) return {};
  return text;
}

std::string addressText(sockaddr* address) {
  std::array<char, 48> text{};
  VexaCommonUtils_i::addressToStringIP(address->sa_family, address, sizeof *address, text.data(),
                                       static_cast<int>(text.size()));
  return text.data();
}

/// Describes a local address. The netmask of an IPv4 address, and the interface and MAC address of
/// an IPv6 address, come from the library; the rest from the kernel.
Json::Value addressRow(const ifaddrs& entry, const std::map<std::string, std::string>& hardware) {
  Json::Value row;
  const std::string ip = addressText(entry.ifa_addr);
  row["address"] = ip;
  if (entry.ifa_addr->sa_family == AF_INET6) {
    row["interface"] = interfaceOf(ip);
    row["mac"] = macOf(ip);
    return row;
  }
  const auto link = hardware.find(entry.ifa_name);
  row["interface"] = entry.ifa_name;
  row["mac"] = link == hardware.end() ? Json::Value() : Json::Value(link->second);
  row["netmask"] = netmaskOf(ip);
  return row;
}

Json::Value addresses() {
  Json::Value rows(Json::arrayValue);
  const InterfaceList list = interfaces();
  const auto hardware = hardwareAddresses(list.get());
  for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
    const int family = entry->ifa_addr == nullptr ? AF_UNSPEC : entry->ifa_addr->sa_family;
    if (family == AF_INET || family == AF_INET6) rows.append(addressRow(*entry, hardware));
  }
  return rows;
}

Json::Value macAddresses() {
  std::vector<CMACAddress> found;
  GetLocalMACAddr(found);
  Json::Value result(Json::arrayValue);
  for (const CMACAddress& address : found) result.append(address.text);
  return result;
}

/// The cluster's remote-client nodes; `nodes` is null if there is no list of nodes.
struct Cluster {
  Json::Value nodes;
  std::string problem;  ///< why the list cannot be read, "" if it can or none is configured
};

/// Returns why the library has no answer for the list of nodes `text` at `path`.
std::string clusterProblem(const std::string& path, const std::string& text,
                           const std::string& exception) {
  const settings::JsonDocument document(text, settings::JsonRules::lenient);
  if (!document.fault()) return path + ": a value is of the wrong kind: " + exception;
  const settings::Finding& fault = *document.fault();
  return path + ":" + std::to_string(fault.place.line) + ":" + std::to_string(fault.place.column) +
         ": " + fault.message;
}

Cluster cluster() {
  const char* const root = std::getenv("QORV_ROOT");
  if (root == nullptr) return {};
  const std::string path = std::string(root) + "/etc/sysconf/nodelists.json";
  std::optional<std::string> text;
  try {
    text = settings::readRegularFile(path);
  } catch (const std::exception& error) {
    return {Json::Value(), error.what()};
  }
  if (!text) return {Json::Value(), path + ": No such file or directory"};
  std::list<std::string> nodes;
  std::string exception;
  try {
    if (VexaCommonUtils_i::GetAllWebswingNodeIPs(nodes) == 0) return {jsonList(nodes), ""};
  } catch (const std::exception& error) {
    exception = error.what();
  }
  return {Json::Value(), clusterProblem(path, *text, exception)};
}

struct NetOptions {
  bool json = false;
};

int net(const NetOptions& options) {
  const Progress progress("reading this host's names and addresses");
  std::list<std::string> listed;
  VexaCommonUtils_i::getAllIPAddr(listed);
  const Cluster nodes = cluster();
  Json::Value document;
  document["host"]["address"] = VexaCommonUtils::hostipaddr();
  document["host"]["name"] = VexaCommonUtils::hostname();
  document["host"]["system"] = VexaCommonUtils::sysname();
  document["addresses"] = addresses();
  document["addressesAsListed"] = jsonList(listed);
  document["macAddresses"] = macAddresses();
  document["clusterNodes"] = nodes.nodes;
  if (options.json && !nodes.problem.empty()) document["clusterNodesProblem"] = nodes.problem;
  printDocument(document, options.json);
  if (nodes.problem.empty()) return kOk;
  if (!options.json) complain(nodes.problem);
  return kNo;
}

struct AddressOptions {
  bool json = false;
  std::string text;
};

int noAddress(const std::string& text) { return fail("not an address: " + text); }

int printAddress(const std::string& address, int family, bool json) {
  if (!json) {
    printText("address", address, false);
    return kOk;
  }
  Json::Value document;
  document["address"] = address;
  document["family"] = family;
  printDocument(document, true);
  return kOk;
}

int normalize(const AddressOptions& options) {
  std::string address = options.text;
  const int family = VexaCommonUtils_i::formatStringIP(address);
  return family == 0 ? noAddress(options.text) : printAddress(address, family, options.json);
}

int check(const AddressOptions& options) {
  std::string address = options.text;
  std::vector<unsigned char> octets;
  const int family = VexaCommonUtils_i::formatStringIP(address);
  Json::Value document;
  document["family"] = family;
  document["strict"] = VexaCommonUtils::isValidIP(options.text);
  document["lax"] = CheckIp(options.text.c_str());
  document["parsable"] = VexaCommonUtils_i::validateIPv4(options.text, octets) == 0;
  printDocument(document, options.json);
  return family == 0 ? kNo : kOk;
}

int resolve(const AddressOptions& options) {
  const Progress progress("resolving " + options.text);
  std::string address = options.text;
  const int family = VexaCommonUtils_i::formatStringIP_DNS(address);
  if (family == 0) return noAddress(options.text);
  std::string ipv4;
  std::string name;
  Json::Value document;
  document["address"] = address;
  document["family"] = family;
  const bool hasIpv4 = VexaCommonUtils::getIPbyHostname(options.text, ipv4) == 0;
  document["ipv4"] = hasIpv4 ? Json::Value(ipv4) : Json::Value();
  const bool hasName = VexaCommonUtils::getHostnamebyIP(ipv4, name) == 0;
  document["hostName"] = hasName ? Json::Value(name) : Json::Value();
  printDocument(document, options.json);
  return kOk;
}

int mac(const AddressOptions& options) {
  const Json::Value found = macOf(options.text);
  if (found.isNull()) return fail("no interface with a MAC address has " + options.text);
  printText("mac", found.asString(), options.json);
  return kOk;
}

void addAddressCommand(Tool& tool, Command& parent, const char* name, const char* purpose,
                       const char* operandName, int (*run)(const AddressOptions&)) {
  tool.add<AddressOptions>(
      parent, name, purpose,
      [name = operandName](Command& subcommand, AddressOptions& options) {
        subcommand.arguments = {operand(name, options.text, "The address or name"),
                                jsonFlag(options.json)};
      },
      run);
}

}  // namespace

void addNetwork(Tool& tool) {
  tool.add<NetOptions>(
      tool.command, "net", "Show this host's names, addresses, MAC addresses and cluster nodes.",
      [](Command& subcommand, NetOptions& options) {
        subcommand.arguments = {jsonFlag(options.json)};
      },
      net);
  Command& ip = tool.addGroup(tool.command, "ip", "Check, normalize or resolve an address.");
  addAddressCommand(tool, ip, "normalise", "Print an address in its full form.", "TEXT", normalize);
  addAddressCommand(tool, ip, "check", "Show the result of each check of an address.", "TEXT",
                    check);
  addAddressCommand(tool, ip, "resolve", "Resolve a host name or address.", "TEXT", resolve);
  addAddressCommand(tool, tool.command, "mac",
                    "Print the MAC address of the interface with an IPv6 address.", "IPV6", mac);
}
