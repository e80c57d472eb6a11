#pragma once

#include <string.h>

#include <algorithm>
#include <list>
#include <string>
#include <vector>

// Models of the string utilities: the documented steps, for comparison.

namespace commutil_test {

inline std::list<std::string> modelSplit(const std::string& s, const std::string& delims) {
  std::list<std::string> out;
  std::size_t start = s.find_first_not_of(delims, 0);
  while (start != std::string::npos) {
    const std::size_t found = std::min(s.find(delims, start), s.size());
    out.push_back(s.substr(start, found - start));
    start = s.find_first_not_of(delims, found + 1);
  }
  return out;
}

inline std::vector<std::string> modelSplitAll(const std::string& s, const std::string& delims) {
  std::string copy = s.substr(0, s.find('\0')).substr(0, 1024);
  std::vector<std::string> out;
  char* save = nullptr;
  for (char* token = ::strtok_r(copy.data(), delims.c_str(), &save); token != nullptr;
       token = ::strtok_r(nullptr, delims.c_str(), &save)) {
    out.emplace_back(token);
  }
  return out;
}

inline std::string modelReplace(std::string s, const std::string& from, const std::string& to) {
  if (from.empty()) return s;
  for (std::size_t at = 0; (at = s.find(from, at)) != std::string::npos; at += to.size()) {
    s.replace(at, from.size(), to);
  }
  return s;
}

inline std::string modelTrim(const std::string& s, const std::string& chars) {
  const std::size_t begin = s.find_first_not_of(chars);
  if (begin == std::string::npos) return "";
  return s.substr(begin, s.find_last_not_of(chars) - begin + 1);
}

}  // namespace commutil_test
