// MAC addresses: the value class, the parsers of ifconfig lines, and the merged list of the
// kernel's, ifconfig's and the bonding driver's addresses.
#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "VexaStringUtils.h"
#include "bytes/ascii.h"
#include "net/interface_records.h"
#include "net/tool_stream.h"
#include "platform/bounded.h"

namespace {

constexpr std::size_t kMaxRecords = 16;
constexpr std::size_t kMinBondingLine = 35;
constexpr std::size_t kMinBondingWord = 17;

using Line = std::array<char, 1024>;

void appendOnce(std::vector<CMACAddress>& addresses, const CMACAddress& address) {
  if (std::find(addresses.begin(), addresses.end(), address) == addresses.end()) {
    addresses.push_back(address);
  }
}

/// Appends `work` with `text` as its text; its bytes stay those of the last address that it held.
void appendText(std::vector<CMACAddress>& addresses, CMACAddress& work, const char* text) {
  if (strncpy_s(work.text, sizeof(work.text), text, sizeof(work.text) - 1) == 0) {
    appendOnce(addresses, work);
  }
}

void appendFromTool(std::vector<CMACAddress>& addresses, CMACAddress& work) {
  const char* const command =
      VexaCommonUtils_i::isZirel()
          ? "/sbin/ifconfig -a  | /usr/bin/grep ether | /usr/bin/awk -F' ' '{print $2}'| "
            "tr 'a-z' 'A-Z'"
          : "/sbin/ifconfig -a | /usr/bin/grep HWaddr | /usr/bin/awk -F' ' '{print $5}'";
  commutil::ToolStream output(command);
  for (Line line{}; output.readLine(line);) {
    // Every piece loses its last character, whether that is a line end or not.
    const std::size_t length = std::strlen(line.data());
    if (length > 0) line[length - 1] = '\0';
    appendText(addresses, work, line.data());
  }
}

/// Returns the last word of `line`, which must follow whitespace; "" if there is none.
std::string_view lastWord(std::string_view line) {
  const std::size_t end = line.find_last_not_of(commutil::kWhitespace);
  if (end == std::string_view::npos) return {};
  const std::size_t gap = line.find_last_of(commutil::kWhitespace, end);
  if (gap == std::string_view::npos) return {};
  return line.substr(gap + 1, end - gap);
}

void appendFromBonding(std::vector<CMACAddress>& addresses, CMACAddress& work) {
  commutil::ToolStream output(
      "/bin/cat /proc/net/bonding/* 2>&1 | /usr/bin/grep \"Permanent HW addr\"");
  for (Line buffer{}; output.readLine(buffer);) {
    const std::string_view line = buffer.data();
    if (line.size() < kMinBondingLine) continue;
    std::string word(lastWord(line));
    if (word.size() < kMinBondingWord) continue;
    ToUpperEx(word);
    appendText(addresses, work, word.c_str());
  }
}

/// Reads the low byte of each of six hexadecimal fields between ":". Skips empty fields, and
/// ignores what follows a field's digits; strtol(3) stops at ":" too.
int parseBytes(const std::string& text, Vexacommon::LocalMACAddress* mac) {
  std::array<unsigned char, 6> bytes{};
  std::size_t count = 0;
  std::size_t field = text.find_first_not_of(':');
  while (field != std::string::npos) {
    if (count == bytes.size()) return -1;
    bytes[count++] = static_cast<unsigned char>(std::strtol(&text[field], nullptr, 16));
    field = text.find_first_not_of(':', text.find(':', field));
  }
  if (count != bytes.size()) return -1;
  memcpy_s(mac, sizeof(*mac), bytes.data(), bytes.size());
  return 0;
}

}  // namespace

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): memset_s does it
CMACAddress::CMACAddress() {
  memset_s(text, sizeof(text), 0, sizeof(text));
  memset_s(bytes, sizeof(bytes), 0, sizeof(bytes));
}

CMACAddress::~CMACAddress() = default;

CMACAddress& CMACAddress::operator=(const unsigned char* mac) {
  if (mac == nullptr) return *this;
  memcpy_s(bytes, sizeof(bytes), mac, sizeof(bytes));
  snprintf_s(text, sizeof(text), sizeof(text) - 1, "%02X:%02X:%02X:%02X:%02X:%02X", bytes[0],
             bytes[1], bytes[2], bytes[3], bytes[4], bytes[5]);
  return *this;
}

bool CMACAddress::operator==(const CMACAddress& other) {
  return ::strcasecmp(text, other.text) == 0;
}

int GetLocalMACAddr(std::vector<CMACAddress>& addresses) {
  CMACAddress work;
  GetHWMACAddr(addresses, work);
  appendFromTool(addresses, work);
  appendFromBonding(addresses, work);
  return static_cast<int>(addresses.size());
}

void GetHWMACAddr(std::vector<CMACAddress>& addresses, CMACAddress& work) {
  constexpr std::array<unsigned char, 6> kNoAddress{};
  CMACAddress zero;
  zero = kNoAddress.data();
  const commutil::Descriptor socket = commutil::interfaceSocket();
  if (!socket) return;
  std::array<ifreq, kMaxRecords> records{};
  const std::size_t count = commutil::listInterfaces(socket, records.data(), records.size());
  for (std::size_t i = count; i-- > 0;) {
    if (::ioctl(socket.get(), SIOCGIFHWADDR, &records[i]) < 0) continue;
    std::array<unsigned char, 6> bytes{};
    std::memcpy(bytes.data(), records[i].ifr_hwaddr.sa_data, bytes.size());
    work = bytes.data();
    if (!(zero == std::as_const(work))) appendOnce(addresses, work);
  }
}

void GetMac(const std::string& line, std::string& name) {
  const std::size_t colon = line.rfind(':');
  if (colon == std::string::npos) return;
  name = line.substr(0, colon);
}

int GetEther(std::string line, Vexacommon::LocalMACAddress* mac) {
  constexpr std::string_view kWord = "ether";
  const std::size_t word = line.find(kWord);
  // Also skips the space after the word; a line that ends with the word has nothing left.
  if (word != std::string::npos) line.erase(0, word + kWord.size() + 1);
  return parseBytes(line, mac);
}

int GetZirelEther(const std::string& line, Vexacommon::LocalMACAddress* mac) {
  std::list<std::string> fields;
  VexaCommonUtils::split(line, " ", fields);
  const auto word = std::find(fields.begin(), fields.end(), "ether");
  if (word == fields.end() || std::next(word) == fields.end()) return -1;
  return parseBytes(*std::next(word), mac);
}
