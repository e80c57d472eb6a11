#pragma once

#include <vector>

#include "settings_store/target.h"

namespace settings {

/// Returns `values` with `changes` made in their order.
Values changed(Values values, const std::vector<Change>& changes);

/// Returns what `changes` did where they did something, in the order of the keys.
std::vector<Effect> effectsOf(const std::vector<Change>& changes, const Values& before,
                              const Values& after);

}  // namespace settings
