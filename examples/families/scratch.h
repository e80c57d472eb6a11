#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

/// A new directory below the system's temporary directory. The destructor removes it with its
/// contents.
class Scratch {
 public:
  Scratch() : m_path(std::filesystem::temp_directory_path() / "commutil-XXXXXX") {
    if (::mkdtemp(m_path.data()) != nullptr) return;
    std::perror(m_path.c_str());
    std::exit(1);
  }
  ~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::string& path() const { return m_path; }

  /// Creates the directory `name` in here and sets the environment variable `variable` to it.
  void name(const char* variable, const std::string& name) const {
    std::filesystem::create_directories(m_path + "/" + name);
    ::setenv(variable, (m_path + "/" + name).c_str(), 1);
  }

  /// Writes the file `name` and creates its directories. Returns its path.
  std::string write(const std::string& name, const std::string& text) const {
    const std::filesystem::path file = m_path + "/" + name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << text;
    return file;
  }

  /// Returns `text` with this directory's path replaced by "SCRATCH", the same in every run.
  std::string show(std::string text) const {
    for (std::size_t at = text.find(m_path); at != text.npos; at = text.find(m_path)) {
      text.replace(at, m_path.size(), "SCRATCH");
    }
    return text;
  }

 private:
  std::string m_path;
};
