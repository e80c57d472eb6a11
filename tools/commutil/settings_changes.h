#pragma once

#include <string>
#include <vector>

#include "settings_store/target.h"
#include "tool.h"

// What settings put, delete and import share.

struct ChangeOptions {
  bool json = false;
  bool force = false;
  bool dryRun = false;
  unsigned wait = 10;  ///< seconds
};

/// Adds --wait and --json.
void addChangeOptions(Command& subcommand, ChangeOptions& options);

/// Makes the changes of `plan` and prints each with the old and the new value, and where.
/// Returns the exit code.
int changeSettings(const settings::Target::Plan& plan, const ChangeOptions& options);
