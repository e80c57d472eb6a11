#pragma once

#include <json/reader.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "bytes/ascii.h"

// JSON rules that several readers share, and checks of what jsoncpp does not report: that memory
// ran out, and what follows the document.

namespace commutil {

/// The rules of the application configuration and the node list: comments are allowed.
inline Json::CharReaderBuilder lenientJson() {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  builder["allowTrailingCommas"] = false;
  builder["failIfExtra"] = true;
  return builder;
}

/// The rules of the settings document: RFC 8259, the last of repeated names counts.
inline Json::CharReaderBuilder strictJson() {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["rejectDupKeys"] = false;
  return builder;
}

/// Returns the offset of the first byte of `text`, from `at`, that is neither whitespace nor, if
/// allowed, part of a whole comment; its size if there is none. jsoncpp itself ignores text after
/// the document that is not a JSON token.
inline std::size_t skipJsonSpace(std::string_view text, std::size_t at, bool comments) {
  while (true) {
    at = std::min(text.find_first_not_of(kWhitespace, at), text.size());
    const std::string_view start = text.substr(at, 2);
    if (!comments || (start != "//" && start != "/*")) return at;
    const bool line = start == "//";
    const std::size_t end = line ? text.find('\n', at) : text.find("*/", at + 2);
    if (end == std::string_view::npos) return line ? text.size() : at;
    at = end + (line ? 1 : 2);
  }
}

/// Throws std::bad_alloc if `error` is jsoncpp's report that it could not allocate a string.
inline void throwIfOutOfMemory(const Json::Exception& error) {
  if (std::string_view(error.what()).find("Failed to allocate") != std::string_view::npos)
    throw std::bad_alloc();
}

/// Parses `text` into `root`, with the parser's messages in `complaint` unless that is null.
/// Returns false if the document is malformed.
/// @throws std::bad_alloc  out of memory
/// @throws Json::Exception  nested too deep, or out of memory (see `throwIfOutOfMemory`)
inline bool parseJson(const Json::CharReaderBuilder& builder, std::string_view text,
                      Json::Value& root, std::string* complaint) {
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  if (reader->parse(begin, end, &root, complaint)) return true;
  // Out of memory, jsoncpp reports a number as malformed, because its stream swallows the
  // exception. A second parse detects that: if memory is still short, it throws, because the first
  // parse has not released its own yet.
  Json::Value again;
  const std::unique_ptr<Json::CharReader> second(builder.newCharReader());
  if (!second->parse(begin, end, &again, complaint)) return false;
  root.swap(again);
  return true;
}

}  // namespace commutil
