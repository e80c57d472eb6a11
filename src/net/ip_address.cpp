// IP addresses as text: checks of dotted IPv4 that differ in strictness, and the one text form of
// an IPv6 address. The netmask, interface and MAC look-ups call it, and the platform's processes.
// Stateless and re-entrant.
#include <ace/INET_Addr.h>
#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "platform/bounded.h"

namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::ptrdiff_t kGroups = 8;
constexpr std::size_t kLongestDotted = 15;
constexpr std::size_t kTextSize = 128;
constexpr unsigned short kAnyPort = 65533;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// The value of a text of digits, held at LONG_MAX as strtol(3) holds it.
unsigned long decimalValue(std::string_view digits) {
  unsigned long value = 0;
  for (const char c : digits) {
    const auto digit = static_cast<unsigned long>(c - '0');
    if (value > (LONG_MAX - digit) / 10) return LONG_MAX;
    value = value * 10 + digit;
  }
  return value;
}

/// Appends the byte that one dotted field stands for; false when it stands for none. Only the low
/// 32 bits of its value are compared: "4294967296" counts as 0.
bool appendOctet(std::string_view field, std::vector<unsigned char>& octets) {
  if (field.empty() || !std::all_of(field.begin(), field.end(), isDigit)) return false;
  const auto value = static_cast<unsigned int>(decimalValue(field));
  if (value > UCHAR_MAX) return false;
  octets.push_back(static_cast<unsigned char>(value));
  return true;
}

/// Whether `ip` is four fields of digits up to 255 between exactly three dots.
bool isDottedQuad(std::string_view ip) {
  int dots = 0;
  int digits = 0;
  unsigned int value = 0;
  for (const char c : ip) {
    if (c == '.') {
      if (digits == 0 || ++dots > 3) return false;
      digits = 0;
      value = 0;
      continue;
    }
    if (!isDigit(c)) return false;
    ++digits;
    value = value * 10 + static_cast<unsigned int>(c - '0');
    if (value > UCHAR_MAX) return false;
  }
  return dots == 3 && digits > 0;
}

/// The bare address inside a text with brackets or an IPv4 port, IPv6 in full form.
std::string bareAddress(std::string text) {
  const std::size_t open = text.find('[');
  if (open != std::string::npos) {
    const std::size_t close = text.find(']');
    // A "]" before the "[" leaves everything behind the "[".
    if (close != std::string::npos) text = text.substr(open + 1, close - open - 1);
    FullNameIp(text);
  } else if (text.find('.') == std::string::npos) {
    FullNameIp(text);
  } else {
    text = text.substr(0, text.find(':'));
  }
  return text;
}

/// The address field of the socket-address record of a family, null for other families.
void* addressField(int family, void* record) {
  if (family == AF_INET) return &static_cast<sockaddr_in*>(record)->sin_addr;
  if (family == AF_INET6) return &static_cast<sockaddr_in6*>(record)->sin6_addr;
  return nullptr;
}

}  // namespace

bool CheckIp(const char* ip) {
  const std::string text(ip);
  int fields = 0;
  char before = '.';
  for (const char c : trimmed(text)) {
    if (c != '.' && !isDigit(c)) return false;
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
  if (ip.find('.') == std::string::npos) return -1;
  std::string_view rest = ip;
  std::size_t dot = 0;
  while (dot != std::string_view::npos) {
    dot = rest.find('.');
    if (!appendOctet(rest.substr(0, dot), octets)) return -1;
    rest.remove_prefix(dot == std::string_view::npos ? rest.size() : dot + 1);
  }
  return octets.size() == 4 ? 0 : -1;
}

int VexaCommonUtils_i::formatStringIP(std::string& ip) {
  std::vector<unsigned char> octets;
  if (validateIPv4(ip, octets) == 0) return AF_INET;
  in6_addr address{};
  if (::inet_pton(AF_INET6, ip.c_str(), &address) != 1) return 0;
  std::array<char, 128> text{};
  if (::inet_ntop(AF_INET6, &address, text.data(), INET6_ADDRSTRLEN) == nullptr) return 0;
  ip = text.data();
  FullNameIp(ip);
  return AF_INET6;
}

int VexaCommonUtils_i::formatStringIP_DNS(std::string& ip) {
  std::vector<unsigned char> octets;
  if (validateIPv4(ip, octets) == 0) return AF_INET;
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
