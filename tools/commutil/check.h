#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "collect.h"
#include "settings/explanation.h"

// The checks of `commutil check`, by theme. They use only what was collected.

/// One thing that was checked.
struct Check {
  settings::Severity severity;
  std::string theme;    ///< environment, files, values, store or host
  std::string subject;  ///< a variable, path, key or program
  std::string message;
  std::string remedy;  ///< what to do, "" if nothing
};

/// What the checks examine.
struct CheckInput {
  const Collection& collection;
  const settings::Explainer& explainer;
  std::time_t started;  ///< when the service was started whose view is checked, else 0
};

using Checks = std::vector<Check>;

void checkEnvironment(const CheckInput& input, Checks& checks);
void checkFiles(const CheckInput& input, Checks& checks);
void checkStore(const CheckInput& input, Checks& checks);
void checkHost(const CheckInput& input, Checks& checks);
