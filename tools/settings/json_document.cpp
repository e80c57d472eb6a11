// Parses JSON with the library's own parser and rules, and finds the place of what is wrong.
#include "settings/json_document.h"

#include <json/reader.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace settings {
namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
constexpr std::string_view kBlanks = " \t\r\n";

Json::CharReaderBuilder builderFor(JsonRules rules) {
  Json::CharReaderBuilder builder;
  if (rules == JsonRules::strict) {
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["rejectDupKeys"] = false;
    return builder;
  }
  builder["collectComments"] = false;
  builder["allowTrailingCommas"] = false;
  builder["failIfExtra"] = true;
  return builder;
}

/// Returns the offset of the first byte of `text`, from `at`, that is neither a blank nor, if
/// allowed, part of a whole comment; its size if there is none.
std::size_t skipBlanks(std::string_view text, std::size_t at, bool comments) {
  while (true) {
    at = std::min(text.find_first_not_of(kBlanks, at), text.size());
    const std::string_view start = text.substr(at, 2);
    if (!comments || (start != "//" && start != "/*")) return at;
    const bool line = start == "//";
    const std::size_t end = line ? text.find('\n', at) : text.find("*/", at + 2);
    if (end == std::string_view::npos) return line ? text.size() : at;
    at = end + (line ? 1 : 2);
  }
}

/// The parser's first complaint: "* Line 1, Column 2\n  Missing ...\n".
std::optional<Finding> firstComplaint(const std::string& complaints) {
  Finding finding;
  if (std::sscanf(complaints.c_str(), "* Line %zu, Column %zu", &finding.place.line,
                  &finding.place.column) != 2)
    return std::nullopt;
  const std::size_t begin = complaints.find_first_not_of(" \n", complaints.find('\n'));
  if (begin == std::string::npos) return std::nullopt;
  finding.message = complaints.substr(begin, complaints.find('\n', begin) - begin);
  if (!finding.message.empty() && finding.message.back() == '.') finding.message.pop_back();
  return finding;
}

}  // namespace

JsonDocument::JsonDocument(std::string_view text, JsonRules rules) {
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark)
    text.remove_prefix(kByteOrderMark.size());
  m_text = text;
  parse(rules);
  if (m_fault) m_root = Json::Value();
}

void JsonDocument::fail(std::size_t offset, std::string message) {
  m_fault = Finding{settings::placeOf(m_text, offset), std::move(message)};
}

void JsonDocument::parse(JsonRules rules) {
  const char* const begin = m_text.data();
  const bool comments = rules == JsonRules::lenient;
  if (skipBlanks(m_text, 0, comments) == m_text.size()) return fail(0, "empty");
  std::string complaints;
  try {
    const std::unique_ptr<Json::CharReader> reader(builderFor(rules).newCharReader());
    if (!reader->parse(begin, begin + m_text.size(), &m_root, &complaints)) {
      m_fault = firstComplaint(complaints);
      if (!m_fault) fail(0, "malformed");
      return;
    }
  } catch (const Json::Exception&) {
    return fail(0, "nested deeper than 1000 levels");
  }
  if (rules == JsonRules::strict && !m_root.isObject()) return fail(0, "not an object");
  const auto end = static_cast<std::size_t>(m_root.getOffsetLimit());
  const std::size_t extra = skipBlanks(m_text, end, comments);
  if (extra < m_text.size()) fail(extra, "text after the document");
}

Place JsonDocument::placeOf(const Json::Value& value) const {
  return settings::placeOf(m_text, static_cast<std::size_t>(value.getOffsetStart()));
}

std::string_view JsonDocument::spellingOf(const Json::Value& value) const {
  const auto start = static_cast<std::size_t>(value.getOffsetStart());
  const auto limit = static_cast<std::size_t>(value.getOffsetLimit());
  return std::string_view(m_text).substr(start, limit - start);
}

}  // namespace settings
