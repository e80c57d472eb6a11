#pragma once

#include <json/value.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "settings/json_document.h"
#include "settings_store/target.h"

namespace settings {

/// A malformed document; what() says where and why: "2:15: Syntax error".
class MalformedDocument : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A settings document to change. Keeps the order and the spelling of its contents; the layout
/// becomes one setting a line.
class DocumentText {
 public:
  /// @throws MalformedDocument
  explicit DocumentText(std::string_view text);

  /// Returns the settings as the store reads them.
  Values values() const;

  /// Sets a value, in the document's own group for it.
  void set(const std::string& key, std::string_view value);

  /// Removes a setting, and the groups that this leaves empty.
  void erase(const std::string& key);

  std::string text() const;

  /// A value of the document.
  struct Entry {
    std::string key;
    std::optional<std::string> value;  ///< nothing for an array or null, which count as absent
    std::size_t offset;                ///< for `placeOf`
  };
  /// Returns what was parsed, in the document's order.
  std::vector<Entry> entries() const;

  /// Returns where an entry's value is.
  Place placeOf(const Entry& entry) const;

 private:
  struct Node {
    std::string name;
    std::string spelling;              // of a value
    std::optional<std::string> value;  // as parsed
    bool isGroup = false;
    bool isErased = false;
    std::vector<Node> children;  // of a group
    std::size_t offset = 0;
  };

  static Node toNode(const std::string& name, const Json::Value& value,
                     const JsonDocument& document);
  static bool isEmpty(const Node& group);
  static bool assign(Node& group, std::string_view rest, const std::string& spelling);
  static void insert(Node& group, std::string_view rest, const std::string& spelling);
  static bool remove(Node& group, std::string_view rest);
  static void print(const Node& node, std::size_t depth, std::string& text);
  static void collect(const Node& group, const std::string& path, std::vector<Entry>& entries);

  std::string m_source;
  Node m_root;
};

/// Returns a document that has each setting on a line of its own.
std::string flatDocument(const Values& values);

}  // namespace settings
