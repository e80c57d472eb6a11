#pragma once

#include <json/value.h>
#include <sys/types.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "support/fixtures.h"

namespace commutil_test {

/// The environment of a run: a value, or nothing for an unset variable.
using Environment = std::map<std::string, std::optional<std::string>>;

/// The outcome of a process. `code` is its exit code, or minus the signal that killed it.
struct ProcessResult {
  int code;
  std::string out;
  std::string err;

  /// Returns the standard output as JSON; fails the test if it is malformed.
  Json::Value json() const;
};

/// Runs a program to its end, with `environment` applied to this process's environment.
ProcessResult runProcess(const std::vector<std::string>& words, const Environment& environment,
                         const std::string& input = "");

/// A program on a new pseudo-terminal.
class TerminalRun {
 public:
  TerminalRun(const std::vector<std::string>& words, const Environment& environment);
  ~TerminalRun();
  TerminalRun(const TerminalRun&) = delete;
  TerminalRun& operator=(const TerminalRun&) = delete;

  /// Waits until the program has written `text`; fails the test if it ends before.
  void waitFor(const std::string& text);

  /// Waits for the end. `out` is the whole output.
  ProcessResult finish();

 private:
  bool readPiece();

  int m_terminal = -1;
  pid_t m_child = -1;
  std::string m_output;
};

/// Runs a program and kills it before the `count`th of its system calls among `calls`. Returns
/// whether it was killed; with fewer calls it ends normally.
bool runUntilCall(const std::vector<std::string>& words, const Environment& environment,
                  const std::set<long>& calls, int count);

/// A copy of the sample deployment, in which the operator's command runs.
class Deployment {
  TempDir m_dir;  // first: the environment names it

 public:
  Deployment();

  /// Runs `commutil` with `words`; the contract's variables name the deployment.
  ProcessResult run(const std::vector<std::string>& words, const std::string& input = "") const;

  /// The same, with standard output to the file at `path`.
  ProcessResult runInto(const std::string& path, const std::vector<std::string>& words) const;

  /// Returns the path of the operator's command.
  static std::string tool();

  /// Returns the path of `name` below the deployment.
  std::string operator/(const std::string& name) const { return m_dir / name; }
  /// Writes a file below the deployment; returns its path.
  std::string write(const std::string& name, const std::string& content) const {
    return m_dir.write(name, content);
  }

  /// The contract's variables, which a test may change for the next runs.
  Environment environment;
};

/// Runs the demo on the tested build.
ProcessResult runDemo(const Environment& environment);

}  // namespace commutil_test
