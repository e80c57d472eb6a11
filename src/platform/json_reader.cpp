// The platform's JSON reader over jsoncpp, for the application configuration and the node list.
// Re-entrant; no state beyond the object.
#include "platform/json_reader.h"

#include <json/reader.h>

#include <memory>

namespace {

Json::CharReaderBuilder builderFor(bool strict) {
  Json::CharReaderBuilder builder;
  if (strict) Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["collectComments"] = false;
  builder["failIfExtra"] = true;
  return builder;
}

/// Whether only blanks, or a comment that the parser has read, follow the document. The parser
/// itself overlooks what is no JSON token there.
bool endsCleanly(const std::string& text, std::size_t end) {
  const std::size_t next = text.find_first_not_of(" \t\r\n", end);
  return next == std::string::npos || text[next] == '/';
}

}  // namespace

JsonReader::JsonReader(bool strict) : m_strict(strict) {}

bool JsonReader::parse(const std::string& text, Json::Value& root) const {
  try {
    const std::unique_ptr<Json::CharReader> reader(builderFor(m_strict).newCharReader());
    const char* const begin = text.data();
    if (!reader->parse(begin, begin + text.size(), &root, nullptr)) return false;
    return endsCleanly(text, static_cast<std::size_t>(root.getOffsetLimit()));
  } catch (const Json::Exception&) {  // nested too deep
    return false;
  }
}
