#pragma once

#include <string>

namespace settings {

/// Returns the document of the settings in `bytes` if they are a snapshot, else `bytes`.
/// @throws MalformedDocument  for a snapshot that cannot be used
std::string asDocument(std::string bytes);

}  // namespace settings
