#pragma once

#include <list>
#include <map>
#include <string>
#include <string_view>
#include <utility>

// INI files as the reader's header describes them, a character at a time.

namespace commutil_fuzz {

using IniEntries = std::list<std::pair<std::string, std::string>>;

/// The entries of an INI file by section, whose names stand without brackets, in file order.
class IniModel {
 public:
  explicit IniModel(std::string_view text);

  const std::map<std::string, IniEntries>& sections() const { return m_sections; }
  /// The first value of `key`, "" where it is missing.
  std::string value(const std::string& section, const std::string& key) const;
  /// The entries of a section, none where it is missing.
  IniEntries entries(const std::string& section) const;

 private:
  bool atLineEnd() const;
  void skipLine();
  void skipBlanks();
  /// The text up to `end`, which is skipped, without outer blanks; nothing is skipped but the text
  /// where the line ends first.
  std::pair<std::string, bool> textBefore(char end);
  void readSection();
  void readEntry();

  std::string_view m_rest;
  std::string m_section;
  bool m_inSection = true;  // entries before the first section line belong to that of no name
  std::map<std::string, IniEntries> m_sections;
};

}  // namespace commutil_fuzz
