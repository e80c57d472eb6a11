#pragma once

#include <string>

#include "os/lazy_value.h"

// What this directory computes once and keeps, without the keeping.

namespace commutil {

/// The trace directory; kept only if the settings file could be read.
Answer<std::string> findTraceDirectory();

/// The type of the configured database, or the default, which is not kept.
Answer<std::string> findDatabaseType();

enum class TsMode { unknown, on, off };

/// The mode in the platform's TS settings; unknown if they cannot be read.
TsMode readTsMode();

/// Writes the SSL option file made of the template `source` to `target`. Returns whether it could;
/// throws std::out_of_range if the template has no place for an option.
bool generateSslConf(const std::string& source, const std::string& target);

}  // namespace commutil
