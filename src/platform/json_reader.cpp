#include "platform/json_reader.h"

#include <algorithm>
#include <string_view>

#include "bytes/json_parse.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

Json::CharReaderBuilder builderFor(bool strict) {
  Json::CharReaderBuilder builder;
  if (strict) Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["collectComments"] = false;
  builder["allowTrailingCommas"] = false;
  builder["failIfExtra"] = true;
  return builder;
}

/// Returns whether `rest` is only whitespace and complete comments. The parser itself ignores what
/// follows the document and is not a JSON token.
bool isBlankOrComment(std::string_view rest) {
  while (true) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n"), rest.size()));
    if (rest.empty()) return true;
    const bool line = rest.substr(0, 2) == "//";
    if (!line && rest.substr(0, 2) != "/*") return false;
    const std::size_t end = line ? rest.find('\n', 2) : rest.find("*/", 2);
    if (end == std::string_view::npos) return line;
    rest.remove_prefix(end + (line ? 1 : 2));
  }
}

}  // namespace

JsonReader::JsonReader(bool strict) : m_strict(strict) {}

bool JsonReader::parse(const std::string& text, Json::Value& root) const {
  std::string_view document = text;
  if (document.substr(0, kByteOrderMark.size()) == kByteOrderMark)
    document.remove_prefix(kByteOrderMark.size());
  try {
    if (!commutil::parseJson(builderFor(m_strict), document, root, nullptr)) return false;
  } catch (const Json::Exception& error) {
    commutil::throwIfOutOfMemory(error);
    return false;  // nested too deep
  }
  return isBlankOrComment(document.substr(static_cast<std::size_t>(root.getOffsetLimit())));
}
