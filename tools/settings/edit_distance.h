#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace settings {

/// Returns how many insertions, deletions, substitutions and swaps of neighbors turn `a` into `b`.
/// Letters that differ only in case count as equal.
std::size_t editDistance(std::string_view a, std::string_view b);

/// Returns the nearest of `names` if `name` is probably a misspelling of it, else "".
std::string_view nearest(std::string_view name, const std::vector<std::string_view>& names);

}  // namespace settings
