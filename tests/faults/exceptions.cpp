#include "faults/exceptions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

namespace commutil_faults {
namespace {

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

std::vector<std::string> fieldsOf(const std::string& line) {
  std::vector<std::string> fields;
  for (std::size_t at = 0; at <= line.size();) {
    const std::size_t end = std::min(line.find('|', at), line.size());
    fields.push_back(trimmed(line.substr(at, end - at)));
    at = end + 1;
  }
  return fields;
}

}  // namespace

std::vector<Exception> readExceptions(const std::string& path) {
  std::vector<Exception> exceptions;
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.front() == '#') continue;
    const std::vector<std::string> fields = fieldsOf(line);
    const bool complete =
        fields.size() == 5 && std::none_of(fields.begin(), fields.end(),
                                           [](const std::string& field) { return field.empty(); });
    EXPECT_TRUE(complete) << path << ": " << line;
    if (complete) exceptions.push_back({fields[0], fields[1], fields[2], fields[3], fields[4]});
  }
  return exceptions;
}

}  // namespace commutil_faults
