#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

// Fixtures that undo at the end of their scope what they changed in the process or file system.

namespace commutil_test {

/// A new directory, removed with its contents.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return m_path; }
  /// Returns the path of `name` below the directory.
  std::string operator/(std::string_view name) const { return (m_path / name).string(); }
  /// Writes a file below the directory and creates its directories; returns its path.
  std::string write(std::string_view name, std::string_view content) const;

 private:
  std::filesystem::path m_path;
};

/// An environment variable set (or unset, with no value) for a scope.
class ScopedEnv {
 public:
  ScopedEnv(std::string name, std::optional<std::string> value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string m_name;
  std::optional<std::string> m_before;
};

/// Captures the output to a descriptor (1 or 2) during a scope. `stop` ends it and returns the
/// output.
class CapturedOutput {
 public:
  explicit CapturedOutput(int fd);
  ~CapturedOutput();
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  std::string stop();

 private:
  int m_fd;
  int m_saved;
  int m_file;
};

/// Sets the file-creation mask for a scope.
class ScopedUmask {
 public:
  explicit ScopedUmask(mode_t mask);
  ~ScopedUmask();
  ScopedUmask(const ScopedUmask&) = delete;
  ScopedUmask& operator=(const ScopedUmask&) = delete;

 private:
  mode_t m_before;
};

void writeFile(const std::string& path, std::string_view content);
std::string readFile(const std::string& path);

/// Returns the permission bits of the file that `path` leads to.
mode_t modeOf(const std::string& path);

/// Returns what `body` writes to the standard output.
std::string outputOf(const std::function<void()>& body);

/// Returns a string of all 256 bytes, in order.
std::string allBytes();

/// Return whether `fd` is a descriptor of this process, and how many there are.
bool isOpen(int fd);
std::size_t openDescriptors();

/// Runs `body` in a forked child, for tests of process-wide state (caches, locale, signals, masks,
/// identity). Expectations inside `body` work as usual; the test fails if one of them fails in the
/// child or the child crashes. Returns the child's wait status.
int runInChild(const std::function<void()>& body);

/// For a child: if the caller is root, becomes a user without root's rights.
void dropRoot();

}  // namespace commutil_test
