#pragma once

#include <string>
#include <string_view>

#include "settings/catalog.h"

// Which values an item accepts. Compares strings only and touches no file.

namespace settings {

/// The catalog's verdict on a value.
struct Verdict {
  enum class Result {
    accepted,
    refused,     ///< the item does not accept the value
    unknownKey,  ///< the catalog has no such key
  };
  Result result = Result::accepted;
  std::string reason;      ///< "takes enable or disable"; "" if accepted
  std::string suggestion;  ///< the value or key that was probably meant, "" if none is near

  bool accepted() const { return result == Result::accepted; }

  /// Returns "takes enable or disable; did you mean enable?"; "" if accepted.
  std::string message() const;
};

/// Checks `value` against what `accepted` allows.
Verdict checkValue(const Accepted& accepted, std::string_view value);

/// Checks `value` as the value of the store key `key`, any branch: its tree and parameter must be
/// in the catalog.
Verdict checkStoreValue(std::string_view key, std::string_view value);

/// Returns what is accepted, as a phrase: "enable or disable", "an absolute path of a directory".
std::string describe(const Accepted& accepted);

}  // namespace settings
