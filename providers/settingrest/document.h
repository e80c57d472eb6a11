#pragma once

#include <map>
#include <string>

namespace Json {
class Value;
}

namespace settingrest {

/// The settings of one JSON document by their full paths. Immutable, so threads may share it.
class Document {
 public:
  /// Reads the settings from `text`.
  /// @throws std::runtime_error (or another std::exception) saying where `text` is malformed
  /// @throws std::bad_alloc  out of memory
  explicit Document(const std::string& text);

  /// Returns the value of `key`, null if there is none. Its leading "/" is optional.
  const std::string* find(const std::string& key) const;

  /// Returns every setting by its path.
  const std::map<std::string, std::string>& values() const { return m_values; }

  /// Returns the parameters directly below `group`, whose final "/" is optional.
  std::map<std::string, std::string> below(const std::string& group) const;

 private:
  void add(const std::string& path, const Json::Value& value, const char* text);

  std::map<std::string, std::string> m_values;
};

}  // namespace settingrest
