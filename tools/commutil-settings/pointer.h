#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace agent {

/// What a relay publishes in the file `current`: one line "revision epoch sha256".
struct Pointer {
  std::int64_t revision = 0;
  std::int64_t epoch = 0;  ///< raised by an operator after the store was restored
  std::string sha256;      ///< of the snapshot, 64 lower-case digits

  bool operator==(const Pointer& other) const = default;

  /// Whether a host that has `other` may take this one whatever its content.
  bool isNewerThan(const Pointer& other) const {
    return epoch != other.epoch ? epoch > other.epoch : revision > other.revision;
  }
};

/// Returns nothing if `text` is not a pointer.
std::optional<Pointer> parsePointer(std::string_view text);

std::string pointerText(const Pointer& pointer);

/// Returns the name of the snapshot of a revision beside `current`.
std::string publishedName(std::int64_t revision);

/// Returns the SHA-256 of `bytes` as 64 lower-case digits.
std::string sha256Of(std::string_view bytes);

}  // namespace agent
