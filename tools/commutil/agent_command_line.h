#pragma once

#include <optional>
#include <string>

#include "arguments.h"

namespace agent {

/// What the operator has typed.
struct CommandLine {
  std::string configuration;
  bool json = false;
  bool force = false;
  bool dryRun = false;
  bool once = false;
  bool allowEmpty = false;
  bool prune = false;
  bool yes = false;
  std::string maxAge;
  long revision = 0;
  double timeout = 30;  ///< s
  std::optional<std::string> app;
  std::string name;
  std::string value;
};

/// Returns the subcommands, whose arguments go to `line`. What they run is left to the caller.
Command describeCommandLine(CommandLine& line);

}  // namespace agent
