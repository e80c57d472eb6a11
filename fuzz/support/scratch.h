#pragma once

#include <string>
#include <string_view>

namespace commutil_fuzz {

/// The only directory that a target writes to: created below TMPDIR, removed when the process
/// exits.
class Scratch {
 public:
  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::string& path() const { return m_path; }
  /// Returns the path of `name` below the directory.
  std::string operator/(std::string_view name) const;
  /// Creates the directory `name` and its parents.
  void makeFolder(std::string_view name) const;
  /// Writes a file in an existing directory and returns its path.
  std::string write(std::string_view name, std::string_view content) const;

 private:
  std::string m_path;
};

/// Returns the bytes of a file that must be readable.
std::string contentOf(const std::string& path);

/// Sets an environment variable until the process ends.
void setVariable(const char* name, const std::string& value);

}  // namespace commutil_fuzz
