#include "duration.h"

#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <system_error>
#include <utility>

std::chrono::milliseconds parseDuration(std::string_view text) {
  using Duration = std::chrono::milliseconds;
  static constexpr std::pair<std::string_view, std::int64_t> kUnits[] = {
      {"ms", 1}, {"s", 1000}, {"m", 60'000}, {"h", 3'600'000}};
  constexpr std::int64_t kMost = 1'000'000'000;
  std::int64_t number = -1;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  const std::string_view unit(rest, static_cast<std::size_t>(end - rest));
  if (error == std::errc() && number == 0 && unit.empty()) return Duration(0);
  for (const auto& [name, factor] : kUnits) {
    const bool fits = number >= 0 && number <= kMost / factor;
    if (error == std::errc() && unit == name && fits) return Duration(number * factor);
  }
  throw std::runtime_error("takes a duration such as 100ms, 2s, 15m or 24h");
}

std::string durationProblem(const std::string& text) {
  try {
    parseDuration(text);
    return {};
  } catch (const std::runtime_error& error) {
    return "\"" + text + "\": " + error.what();
  }
}
