#pragma once

#include <string>

namespace commutil {

/// Reads all of the file at `path` into `text`. Returns whether it could be opened and read to its
/// end; a directory cannot. `text` is unchanged on failure.
/// @throws std::bad_alloc  out of memory
bool readFileText(const std::string& path, std::string& text);

}  // namespace commutil
