#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "settings/facts.h"
#include "settings/file_state.h"

namespace settings {

/// The document or snapshot of the reference store, as that store reads it. Nothing here says what
/// another store replies.
class StoreDocument {
 public:
  explicit StoreDocument(const Facts& facts);

  /// The document's path, "" if the environment names none.
  const std::string& path() const { return m_path; }

  /// Returns the faults of the document or its address.
  const std::vector<Note>& notes() const { return m_notes; }

  /// Returns whether the store has settings.
  bool isUsable() const { return m_usable; }

  /// Returns the value of `key`, nothing if it has none.
  std::optional<std::string> find(std::string_view key) const;

  /// Returns the branches below `tree`.
  std::set<std::string> branches(std::string_view tree) const;

  /// Returns every key and value.
  const std::map<std::string, std::string, std::less<>>& values() const { return m_values; }

 private:
  void read(const Facts& facts);
  void parse(const std::string& text);
  void parseSnapshot(const std::string& bytes);

  std::string m_path;
  bool m_usable = false;
  std::vector<Note> m_notes;
  std::map<std::string, std::string, std::less<>> m_values;
};

}  // namespace settings
