#include <ace/OS_NS_arpa_inet.h>
#include <ace/OS_NS_string.h>
#include <ace/OS_NS_sys_utsname.h>
#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <array>
#include <cstring>

#include "VexaCommonUtils.h"
#include "platform/bounded.h"

namespace {

// Fixed by contract: a result that does not fit is a failure.
constexpr std::size_t kResolverBufferSize = 4096;
constexpr std::size_t kHostNameSize = 256;

/// One result of the resolver with the buffer that its pointers point into.
struct Resolved {
  std::array<char, kResolverBufferSize> buffer{};
  hostent entry{};
  hostent* result = nullptr;
  int error = 0;

  bool byName(const char* name) {
    return ::gethostbyname_r(name, &entry, buffer.data(), buffer.size(), &result, &error) == 0 &&
           result != nullptr;
  }

  bool byAddress(const in_addr& address) {
    return ::gethostbyaddr_r(&address, sizeof(address), AF_INET, &entry, buffer.data(),
                             buffer.size(), &result, &error) == 0 &&
           result != nullptr;
  }
};

/// Returns the first IPv4 address of `name`; "" on failure.
std::string firstAddress(const std::string& name) {
  Resolved host;
  if (name.empty() || !host.byName(name.c_str())) return {};
  // Copies as many bytes as the entry has; only the start of an address longer than IPv4's is used.
  std::array<unsigned char, sizeof(in6_addr)> bytes{};
  const auto length = static_cast<std::size_t>(host.result->h_length);
  if (length > bytes.size()) return {};
  if (memcpy_s(bytes.data(), length, host.result->h_addr_list[0], length) != 0) return {};
  in_addr address{};
  std::memcpy(&address, bytes.data(), sizeof(address));
  return ::inet_ntoa(address);
}

}  // namespace

std::string VexaCommonUtils::hostname() {
  std::array<char, kHostNameSize> name{};
  ACE_utsname system{};
  if (ACE_OS::uname(&system) != -1) ACE_OS::strsncpy(name.data(), system.nodename, name.size());
  return name.data();
}

std::string VexaCommonUtils::sysname() {
  ACE_utsname system{};
  ACE_OS::uname(&system);
  return std::string(system.sysname) + system.release;
}

std::string VexaCommonUtils::hostipaddr() {
  const std::string name = hostname();
  if (name.empty()) return {};
  Resolved host;
  if (!host.byName(name.c_str())) return {};
  in_addr address{};
  const auto length = static_cast<std::size_t>(host.result->h_length);
  if (memcpy_s(&address, sizeof(address), host.result->h_addr_list[0], length) != 0) return {};
  return ::inet_ntoa(address);
}

int VexaCommonUtils::getIPbyHostname(const std::string& name, std::string& ip) {
  ip = firstAddress(name);
  return ip.empty() ? -1 : 0;
}

int VexaCommonUtils::getHostnamebyIP(const std::string& ip, std::string& name) {
  in_addr address{};
  const bool parsed = ACE_OS::inet_aton(ip.c_str(), &address) != 0;
  name.clear();
  // Only the first octet is checked: every address in 0.0.0.0/8 is refused.
  if (!parsed || (ntohl(address.s_addr) >> 24) == 0) return -1;
  Resolved host;
  if (!host.byAddress(address) || host.result->h_name == nullptr) return -1;
  name = host.result->h_name;
  return 0;
}
