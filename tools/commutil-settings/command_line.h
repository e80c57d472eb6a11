#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace agent {

/// What the operator has typed.
struct CommandLine {
  std::string command;  ///< "sync", "status" and so on; "" if there is nothing more to do
  int exitCode = 0;     ///< of the parser, if `command` is ""
  std::string configuration;
  bool json = false;
  bool force = false;
  bool dryRun = false;
  bool once = false;
  bool allowEmpty = false;
  bool prune = false;
  bool yes = false;
  std::string maxAge;
  std::int64_t revision = 0;
  double timeout = 30;  ///< s
  std::optional<std::string> app;
  std::string name;
  std::string value;
};

/// Parses the command line. Prints help, the version and what is wrong.
CommandLine parseCommandLine(int argc, char** argv);

}  // namespace agent
