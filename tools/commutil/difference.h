#pragma once

#include <string>
#include <string_view>

/// Returns the unified difference of two texts, without a heading, as one hunk from the first line
/// that differs to the last; "" if they are equal.
std::string difference(std::string_view before, std::string_view after);
