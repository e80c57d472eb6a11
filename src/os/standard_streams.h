#pragma once

#include <string_view>

// Messages to the standard streams, in order with what the process prints there through std::cout,
// std::cerr or stdio. Neither a field width nor an earlier failed write nor an exception mask that
// a caller left on the stream reaches them. A write that fails is not reported, nor is an exception
// of a caller's stream buffer.

namespace commutil {

/// Writes `text` and a line end to standard output and flushes it.
void printLine(std::string_view text);

/// Writes `text` and a line end to standard error and flushes it.
void printErrorLine(std::string_view text);

}  // namespace commutil
