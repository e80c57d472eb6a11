// Trims, splits, replaces and formats byte strings.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>
#include <VexaStringUtils.h>

#include <array>
#include <iostream>

int main() {
  // Trims spaces only, or any set of bytes.
  std::string line = "  name = value\r\n";
  std::cout << '[' << VexaCommonUtils::Vexaltrim(line).size() << "] ["
            << VexaCommonUtils_i::VexatrimAll(line, " \t\r\n") << "]\n";

  // `split` has no length limit and appends; `splitAll` reads 1024 bytes and counts all elements of
  // the vector.
  std::list<std::string> fields;
  VexaCommonUtils::split("eth0,,eth1,", ",", fields);
  std::vector<std::string> words{"before"};
  const unsigned long count = VexaCommonUtils::splitAll("a b\tc", " \t", words);
  std::set<std::string> names;
  VexaCommonUtils_i::splitAll("b a b", " ", names);
  std::cout << fields.size() << " fields, " << count << " words, " << names.size() << " names\n";

  std::string path = "C:\\data\\x";
  VexaCommonUtils::stringReplace("\\", "/", path);
  std::cout << path << ' ' << ReplaceChar("50%", '%', "\\%") << ' ' << ToUpper("abz-9") << '\n';

  // The empty string passes these tests: also test for emptiness.
  std::cout << std::boolalpha << VexaCommonUtils_i::Isdigitstr("") << ' '
            << StringIsRight("00:1A:ff") << ' ' << StringIsRight("0x1f") << '\n';

  std::array<char, 22> number{};  // the size that these functions require
  std::cout << VexaCommonUtils::ltoa(-5, number.data()) << ' ' << StrHexToInt("ff") << " \""
            << StrHexToInt("fff") << "\" " << VexaCommonUtils_i::getUpperIntVal(98.01) << '\n';

  std::cout << "label" << VexaCommonUtils::tabs("label") << "value\n";
}
