#pragma once

#include <string_view>

namespace agent {

enum class Level { error, warning, info };

/// Writes one line to standard error, with the level that the journal understands if standard error
/// leads there. Control characters are replaced.
void say(Level level, std::string_view text);

}  // namespace agent
