// Checks of dotted IPv4 that differ in strictness, and the full form of IPv6 addresses.
#include <ace/INET_Addr.h>
#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "bytes/ascii.h"
#include "platform/bounded.h"

namespace {

constexpr std::ptrdiff_t kGroups = 8;
constexpr std::size_t kLongestDotted = 15;
constexpr std::size_t kTextSize = 128;
constexpr unsigned short kAnyPort = 65533;

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && commutil::isWhitespace(text.front())) text.remove_prefix(1);
  while (!text.empty() && commutil::isWhitespace(text.back())) text.remove_suffix(1);
  return text;
}

/// Appends a digit, saturating at LONG_MAX as strtol(3) does.
unsigned long withDigit(unsigned long value, char c) {
  const auto digit = static_cast<unsigned long>(c - '0');
  constexpr unsigned long kSurelyFits = LONG_MAX / 10 - 1;
  if (value > kSurelyFits && value > (LONG_MAX - digit) / 10) return LONG_MAX;
  return value * 10 + digit;
}

/// Returns whether `text` is four fields between dots, each the value of a byte. Passes every byte
/// to `take` before it reads the next field. Compares only the low 32 bits of a field's value:
/// "4294967296" counts as 0.
template <class Take>
bool readOctets(std::string_view text, const Take& take) {
  const char* at = text.data();
  const char* const end = at + text.size();
  for (std::size_t octets = 1;; ++octets) {
    const char* const field = at;
    unsigned long value = 0;
    for (; at != end && commutil::kDigits(*at); ++at) value = withDigit(value, *at);
    const bool last = at == end;
    const bool isField = at != field && (last || *at == '.');
    const auto low = static_cast<unsigned int>(value);
    if (!isField || low > UCHAR_MAX || (last && octets == 1)) return false;
    take(static_cast<unsigned char>(low));
    if (last) return octets == 4;
    ++at;
  }
}

bool isIPv4(std::string_view text) {
  return readOctets(text, [](unsigned char /*octet*/) {});
}

/// Returns whether `ip` is four fields of digits up to 255 between exactly three dots.
bool isDottedQuad(std::string_view ip) {
  const char* at = ip.data();
  const char* const end = at + ip.size();
  for (int fields = 1;; ++fields) {
    const char* const field = at;
    unsigned int value = 0;
    for (; at != end && commutil::kDigits(*at) && value <= UCHAR_MAX; ++at) {
      value = value * 10 + static_cast<unsigned int>(*at - '0');
    }
    if (at == field || value > UCHAR_MAX) return false;
    if (at == end) return fields == 4;
    if (*at != '.' || fields == 4) return false;
    ++at;
  }
}

/// Returns the bare address in a string with brackets or an IPv4 port, IPv6 in full form.
std::string bareAddress(std::string text) {
  const std::size_t open = text.find('[');
  if (open != std::string::npos) {
    const std::size_t close = text.find(']');
    // A "]" before the "[" leaves everything after the "[".
    if (close != std::string::npos) text = text.substr(open + 1, close - open - 1);
    FullNameIp(text);
  } else if (text.find('.') == std::string::npos) {
    FullNameIp(text);
  } else {
    text = text.substr(0, text.find(':'));
  }
  return text;
}

/// Returns whether inet_ntop(3) prints the end of `address` as a dotted IPv4 address: a mapped one,
/// or a compatible one longer than a group.
bool endsDotted(const in6_addr& address) {
  const auto& bytes = address.s6_addr;
  if (std::any_of(bytes, bytes + 10, [](auto byte) { return byte != 0; })) return false;
  const int group5 = bytes[10] << 8 | bytes[11];
  return group5 == 0xffff || (group5 == 0 && (bytes[12] | bytes[13]) != 0);
}

/// Returns the full form of an IPv6 address: the output of inet_ntop(3) with "::" expanded. Empty
/// on failure.
std::string fullText(const in6_addr& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (endsDotted(address)) {
    ::inet_ntop(AF_INET6, &address, text.data(), text.size());
    return text.data();
  }
  const auto& bytes = address.s6_addr;
  char* out = text.data();
  for (std::size_t i = 0; i < sizeof(bytes); i += 2) {
    out = std::to_chars(out, text.end(), bytes[i] << 8 | bytes[i + 1], 16).ptr;
    *out++ = ':';
  }
  return {text.data(), out - 1};
}

