#pragma once

#include <json/value.h>

#include <string>

/// Parses JSON text (RFC 8259), a UTF-8 byte-order mark in front allowed. Holds nothing but its
/// flag.
class JsonReader {
 public:
  /// @param strict  whether comments and repeated member names are refused too
  explicit JsonReader(bool strict);

  /// Parses `text` into `root`. Returns false for malformed text, which includes text nested deeper
  /// than 1000 levels and anything but blanks or comments after the document. `root` is unspecified
  /// then.
  /// @throws std::bad_alloc  out of memory
  bool parse(const std::string& text, Json::Value& root) const;

 private:
  bool m_strict;
};
