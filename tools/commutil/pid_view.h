#pragma once

#include <functional>

#include "view.h"

/// Runs `show` as the process `*options.pid` sees the host: with its user, groups, working
/// directory and the environment that it was started with. If it has this process's root directory,
/// the command is executed again in that environment, so that the dynamic linker uses it too.
/// @throws std::runtime_error if there is no view to show
int inViewOfProcess(const ViewOptions& options, const std::function<int(const View&)>& show);

/// The document that a view prints.
struct ShownView {
  int code = 0;  ///< exit code
  Json::Value document;
};

/// The same, but returns the JSON document that `show` prints.
/// @throws std::runtime_error if it prints none
ShownView documentOfProcess(const ViewOptions& options,
                            const std::function<int(const View&)>& show);
