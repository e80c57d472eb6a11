#pragma once

#include <string>
#include <string_view>

#include "settings/file_state.h"

// Color on a terminal only, unless NO_COLOR is set.

/// Returns `text` in the color of `severity`, or unchanged if standard output is not colored.
std::string colored(settings::Severity severity, std::string_view text);

/// Returns "ok", "warning" or "error".
std::string_view wordFor(settings::Severity severity);
