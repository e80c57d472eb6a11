#pragma once

#include <string>

/// Returns the names of the replacements that were called since the last call.
std::string takeCalls();
