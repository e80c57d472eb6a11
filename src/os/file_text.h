#pragma once

#include <string>

namespace commutil {

/// Reads the file at `path` into `text`. Returns false, `text` unchanged, if it cannot be opened
/// and read to its end, or is neither a regular file nor the null device (which reads as an empty
/// file). Does not open a FIFO, socket, directory or device.
/// @throws std::bad_alloc  out of memory
bool readFileText(const std::string& path, std::string& text);

}  // namespace commutil
