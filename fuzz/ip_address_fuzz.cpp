// Compares operations on IP addresses with plain models: the three checks of dotted IPv4, the full
// form of IPv6, removal of ports and prefix lengths, conversions to socket addresses and back.
#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <list>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "support/expect.h"
#include "support/input.h"
#include "text/strings_model.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;
using commutil_fuzz::upToNul;
using commutil_test::modelSplit;

bool isDigits(const std::string& text) { return text.find_first_not_of("0123456789") == text.npos; }

bool modelIsValidIp(const std::string& ip) {
  if (ip.size() < 3 || ip.size() > 15 || std::count(ip.begin(), ip.end(), '.') != 3) return false;
  const std::list<std::string> fields = modelSplit(ip, ".");
  return fields.size() == 4 && std::all_of(fields.begin(), fields.end(), [](const auto& field) {
           return isDigits(field) && std::strtol(field.c_str(), nullptr, 10) <= 255;
         });
}

bool modelCheckIp(const std::string& ip) {
  const std::list<std::string> fields =
      modelSplit(commutil_test::modelTrim(upToNul(ip), " \t\r\n"), ".");
  return fields.size() == 4 && std::all_of(fields.begin(), fields.end(), isDigits);
}

/// Fills `octets` with the fields before the first invalid one.
int modelValidate(const std::string& ip, std::vector<unsigned char>& octets) {
  if (ip.find('.') == ip.npos) return -1;
  for (std::size_t begin = 0; begin <= ip.size();) {
    const std::size_t end = std::min(ip.find('.', begin), ip.size());
    const std::string field = ip.substr(begin, end - begin);
    if (field.empty() || !isDigits(field)) return -1;
    const auto value = static_cast<unsigned>(std::strtol(field.c_str(), nullptr, 10));
    if (value > 255) return -1;
    octets.push_back(static_cast<unsigned char>(value));
    begin = end + 1;
  }
  return octets.size() == 4 ? 0 : -1;
}

std::string modelFullName(const std::string& ip) {
  const std::size_t gap = ip.find("::");
  if (gap == ip.npos || ip.find('.') != ip.npos) return ip;
  std::string head = ip.substr(0, gap);
  std::string tail = ip.substr(gap + 1);
  std::string filler;
  for (auto colons = std::count(ip.begin(), ip.end(), ':'); colons < 8; ++colons) filler += ":0";
  if (head.empty()) head = "0";
  if (tail == ":") tail = ":0";
  return head + filler + tail;
}

std::string modelBareAddress(const std::string& text) {
  const std::size_t open = text.find('[');
  const std::size_t close = text.find(']');
  if (open != text.npos && close != text.npos && close < open)
    return modelFullName(text.substr(open + 1));
  if (open != text.npos && close != text.npos)
    return modelFullName(text.substr(open + 1, close - open - 1));
  if (open != text.npos || text.find('.') == text.npos) return modelFullName(text);
  return text.substr(0, text.find(':'));
}

void checkDotted(const std::string& ip) {
  expectEqual(VexaCommonUtils::isValidIP(ip), modelIsValidIp(ip), "isValidIP");
  expectEqual(CheckIp(ip.c_str()), modelCheckIp(ip), "CheckIp");
  std::vector<unsigned char> octets{9, 9};
  std::vector<unsigned char> expected;
  expectEqual(VexaCommonUtils_i::validateIPv4(ip, octets), modelValidate(ip, expected),
              "validateIPv4");
  expectEqual(octets, expected, "the octets of validateIPv4");
  if (VexaCommonUtils::isValidIP(ip)) expect(octets.size() == 4, "what isValidIP accepts parses");
}

void checkForm(const std::string& ip) {
  std::string form = ip;
  const int family = VexaCommonUtils_i::formatStringIP(form);
  std::vector<unsigned char> octets;
  in6_addr before{};
  const bool isV4 = modelValidate(ip, octets) == 0;
  const bool isV6 = !isV4 && ::inet_pton(AF_INET6, ip.c_str(), &before) == 1;
  expectEqual(family, isV4 ? AF_INET : isV6 ? AF_INET6 : 0, "the family of formatStringIP");
  if (!isV6) {
    expectEqual(form, ip, "formatStringIP changes only IPv6");
    return;
  }
  in6_addr after{};
  expect(::inet_pton(AF_INET6, form.c_str(), &after) == 1, "the form is an address");
  expect(std::memcmp(&before, &after, sizeof(before)) == 0, "the form is the same address");
  expect(form.find('.') != form.npos || std::count(form.begin(), form.end(), ':') == 7,
         "the form has eight groups");
  std::string again = form;
  expectEqual(VexaCommonUtils_i::formatStringIP(again), AF_INET6, "the form's family");
  expectEqual(again, form, "the form is the only one");
}

void checkCutting(const std::string& text, int size) {
  std::string full = text;
  FullNameIp(full);
  expectEqual(full, modelFullName(text), "FullNameIp");

  std::string address = "before";
  GetInet6Address(text, address);
  expectEqual(address, text.empty() ? "before" : text.substr(0, text.find('/')), "GetInet6Address");

  const std::string cText = upToNul(text);
  const auto room = static_cast<std::size_t>(std::max(size, 0));
  std::vector<char> buf(std::max(room, cText.size() + 1), '#');
  std::copy(cText.c_str(), cText.c_str() + cText.size() + 1, buf.begin());
  std::vector<char> expected = buf;
  const std::string bare = modelBareAddress(cText);
  const bool fits = size > 0 && bare.size() <= room;
  std::fill_n(expected.begin(), room, '\0');
  if (fits) std::copy(bare.begin(), bare.end(), expected.begin());
  expectEqual(TrimStringIp(buf.data(), size), fits ? 0 : -1, "TrimStringIp");
  expectEqual(buf, expected, "the array of TrimStringIp");
}

void checkSocketAddress(const std::string& text, int family) {
  using Record = std::array<unsigned char, sizeof(sockaddr_in6)>;
  Record record;
  record.fill(0xA5);
  Record expected = record;
  const std::size_t field = family == AF_INET ? 4 : 8;
  const bool known = family == AF_INET || family == AF_INET6;
  const int parsed = known ? ::inet_pton(family, text.c_str(), expected.data() + field) : -1;
  if (parsed != 1) expected = record;
  expectEqual(VexaCommonUtils_i::stringIPToAddress(family, text.c_str(), record.data(), 1), parsed,
              "stringIPToAddress");
  expectEqual(record, expected, "stringIPToAddress writes only the address");

  std::array<char, 48> printed{};
  const int result = VexaCommonUtils_i::addressToStringIP(family, record.data(), 0, printed.data(),
                                                          static_cast<int>(printed.size()));
  expectEqual(result, known ? 0 : -1, "addressToStringIP");
  if (parsed != 1) return;
  Record again = record;
  expectEqual(VexaCommonUtils_i::stringIPToAddress(family, printed.data(), again.data(), 1), 1,
              "what was printed is an address");
  expectEqual(again, record, "what was printed is the same address");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  constexpr std::array<int, 4> kFamilies{AF_INET, AF_INET6, AF_UNSPEC, AF_UNIX};
  const int family = kFamilies[input.choice(kFamilies.size())];
  const int size = static_cast<int>(input.choice(200)) - 1;
  const std::string text = input.rest();
  checkDotted(text);
  checkForm(text);
  checkCutting(text, size);
  checkSocketAddress(text, family);
}
