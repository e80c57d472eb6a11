// Parses JSON with the library's own parser and rules, and finds the position of faults.
#include "settings/json_document.h"

#include <json/reader.h>

#include <cstdio>
#include <memory>

#include "bytes/byte_order_mark.h"
#include "bytes/json_text.h"

namespace settings {
namespace {

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
  m_text = commutil::withoutByteOrderMark(text);
  parse(rules);
  if (m_fault) m_root = Json::Value();
}

void JsonDocument::fail(std::size_t offset, std::string message) {
  m_fault = Finding{settings::placeOf(m_text, offset), std::move(message)};
}

void JsonDocument::parse(JsonRules rules) {
  const char* const begin = m_text.data();
  const bool comments = rules == JsonRules::lenient;
  if (commutil::skipJsonSpace(m_text, 0, comments) == m_text.size()) return fail(0, "empty");
  std::string complaints;
  try {
    const auto builder = comments ? commutil::lenientJson() : commutil::strictJson();
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
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
  const std::size_t extra = commutil::skipJsonSpace(m_text, end, comments);
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
