#pragma once

#include <list>
#include <map>
#include <string>
#include <string_view>
#include <utility>

// A parser of INI files by the rules in the reader's header, one character at a time.

namespace commutil_fuzz {

using IniEntries = std::list<std::pair<std::string, std::string>>;

/// The entries of an INI file by section name, without brackets, in file order.
class IniModel {
 public:
  explicit IniModel(std::string_view text);

  const std::map<std::string, IniEntries>& sections() const { return m_sections; }
  /// Returns the first value of `key`; "" if it is missing.
  std::string value(const std::string& section, const std::string& key) const;
  /// Returns the entries of a section; none if it is missing.
  IniEntries entries(const std::string& section) const;

 private:
  bool atLineEnd() const;
  void skipLine();
  void skipWhitespace();
  /// Returns the string up to `end` without outer whitespace, and skips both; if the line ends
  /// first, skips only the string.
  std::pair<std::string, bool> textBefore(char end);
  void readSection();
  void readEntry();

  std::string_view m_rest;
  std::string m_section;
  bool m_inSection = true;  // entries before the first section line belong to the section ""
  std::map<std::string, IniEntries> m_sections;
};

}  // namespace commutil_fuzz
