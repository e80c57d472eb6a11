#pragma once

#include <string>

namespace commutil_test {

/// Returns everything that an operation could change at `path` itself: kind, inode, mode, owner,
/// time of modification, a file's content, a link's target; "" if nothing is there.
std::string stateOf(const std::string& path);

}  // namespace commutil_test
