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

/// The environment of a run: a value, or nothing for a variable that is not set.
using Environment = std::map<std::string, std::optional<std::string>>;

/// What a process left behind. `code` is its exit code, minus the signal that killed it.
struct ProcessResult {
  int code;
  std::string out;
  std::string err;

  /// Standard output as JSON; fails the test when it is none.
  Json::Value json() const;
};

/// Runs a program to its end with this process's environment changed by `environment`.
ProcessResult runProcess(const std::vector<std::string>& words, const Environment& environment,
                         const std::string& input = "");

/// A program on a pseudo-terminal of its own.
class TerminalRun {
 public:
  TerminalRun(const std::vector<std::string>& words, const Environment& environment);
  ~TerminalRun();
  TerminalRun(const TerminalRun&) = delete;
  TerminalRun& operator=(const TerminalRun&) = delete;

  /// Waits until the program has written `text`; fails the test if it ends before.
  void waitFor(const std::string& text);

  /// Waits for the end. `out` is all that was written.
  ProcessResult finish();

 private:
  bool readPiece();

  int m_terminal = -1;
  pid_t m_child = -1;
  std::string m_output;
};

/// Runs a program and kills it when it is about to make the `count`th of its system calls that are
/// among `calls`. Returns whether it was killed; it ends by itself if it makes fewer.
bool runUntilCall(const std::vector<std::string>& words, const Environment& environment,
                  const std::set<long>& calls, int count);

/// A copy of the sample deployment, with the operator's command run in it.
class Deployment {
  TempDir m_dir;  // first: the environment is made of it

 public:
  Deployment();

  /// Runs `commutil` with `words`; the variables of the contract name the deployment.
  ProcessResult run(const std::vector<std::string>& words, const std::string& input = "") const;

  /// The same with standard output going to the file at `path`.
  ProcessResult runInto(const std::string& path, const std::vector<std::string>& words) const;

  /// The path of the operator's command.
  static std::string tool();

  /// The path of `name` below the deployment.
  std::string operator/(const std::string& name) const { return m_dir / name; }
  /// Writes a file below the deployment; returns its path.
  std::string write(const std::string& name, const std::string& content) const {
    return m_dir.write(name, content);
  }

  /// The contract's variables, to be changed for the next runs.
  Environment environment;
};

/// Runs the demo on the build that is under test.
ProcessResult runDemo(const Environment& environment);

}  // namespace commutil_test
