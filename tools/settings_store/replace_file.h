#pragma once

#include <string>
#include <string_view>

namespace settings {

/// Returns the path that `path` leads to through links in its last component, a dangling one too.
/// @throws std::runtime_error for a loop
std::string resolveLinks(std::string path);

/// Replaces the file at `path`, which is not a link, by rename. Mode and owner are kept; a new file
/// has mode 0644. Both the file and its directory are on disk afterwards. For one writer at a time.
/// @throws std::runtime_error; the file is then unchanged
void replaceFile(const std::string& path, std::string_view text);

}  // namespace settings
