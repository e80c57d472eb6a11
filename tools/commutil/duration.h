#pragma once

#include <chrono>
#include <string>
#include <string_view>

/// Parses "100ms", "2s", "15m", "24h" or "0".
/// @throws std::runtime_error that says what a duration is
std::chrono::milliseconds parseDuration(std::string_view text);

/// Returns why `text` is not a duration, "" if it is one.
std::string durationProblem(const std::string& text);
