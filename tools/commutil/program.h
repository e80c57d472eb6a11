#pragma once

#include <string>

/// Whether a program can be started, by the rules of execvp(3).
struct Program {
  std::string problem;  ///< "" if it can be started
  bool isMissing;       ///< else: it was not found, rather than found and not executable
};

/// Finds `name` in the directories of PATH unless it has a "/"; without `usePath` it is a path.
Program findProgram(const std::string& name, bool usePath);
