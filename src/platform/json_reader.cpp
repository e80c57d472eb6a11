#include "platform/json_reader.h"

#include <string_view>

#include "bytes/byte_order_mark.h"
#include "bytes/json_text.h"

namespace {

Json::CharReaderBuilder builderFor(bool strict) {
  Json::CharReaderBuilder builder = commutil::lenientJson();
  if (strict) Json::CharReaderBuilder::strictMode(&builder.settings_);
  return builder;
}

}  // namespace

JsonReader::JsonReader(bool strict) : m_strict(strict) {}

bool JsonReader::parse(const std::string& text, Json::Value& root) const {
  const std::string_view document = commutil::withoutByteOrderMark(text);
  try {
    if (!commutil::parseJson(builderFor(m_strict), document, root, nullptr)) return false;
  } catch (const Json::Exception& error) {
    commutil::throwIfOutOfMemory(error);
    return false;  // nested too deep
  }
  const auto end = static_cast<std::size_t>(root.getOffsetLimit());
  return commutil::skipJsonSpace(document, end, true) == document.size();
}
