#pragma once

#include <json/reader.h>

#include <memory>
#include <new>
#include <string>
#include <string_view>

// Detects what jsoncpp does not report: that memory ran out.

namespace commutil {

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
  // Without memory, jsoncpp takes a number for malformed, because its stream swallows the
  // exception. A second parse detects that: if memory is still lacking, it throws, since the first
  // one's memory is not released yet.
  Json::Value again;
  const std::unique_ptr<Json::CharReader> second(builder.newCharReader());
  if (!second->parse(begin, end, &again, complaint)) return false;
  root.swap(again);
  return true;
}

}  // namespace commutil
