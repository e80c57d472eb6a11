// Compares the parsers of ifconfig lines and the value class with plain models.
#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "VexaNetUtils.h"
#include "models/tool_models.h"
#include "support/expect.h"
#include "support/input.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;
using commutil_fuzz::MacBytes;
using Vexacommon::LocalMACAddress;

constexpr MacBytes kUnwritten{9, 8, 7, 6, 5, 4};

LocalMACAddress unwritten() {
  LocalMACAddress record{};
  std::copy(kUnwritten.begin(), kUnwritten.end(), record.mac);
  return record;
}

void expectParsed(int result, const LocalMACAddress& record, const std::optional<MacBytes>& bytes,
                  const char* operation) {
  expectEqual(result, bytes ? 0 : -1, operation);
  const MacBytes expected = bytes.value_or(kUnwritten);
  expect(std::equal(expected.begin(), expected.end(), record.mac), operation);
}

void checkValue(const std::string& text) {
  std::array<unsigned char, 6> bytes{};
  std::memcpy(bytes.data(), text.data(), std::min(text.size(), bytes.size()));
  CMACAddress address;
  address = bytes.data();
  std::array<char, 19> expected{};
  std::snprintf(expected.data(), expected.size(), "%02X:%02X:%02X:%02X:%02X:%02X", bytes[0],
                bytes[1], bytes[2], bytes[3], bytes[4], bytes[5]);
  expectEqual(std::string(address.text), std::string(expected.data()), "the text of an address");
  expect(std::equal(bytes.begin(), bytes.end(), address.bytes), "the bytes of an address");

  CMACAddress lower = address;
  for (char& c : lower.text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  const CMACAddress& same = lower;
  expect(address == same, "addresses are equal ignoring case");
  address = static_cast<const unsigned char*>(nullptr);
  expect(address == same, "a null pointer changes nothing");

  LocalMACAddress read = unwritten();
  expectEqual(GetEther(lower.text, &read), 0, "the text of an address parses");
  expect(std::equal(bytes.begin(), bytes.end(), read.mac), "the text parses to the same address");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::string line = input.rest();

  LocalMACAddress record = unwritten();
  const int ether = GetEther(line, &record);
  expectParsed(ether, record, modelEther(line), "GetEther");

  record = unwritten();
  const int zirelEther = GetZirelEther(line, &record);
  expectParsed(zirelEther, record, modelZirelEther(line), "GetZirelEther");

  std::string name = "before";
  GetMac(line, name);
  const std::size_t colon = line.rfind(':');
  expectEqual(name, colon == line.npos ? "before" : line.substr(0, colon), "GetMac");

  checkValue(line);
}
