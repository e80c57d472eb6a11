#pragma once

#include <functional>

#include "view.h"

/// Runs `show` as the process `*options.pid` sees the host: with its user, groups, working
/// directory and the environment that it was started with. Where its root directory is this
/// process's, the command is started anew in that environment, so that the dynamic linker sees it
/// too.
int inViewOfProcess(const ViewOptions& options, const std::function<int(const View&)>& show);
