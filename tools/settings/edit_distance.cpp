// Finds the name that a mistyped one is probably meant to be.
#include "settings/edit_distance.h"

#include <algorithm>

namespace settings {
namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool isSame(char a, char b) { return lower(a) == lower(b); }

/// Allows one edit for every three characters, at least one.
std::size_t tolerance(std::string_view name) { return std::max<std::size_t>(1, name.size() / 3); }

}  // namespace

std::size_t editDistance(std::string_view a, std::string_view b) {
  const std::size_t width = b.size() + 1;
  std::vector<std::size_t> cells((a.size() + 1) * width);
  const auto cell = [&](std::size_t i, std::size_t j) -> std::size_t& {
    return cells[i * width + j];
  };
  for (std::size_t i = 0; i <= a.size(); ++i) cell(i, 0) = i;
  for (std::size_t j = 0; j <= b.size(); ++j) cell(0, j) = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t change = isSame(a[i - 1], b[j - 1]) ? 0 : 1;
      std::size_t& best = cell(i, j);
      best = std::min({cell(i - 1, j) + 1, cell(i, j - 1) + 1, cell(i - 1, j - 1) + change});
      const bool swapped =
          i > 1 && j > 1 && isSame(a[i - 1], b[j - 2]) && isSame(a[i - 2], b[j - 1]);
      if (swapped) best = std::min(best, cell(i - 2, j - 2) + 1);
    }
  }
  return cell(a.size(), b.size());
}

std::string_view nearest(std::string_view name, const std::vector<std::string_view>& names) {
  constexpr std::size_t kLongest = 256;  // the cost is the product of the lengths
  std::string_view best;
  if (name.empty() || name.size() > kLongest) return best;
  std::size_t least = tolerance(name) + 1;
  for (const std::string_view candidate : names) {
    if (candidate.size() > kLongest) continue;
    const std::size_t distance = editDistance(name, candidate);
    if (distance < least) {
      least = distance;
      best = candidate;
    }
  }
  return best;
}

}  // namespace settings
