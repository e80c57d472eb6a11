#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "settings/place.h"

// INI text as the library reads it: names are case-sensitive, the first value of a repeated key
// applies, quotes and trailing comments are part of a value, a NUL byte ends the text.

namespace settings {

struct IniEntry {
  std::string section;  ///< with brackets; "" before the first section
  std::string key;
  std::string value;
  Place place;  ///< of the key
};

struct IniSection {
  std::string name;  ///< with brackets
  Place place;
};

class IniDocument {
 public:
  explicit IniDocument(std::string_view text);

  const std::vector<IniSection>& sections() const { return m_sections; }
  const std::vector<IniEntry>& entries() const { return m_entries; }

  /// Returns the first entry, null if there is none.
  const IniEntry* find(std::string_view section, std::string_view key) const;
  bool hasSection(std::string_view section) const;

  /// The entries that have no effect because an earlier one has the same section and key and
  /// another value.
  std::vector<Finding> repetitions(std::string_view section, std::string_view key) const;

  /// Returns the faults of the text itself, in file order: an unclosed section line, a line that is
  /// neither a section, an entry nor a comment, UTF-16, a NUL byte.
  const std::vector<Finding>& findings() const { return m_findings; }

  /// What may have been meant to be `key` of `section`: a section or key of another letter case or
  /// a near spelling, an entry in another section.
  std::vector<Finding> nearMisses(std::string_view section, std::string_view key) const;

 private:
  std::vector<IniSection> m_sections;
  std::vector<IniEntry> m_entries;
  std::vector<Finding> m_findings;
};

/// Returns what is odd about `value` of an INI key (it is in quotes, or ends in a comment), "" if
/// nothing is.
std::string oddValue(std::string_view value);

}  // namespace settings