/// Returns the address field of the socket-address record of a family; null for other families.
void* addressField(int family, void* record) {
  if (family == AF_INET) return &static_cast<sockaddr_in*>(record)->sin_addr;
  if (family == AF_INET6) return &static_cast<sockaddr_in6*>(record)->sin6_addr;
  return nullptr;
}

}  // namespace

bool CheckIp(const char* ip) {
  // As constructing a string from it would.
  if (ip == nullptr) throw std::logic_error("basic_string: construction from null is not valid");
  std::size_t fields = 0;
  char before = '.';
  for (const char c : trimmed(ip)) {
    if (c != '.' && !commutil::kDigits(c)) return false;
    if (c != '.' && before == '.') ++fields;
    before = c;
  }
  return fields == 4;
}

void FullNameIp(std::string& ip) {
  if (ip.find('.') != std::string::npos) return;
  const std::size_t gap = ip.find("::");
  if (gap == std::string::npos) return;

  std::string full = gap == 0 ? "0" : ip.substr(0, gap);
  for (auto colons = std::count(ip.begin(), ip.end(), ':'); colons < kGroups; ++colons) {
    full += ":0";
  }
  const bool endsInGap = gap + 2 == ip.size();
  full += endsInGap ? ":0" : ip.substr(gap + 1);
  ip = std::move(full);
}

int TrimStringIp(char* buf, int size) {
  if (buf == nullptr || size <= 0) return -1;
  const std::string bare = bareAddress(buf);
  const auto room = static_cast<std::size_t>(size);
  memset_s(buf, room, 0, room);
  return memcpy_s(buf, room, bare.data(), bare.size()) == 0 ? 0 : -1;
}

bool VexaCommonUtils::isValidIP(const std::string& ip) {
  return ip.size() >= 3 && ip.size() <= kLongestDotted && isDottedQuad(ip);
}

int VexaCommonUtils_i::validateIPv4(const std::string& ip, std::vector<unsigned char>& octets) {
  octets.clear();
  return readOctets(ip, [&octets](unsigned char octet) { octets.push_back(octet); }) ? 0 : -1;
}

int VexaCommonUtils_i::formatStringIP(std::string& ip) {
  if (isIPv4(ip)) return AF_INET;
  in6_addr address{};
  if (::inet_pton(AF_INET6, ip.c_str(), &address) != 1) return 0;
  std::string full = fullText(address);
  if (full.empty()) return 0;
  ip = std::move(full);
  return AF_INET6;
}

int VexaCommonUtils_i::formatStringIP_DNS(std::string& ip) {
  if (isIPv4(ip)) return AF_INET;
  ACE_INET_Addr address;
  if (address.set(kAnyPort, ip.c_str(), 1, AF_UNSPEC) != 0) return 0;
  std::array<char, kTextSize> text{};
  address.addr_to_string(text.data(), text.size(), 1);
  TrimStringIp(text.data(), static_cast<int>(text.size() - 1));
  ip = text.data();
  return address.get_type();
}

int VexaCommonUtils_i::stringIPToAddress(int family, const char* text, void* sockaddr, int len) {
  if (sockaddr == nullptr || len < 1 || text == nullptr) return -1;
  void* const field = addressField(family, sockaddr);
  return field == nullptr ? -1 : ::inet_pton(family, text, field);
}

int VexaCommonUtils_i::addressToStringIP(int family, void* sockaddr, int len, char* buf,
                                         int bufLen) {
  constexpr int kSmallestBuffer = 48;
  if (bufLen < kSmallestBuffer || buf == nullptr || sockaddr == nullptr || len < 0) return -1;
  const void* const field = addressField(family, sockaddr);
  if (field == nullptr) return -1;
  const auto room = static_cast<socklen_t>(bufLen);
  return ::inet_ntop(family, field, buf, room) == nullptr ? -1 : 0;
}
