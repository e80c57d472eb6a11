#pragma once

#include <list>
#include <memory>
#include <string>

/// Reads an INI file: sections in brackets, one "key = value" per line, comments (";" or "#") on
/// separate lines. Names of sections and keys are case-sensitive; quotes are part of a value,
/// whitespace around keys and values is not. Lines end in LF, CR or both and may be of any length;
/// a UTF-8 byte-order mark is skipped; a NUL byte ends the file. A repeated section continues the
/// first; entries under a section line without its closing bracket belong to none. Not thread-safe.
class VexaIniReader {
 public:
  struct IniNode {
    std::string key;
    std::string value;
  };

  explicit VexaIniReader(const std::string& path);
  ~VexaIniReader();
  VexaIniReader(const VexaIniReader&) = delete;
  VexaIniReader& operator=(const VexaIniReader&) = delete;

  /// Reads the file, again on each call. The flag is the platform's and has no effect here. Returns
  /// 0; -1, without entries, if the file cannot be read or is not a regular file. An empty file is
  /// readable, and so is the null device.
  /// @throws std::bad_alloc  out of memory; there are no entries then
  int initialize(bool flag);

  /// Returns the value of `key` in `section`, which is named with its brackets ("[IP]"): the first
  /// one in the file if the key is repeated, "" if it is missing.
  std::string getParamValue(const std::string& section, const std::string& key) const;

  /// Appends the entries of `section` to `nodes` in file order, repeated keys included.
  void getParamList(const std::string& section, std::list<IniNode>& nodes) const;

 private:
  class Content;

  std::string m_path;
  std::unique_ptr<Content> m_content;
};
