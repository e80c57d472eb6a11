#pragma once

#include <string>

#include "os/lazy_value.h"

// The values that this directory caches, computed without the cache.

namespace commutil {

/// Returns the trace directory; cacheable only if the settings file could be read.
Answer<std::string> findTraceDirectory();

/// Returns the type of the configured database, or the default, which is not cacheable.
Answer<std::string> findDatabaseType();

enum class TsMode { unknown, on, off };

/// Returns the mode in the platform's TS settings; unknown if they cannot be read.
TsMode readTsMode();

/// Generates the SSL option file `target` from the template `source`. Returns whether it could;
/// throws std::out_of_range if the template has no place for an option.
bool generateSslConf(const std::string& source, const std::string& target);

}  // namespace commutil
