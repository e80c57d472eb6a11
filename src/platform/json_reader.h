#pragma once

#include <json/value.h>

#include <string>

/// Parses JSON (RFC 8259); a leading UTF-8 byte-order mark is allowed.
class JsonReader {
 public:
  /// @param strict  whether to refuse comments and repeated member names too
  explicit JsonReader(bool strict);

  /// Parses `text` into `root`. Returns false, with `root` unspecified, for malformed text, which
  /// includes text nested deeper than 1000 levels and anything but whitespace and comments after
  /// the document.
  /// @throws std::bad_alloc  out of memory
  bool parse(const std::string& text, Json::Value& root) const;

 private:
  bool m_strict;
};
