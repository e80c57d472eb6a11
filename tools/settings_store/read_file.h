#pragma once

#include <optional>
#include <string>

namespace settings {

/// Returns the contents of the regular file at `path`; nothing if there is no such file.
/// @throws std::runtime_error if it cannot be read, or is larger than `kLargestText`
std::optional<std::string> readRegularFile(const std::string& path);

}  // namespace settings
