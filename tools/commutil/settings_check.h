#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <vector>

#include "settings_store/document_text.h"
#include "tool.h"

// A settings document against the catalog.

/// What is wrong with a setting.
struct SettingProblem {
  std::string key;
  std::optional<std::string> value;  ///< nothing for an array or null
  settings::Place place;             ///< in the document
  std::string problem;               ///< "takes enable or disable"
  std::string suggestion;  ///< the value or key that may have been meant, "" if none is near

  /// Returns the place, the setting and the problem with the suggestion.
  std::string message() const;
};

/// Returns `value` in quotes, without control characters, or "(not set)".
std::string quotedValue(const std::optional<std::string>& value);

/// Returns what is wrong with the settings of a document, in its order.
std::vector<SettingProblem> checkDocument(const settings::DocumentText& document);

/// Reads the settings document at `path`, "-" for standard input.
/// @throws std::runtime_error
settings::DocumentText readDocument(const std::string& path);

/// The operand that names such a document.
Argument documentOperand(std::string& path);
