#pragma once

#include <string>
#include <string_view>

/// Returns the unified difference of two texts, without a heading, as one hunk from the first to
/// the last line that differs; "" if they are equal.
std::string difference(std::string_view before, std::string_view after);
