#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <vector>

#include "settings_store/document_text.h"
#include "tool.h"

// Checks a settings document against the catalog.

/// A fault of a setting.
struct SettingProblem {
  std::string key;
  std::optional<std::string> value;  ///< nothing for an array or null
  settings::Place place;             ///< in the document
  std::string problem;               ///< "takes enable or disable"
  std::string suggestion;  ///< the value or key that was probably meant, "" if none is near

  /// Returns the place, the setting and the problem with the suggestion.
  std::string message() const;
};

/// Returns `value` in quotes, without control characters, or "(not set)".
std::string quotedValue(const std::optional<std::string>& value);

/// Returns the faults of a document's settings, in its order.
std::vector<SettingProblem> checkDocument(const settings::DocumentText& document);

/// Reads the settings document at `path`, "-" for standard input.
/// @throws std::runtime_error
settings::DocumentText readDocument(const std::string& path);

/// Returns the operand that names such a document.
Argument documentOperand(std::string& path);
