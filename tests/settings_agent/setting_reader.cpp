// A service that looks settings up through the library, for the tests of the settings agent. Reads
// one command a line: "get KEY" prints the result and the value in hexadecimal digits, "group KEY"
// the result and the parameters, "listen" and "ssl" what a switch says, "conf" the path of the SSL
// option file. "watch KEY OTHER" looks up two settings until standard input has another line, then
// prints the number of lookups, failures, steps back and pairs that do not belong together.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

namespace {

std::string hex(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 0xF];
  }
  return text;
}

bool hasInput() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  return std::cin.rdbuf()->in_avail() > 0 || ::poll(&input, 1, 0) > 0;
}

long number(const std::string& text) { return std::strtol(text.c_str(), nullptr, 10); }

/// Both settings hold the same rising number: they are changed in one transaction. One lookup of a
/// group sees one snapshot.
void watch(const std::string& group, const std::string& first, const std::string& second) {
  long lookups = 0;
  long failures = 0;
  long falls = 0;
  long halves = 0;
  long last = -1;
  while (!hasInput()) {
    std::map<std::string, std::string> values;
    ++lookups;
    if (VexaCommonUtils_i::getSettingGroupParams(group, values) != 0) {
      ++failures;
      continue;
    }
    const long value = number(values[first]);
    falls += value < last ? 1 : 0;
    halves += values[first] != values[second] ? 1 : 0;
    last = value;
  }
  std::cout << lookups << ' ' << failures << ' ' << falls << ' ' << halves << std::endl;
}

void answer(const std::string& line) {
  std::istringstream words(line);
  std::string command;
  std::string key;
  std::string first;
  std::string second;
  words >> command >> key >> first >> second;
  if (command == "get") {
    std::string value;
    const int result = VexaCommonUtils_i::getSettingParamValue(key, value);
    std::cout << result << ' ' << hex(value) << std::endl;
  } else if (command == "group") {
    std::map<std::string, std::string> values;
    std::cout << VexaCommonUtils_i::getSettingGroupParams(key, values);
    for (const auto& [name, value] : values) std::cout << ' ' << hex(name) << '=' << hex(value);
    std::cout << std::endl;
  } else if (command == "listen") {
    std::cout << VexaCommonUtils::isListenAllIp() << std::endl;
  } else if (command == "ssl") {
    std::cout << VexaCommonUtils::isCorbaSSLOnly() << std::endl;
  } else if (command == "conf") {
    std::cout << VexaCommonUtils_i::get_svc_ssl_conf(key) << std::endl;
  } else if (command == "watch") {
    watch(key, first, second);
  }
}

}  // namespace

int main() {
  for (std::string line; std::getline(std::cin, line);) answer(line);
}
