#pragma once

#include <string>

#include "settings/facts.h"

// A file's state in words.

namespace settings {

enum class Severity { ok, warning, error };

/// A remark about a source or a file, and what to do about it.
struct Note {
  Severity severity = Severity::ok;
  std::string text;      ///< without a final period
  std::string remedy;    ///< "" if there is nothing to do
  bool ofState = false;  ///< says nothing without the state that precedes it
};

/// Returns whether the library's readers of INI and JSON files can read the file: a regular file,
/// or /dev/null, which is empty.
bool isReadableText(const FileFacts& file);

/// Returns "readable", or why `file` cannot be read: "missing", "a directory, not a regular file",
/// "not readable by user omc (mode 0600, owner root)".
Note stateOf(const FileFacts& file, const std::string& user);

/// The same for a directory in which files will be created.
Note writableState(const FileFacts& directory, const std::string& user);

/// Returns the size in a unit that keeps the number short: "65 MiB".
std::string sizeText(std::uintmax_t size);

}  // namespace settings
