#pragma once

#include <string>
#include <string_view>

#include "settings/catalog.h"

namespace settings {

/// Returns `text` in double quotes.
inline std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

/// Returns what is accepted with each word in quotes: "\"enable\" or \"disable\"".
std::string quotedWords(const Accepted& accepted);

}  // namespace settings
