#pragma once

#include <string>
#include <string_view>

namespace commutil_fuzz {

/// The one folder that a target writes to: made below TMPDIR, removed when the process exits.
class Scratch {
 public:
  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::string& path() const { return m_path; }
  /// The path of `name` below the folder.
  std::string operator/(std::string_view name) const;
  /// Makes the folder `name` and those above it.
  void makeFolder(std::string_view name) const;
  /// Writes a file, whose folder exists, and returns its path.
  std::string write(std::string_view name, std::string_view content) const;

 private:
  std::string m_path;
};

/// The bytes of a file that must be readable.
std::string contentOf(const std::string& path);

/// Sets a variable of the environment for the rest of the process.
void setVariable(const char* name, const std::string& value);

}  // namespace commutil_fuzz
