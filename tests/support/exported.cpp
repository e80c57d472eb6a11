#include "support/exported.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <utility>

namespace commutil_test {

std::string shortName(std::string demangled, bool overloaded) {
  const std::pair<std::string, std::string> replacements[] = {
      {"[abi:cxx11]", ""},
      {"std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >", "string"},
      {"std::basic_ostream<char, std::char_traits<char> >", "ostream"},
  };
  for (const auto& [pattern, name] : replacements) {
    for (std::size_t at = 0; (at = demangled.find(pattern)) != std::string::npos;)
      demangled.replace(at, pattern.size(), name);
  }
  return overloaded ? demangled : demangled.substr(0, demangled.find('('));
}

std::set<std::string> exportedOperations(const std::string& list) {
  std::map<std::string, std::set<std::string>> signatures;  // by the name without parameters
  std::ifstream file(list);
  EXPECT_TRUE(file) << list;
  for (std::string line; std::getline(file, line);) {
    const std::string demangled = line.substr(line.find("  ") + 2);
    if (demangled.find('(') == std::string::npos || demangled.find("thunk to") != std::string::npos)
      continue;
    signatures[shortName(demangled, false)].insert(shortName(demangled, true));
  }
  std::set<std::string> names;
  for (const auto& [name, all] : signatures) {
    if (all.size() == 1) names.insert(name);
    if (all.size() > 1) names.insert(all.begin(), all.end());
  }
  return names;
}

}  // namespace commutil_test
