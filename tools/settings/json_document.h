#pragma once

#include <json/reader.h>
#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>

#include "settings/place.h"

namespace settings {

/// The rules by which a text is well-formed.
enum class JsonRules {
  lenient,  ///< the application configuration and the node list: comments are allowed
  strict,   ///< the settings document: an object and nothing else
};

/// JSON text, parsed by the rules of its reader.
class JsonDocument {
 public:
  JsonDocument(std::string_view text, JsonRules rules);

  /// Where and why the text is malformed; nothing if it is well-formed.
  const std::optional<Finding>& fault() const { return m_fault; }

  /// The document; null if it is malformed.
  const Json::Value& root() const { return m_root; }

  /// Where `value`, which belongs to `root()`, begins.
  Place placeOf(const Json::Value& value) const;

  /// What of `object`, which belongs to `root()`, may have been meant to be its member `name`,
  /// which it lacks: "line 2 has \"nodelist\": names are case-sensitive"; "" if nothing is near.
  std::string nearMiss(const Json::Value& object, std::string_view name) const;

  /// The first name that is repeated in one object; the last value applies.
  std::optional<Finding> repeatedName() const;

  /// The text of `value`, which belongs to `root()`, as written in the document.
  std::string_view spellingOf(const Json::Value& value) const;

 private:
  void parse(JsonRules rules);
  bool read(const Json::CharReaderBuilder& builder, Json::Value& root,
            std::string& complaints) const;
  void fail(std::size_t offset, std::string message);

  JsonRules m_rules;
  std::string m_text;  // without a byte-order mark
  Json::Value m_root;
  std::optional<Finding> m_fault;
};

}  // namespace settings
