#pragma once

#include <string>

namespace settingrest {

/// Writes a line about the store to standard error, in one piece and without a stream's lock.
void report(const std::string& message);

}  // namespace settingrest
