#pragma once

namespace commutil {

/// Paths from other systems are split at backslashes too.
inline bool isSeparator(char c) { return c == '/' || c == '\\'; }

}  // namespace commutil
