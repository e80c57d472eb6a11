#pragma once

#include <string>

/// Says whether a program can be started, by the rules of execvp(3).
struct Program {
  std::string problem;  ///< "" if it can be started
  bool isMissing;       ///< if it cannot: it was not found, rather than not executable
};

/// Finds `name` in the directories of PATH unless it has a "/"; without `usePath` it is a path.
Program findProgram(const std::string& name, bool usePath);
