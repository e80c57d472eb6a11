#pragma once

#include <cstddef>
#include <filesystem>
#include <set>
#include <string>

#include "support/fixtures.h"

// What the tests of the file utilities create and read.

namespace commutil_test {

/// Bytes that a shell, a terminal or a parser might treat specially.
inline const std::string kHostileName = "a; $(touch x) `id` \"'\\ %s \n\x01\xff*?";

inline std::string contentOf(const std::string& path) { return readFile(path); }

inline bool existsOrDangles(const std::string& path) {
  return std::filesystem::exists(std::filesystem::symlink_status(path));
}

inline std::string patternOfSize(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 7 + i / 251);
  return text;
}

/// Returns the directory's entries as paths below it.
inline std::set<std::string> treeBelow(const std::filesystem::path& directory) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    names.insert(entry.path().lexically_relative(directory).string());
  }
  return names;
}

}  // namespace commutil_test
