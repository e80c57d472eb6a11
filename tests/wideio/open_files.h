#pragma once

#include <fcntl.h>

#include <filesystem>
#include <string>
#include <vector>

/// Returns the flags (fcntl(2), F_GETFL) of each descriptor of this process on the file `path`.
inline std::vector<int> openFlags(const std::string& path) {
  std::vector<int> flags;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (std::filesystem::read_symlink(entry.path(), gone) != path) continue;
    flags.push_back(::fcntl(std::stoi(entry.path().filename()), F_GETFL));
  }
  return flags;
}
