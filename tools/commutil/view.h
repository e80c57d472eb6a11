#pragma once

#include <json/value.h>

#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "collect.h"
#include "tool.h"

// Whose view explain, check and report show: this process's own, or that of a running service.

/// The options that explain, check and report share.
struct ViewOptions {
  bool json = false;
  int failure = 1;                ///< exit code if there is no view to show
  double timeout = 2;             ///< seconds for each call
  std::optional<int> pid;         ///< the service whose view is shown
  std::string switchedView;       ///< its title, in the process that has become the service's user
  std::time_t switchedStart = 0;  ///< with it, when the service was started
  std::vector<std::string> commandLine;
};

/// Adds --json, --timeout and --pid.
void addViewOptions(const Tool& tool, Command& subcommand, ViewOptions& options);

/// The deadline of a call.
std::chrono::milliseconds timeoutOf(const ViewOptions& options);

struct View {
  settings::Environment environment;
  std::string title;          ///< of a service's view, else ""
  int root = -1;              ///< the service's root directory where it differs from this process's
  std::string storeNotAsked;  ///< why the library is not called and the store not read
  std::time_t started = 0;    ///< when the service was started
};

/// Collects in a view.
Collection collect(const View& view, const ViewOptions& options, Request request);

/// Runs `show`, which returns the exit code, in the view that the options choose.
int inView(const ViewOptions& options, const std::function<int(const View&)>& show);
