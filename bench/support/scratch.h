#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

namespace commutil_bench {

/// A new directory, removed with its contents by the destructor.
class Scratch {
 public:
  Scratch() {
    std::string name = (std::filesystem::temp_directory_path() / "commutil-bench-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) std::abort();
    m_path = name;
  }
  ~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::filesystem::path& path() const { return m_path; }
  /// Returns the path of `name` below the directory.
  std::string operator/(std::string_view name) const { return (m_path / name).string(); }

 private:
  std::filesystem::path m_path;
};

}  // namespace commutil_bench
