#include <arpa/inet.h>
#include <netinet/in.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <list>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "VexaStringUtils.h"
#include "bytes/ascii.h"
#include "net/interface_records.h"
#include "os/handles.h"
#include "platform/bounded.h"

namespace {

constexpr std::size_t kMaxRecords = 50;
constexpr std::size_t kRequestBytes = 2000;
static_assert(kRequestBytes == kMaxRecords * sizeof(ifreq));

using AddressText = std::array<char, 300>;

/// Prints the IPv4 address of `record`; the buffer of inet_ntoa(3) is thread-local.
bool printAddress(const ifreq& record, AddressText& text) {
  sockaddr_in address{};
  std::memcpy(&address, &record.ifr_addr, sizeof(address));
  return snprintf_s(text.data(), text.size(), text.size() - 1, "%s",
                    ::inet_ntoa(address.sin_addr)) >= 0;
}

/// Returns the kernel's netmask of `ip`; "" if it has none.
std::string netmaskFromKernel(const std::string& ip) {
  const commutil::Descriptor socket = commutil::interfaceSocket();
  if (!socket) return {};
  const commutil::MallocBlock block(std::malloc(kRequestBytes));
  if (!block) return {};
  memset_s(block.get(), kRequestBytes, 0, kRequestBytes);

  auto* const records = static_cast<ifreq*>(block.get());
  const std::size_t count = commutil::listInterfaces(socket, records, kMaxRecords);
  AddressText text{};
  for (ifreq* record = records; record != records + count; ++record) {
    if (!printAddress(*record, text) || std::strcmp(text.data(), ip.c_str()) != 0) continue;
    // The request keeps the record's address: the kernel needs it where an interface has several.
    if (::ioctl(socket.get(), SIOCGIFNETMASK, record) < 0) return {};
    return printAddress(*record, text) ? text.data() : "";
  }
  return {};
}

using Words = std::list<std::string>;

/// Returns the element after `word`, trimmed; "" if there is none.
std::string wordAfter(const Words& words, Words::const_iterator word) {
  const auto next = std::next(word);
  return next == words.end() ? "" : VexaCommonUtils_i::VexatrimAll(*next, commutil::kWhitespace);
}

/// Sets `mask` to what follows the first "Mask:" in `field`, if there is one.
void readMaskPart(const std::string& field, std::string& mask) {
  Words parts;
  VexaCommonUtils::split(field, ":", parts);
  for (auto part = parts.cbegin(); part != parts.cend(); ++part) {
    if (ToUpper(*part) != "MASK") continue;
    mask = wordAfter(parts, part);
    return;
  }
}

/// Returns the mask in the tool's output: after the first field "netmask" or, without one, after
/// the last "Mask:".
std::string findMask(const std::string& output) {
  Words fields;
  VexaCommonUtils::split(output, " ", fields);
  std::string mask;
  for (auto field = fields.cbegin(); field != fields.cend(); ++field) {
    if (ToUpper(*field) == "NETMASK") return wordAfter(fields, field);
    readMaskPart(*field, mask);
  }
  return mask;
}

/// Returns the dotted form of a mask of eight hexadecimal digits. By contract, a mask of less than
/// six characters throws std::out_of_range.
std::string dottedFromHex(const std::string& digits) {
  std::string dotted;
  for (const std::size_t position : {0U, 2U, 4U, 6U}) {
    if (position > 0) dotted += '.';
    dotted += StrHexToInt(digits.substr(position, 2));
  }
  return dotted;
}

}  // namespace

int VexaCommonUtils::getNetmaskByIP(std::string& ip, std::string& netmask) {
  if (ip == "127.0.0.1" || !CheckIp(ip.c_str())) {
    netmask.clear();
    return -1;
  }
  if (GetNetmaskByIpUseioctl(ip, netmask) == 0) return 0;
  return GetNetmaskByIpUseifconfig(ip, netmask);
}

int GetNetmaskByIpUseioctl(const std::string& ip, std::string& netmask) {
  netmask = netmaskFromKernel(ip);
  return netmask.empty() ? -1 : 0;
}

int GetNetmaskByIpUseifconfig(const std::string& ip, std::string& netmask) {
  const std::string command = "ifconfig -a | grep '" + ip + "'";
  std::string output;
  if (VexaCommonUtils_i::getSystemExecResult(command.c_str(), output) != 0) {
    netmask.clear();
    return -1;
  }
  std::string mask = findMask(output);
  if (!CheckIp(mask.c_str())) mask = dottedFromHex(mask);
  const bool found = CheckIp(mask.c_str());
  netmask = found ? mask : "";
  return found ? 0 : -1;
}
