// Uses an operation of each replaceable part, and prints which replacements were called.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>
#include <VexaNetUtils.h>
#include <VexaWideIO.h>

#include <iostream>

#include "stand_in.h"

namespace {

template <class Result>
void print(const char* operation, const Result& result) {
  std::cout << operation << " " << result << ":" << takeCalls() << '\n';
}

}  // namespace

int main() {
  takeCalls();
  print("isListenAllIp", VexaCommonUtils::isListenAllIp());
  print("checkUnSafeStr", VexaCommonUtils_i::checkUnSafeStr("an unsafe word"));
  print("getDBType", VexaCommonUtils::getDBType());

  char number[22];
  print("ultoa", VexaCommonUtils::ultoa(7, number));
  std::vector<std::string> words;
  print("splitAll", VexaCommonUtils::splitAll("two words", " ", words));
  char address[64] = "[fe80::1]:80";
  TrimStringIp(address, sizeof(address));
  print("TrimStringIp", address);
  wchar_t wide[4096];
  Vexaswprintf(wide, L"%d", 8);
  print("Vexaswprintf", wide[0] == L'8');
}
