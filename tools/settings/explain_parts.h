#pragma once

#include <string>

#include "settings/catalog.h"
#include "settings/explanation.h"

// What several explanations need.

namespace settings {

/// Returns the item of `kind` among the sources of `answer`.
inline const Item& itemOf(const Answer& answer, Kind kind) {
  for (const SourceRef& source : answer.sources)
    if (source.kind == kind) return *findItem(source);
  static const Item none{};
  return none;
}

/// Whether the source has a value that the library takes.
inline bool hasValue(const SourceState& source) { return !source.value.value_or("").empty(); }

/// Whether it is not known what the library reads from the file.
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
