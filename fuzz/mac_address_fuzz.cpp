// Compares the parsers of ifconfig lines, the list of addresses and the value class with plain
// models. No tool runs and no interface is read; the input supplies the output.
#include <strings.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "VexaStringUtils.h"
#include "models/tool_models.h"
#include "net/fake_kernel.h"
#include "support/expect.h"
#include "support/fake_shell.h"
#include "support/input.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;
using commutil_fuzz::FakeShell;
using commutil_fuzz::Input;
using commutil_fuzz::MacBytes;
using commutil_fuzz::modelLines;
using Vexacommon::LocalMACAddress;

constexpr const char* kWhitespace = " \t\r\n";

bool isZirelHost = false;

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
    const std::size_t end = line.find_last_not_of(kWhitespace);
    if (end == line.npos) continue;
    const std::size_t gap = line.find_last_of(kWhitespace, end);
    if (gap == line.npos || end - gap <= 16) continue;
    appendOnce(texts, ToUpper(line.substr(gap + 1, end - gap)));
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
    return command.find("/proc/net/bonding/") != command.npos ? bonding : tool;
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

void checkLine(Input& input) {
  const std::string line = input.rest();

  LocalMACAddress record = unwritten();
  const int ether = GetEther(line, &record);
  expectParsed(ether, record, commutil_fuzz::modelEther(line), "GetEther");

  record = unwritten();
  const int zirelEther = GetZirelEther(line, &record);
  expectParsed(zirelEther, record, commutil_fuzz::modelZirelEther(line), "GetZirelEther");

  std::string name = "before";
  GetMac(line, name);
  const std::size_t colon = line.rfind(':');
  expectEqual(name, colon == line.npos ? "before" : line.substr(0, colon), "GetMac");

  checkValue(line);
}

}  // namespace

// Replaces the library's own, which reads a file of the system.
bool VexaCommonUtils_i::isZirel() { return isZirelHost; }

void commutil_fuzz::testInput(Input& input) {
  return input.choice(2) == 0 ? checkLine(input) : checkMacList(input);
}
