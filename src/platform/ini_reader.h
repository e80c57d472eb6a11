#pragma once

#include <list>
#include <memory>
#include <string>

/// Reads an INI file: sections in brackets, one "key = value" a line, comments (";" or "#") on
/// lines of their own. Names of sections and keys are case-sensitive; quotes are part of a value,
/// blanks around keys and values are not. Lines end in LF, CR or both and may be of any length; a
/// UTF-8 byte-order mark is skipped; a NUL byte ends the file. A section that stands several times
/// is one; entries under a section line that lacks its closing bracket belong to none. Not shared
/// between threads.
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

  /// Reads the file, anew on each call. The flag is the platform's and means nothing here. Returns
  /// 0; -1 when the file cannot be read or is not a regular file, and then nothing is held. An
  /// empty file is readable, and so is the null device.
  /// @throws std::bad_alloc  out of memory; nothing is held
  int initialize(bool flag);

  /// Returns the value of `key` in `section`, which is named with its brackets ("[IP]"): the first
  /// one in the file where the key stands several times, "" where it is missing.
  std::string getParamValue(const std::string& section, const std::string& key) const;

  /// Appends the entries of `section` to `nodes` in file order, repeated keys included.
  void getParamList(const std::string& section, std::list<IniNode>& nodes) const;

 private:
  class Content;

  std::string m_path;
  std::unique_ptr<Content> m_content;
};
