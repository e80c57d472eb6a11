#pragma once

#include <string_view>

// Messages to the standard streams, in order with the process's own output through std::cout,
// std::cerr or stdio. A caller's field width, exception mask or earlier failed write does not
// affect them. Neither a failed write nor an exception of a caller's stream buffer is reported.

namespace commutil {

/// Writes `text` and a line end to standard output and flushes it.
void printLine(std::string_view text);

/// Writes `text` and a line end to standard error and flushes it.
void printErrorLine(std::string_view text);

}  // namespace commutil
