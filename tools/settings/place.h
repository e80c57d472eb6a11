#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace settings {

/// A position in a text: lines and columns count from 1, columns in bytes.
struct Place {
  std::size_t line = 0;
  std::size_t column = 0;
};

/// Returns the position of the byte at `offset` of `text`. Lines end in LF, CR or CRLF.
Place placeOf(std::string_view text, std::size_t offset);

/// Something wrong or suspicious in a text.
struct Finding {
  Place place;
  std::string message;  ///< without the place and without a final period
};

}  // namespace settings
