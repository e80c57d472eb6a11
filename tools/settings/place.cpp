#include "settings/place.h"

#include <algorithm>

namespace settings {

Place placeOf(std::string_view text, std::size_t offset) {
  Place place{1, 1};
  const std::size_t end = std::min(offset, text.size());
  for (std::size_t i = 0; i < end; ++i) {
    const bool ends = text[i] == '\n' || (text[i] == '\r' && text.substr(i + 1, 1) != "\n");
    if (ends) {
      ++place.line;
      place.column = 1;
    } else {
      ++place.column;
    }
  }
  return place;
}

}  // namespace settings
