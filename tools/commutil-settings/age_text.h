#pragma once

#include <chrono>
#include <string>

namespace agent {

/// Returns "7 s", "12 min" or "3 h".
inline std::string ageText(std::chrono::milliseconds age) {
  using std::chrono::duration_cast;
  const auto seconds = duration_cast<std::chrono::seconds>(age).count();
  if (seconds < 120) return std::to_string(seconds) + " s";
  if (seconds < 7200) return std::to_string(seconds / 60) + " min";
  return std::to_string(seconds / 3600) + " h";
}

}  // namespace agent
