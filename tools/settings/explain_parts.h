#pragma once

#include <string>

#include "settings/catalog.h"
#include "settings/explanation.h"

// Functions that several explanations use.

namespace settings {

/// Returns the item of `kind` among the sources of `answer`.
inline const Item& itemOf(const Answer& answer, Kind kind) {
  for (const SourceRef& source : answer.sources)
    if (source.kind == kind) return *findItem(source);
  static const Item none{};
  return none;
}

/// Returns whether the source has a value that the library uses.
inline bool hasValue(const SourceState& source) { return !source.value.value_or("").empty(); }

/// Returns true if it is unknown what the library reads from the file.
inline bool isUnknown(const FileFacts& file) { return !file.fault.empty() || file.isLarge(); }

inline constexpr std::string_view kUnknown = "unknown: ";

inline bool isUnknown(std::string_view decidedBy) {
  return decidedBy.substr(0, kUnknown.size()) == kUnknown;
}

inline Explanation unknown(Explanation result, const std::string& decidedBy) {
  result.value = Json::Value();
  result.decidedBy = std::string(isUnknown(decidedBy) ? "" : kUnknown) + decidedBy;
  return result;
}

}  // namespace settings
