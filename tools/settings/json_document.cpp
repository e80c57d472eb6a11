// Parses JSON with the library's own parser and rules, and finds the position of faults.
#include "settings/json_document.h"

#include <json/reader.h>

#include <cstdio>
#include <memory>

#include "bytes/byte_order_mark.h"
#include "bytes/json_text.h"
#include "settings/edit_distance.h"

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

Json::CharReaderBuilder rulesOf(JsonRules rules) {
  return rules == JsonRules::lenient ? commutil::lenientJson() : commutil::strictJson();
}

}  // namespace

JsonDocument::JsonDocument(std::string_view text, JsonRules rules) : m_rules(rules) {
  m_text = commutil::withoutByteOrderMark(text);
  parse(rules);
  if (m_fault) m_root = Json::Value();
}

void JsonDocument::fail(std::size_t offset, std::string message) {
  m_fault = Finding{settings::placeOf(m_text, offset), std::move(message)};
}

bool JsonDocument::read(const Json::CharReaderBuilder& builder, Json::Value& root,
                        std::string& complaints) const {
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  return reader->parse(m_text.data(), m_text.data() + m_text.size(), &root, &complaints);
}

void JsonDocument::parse(JsonRules rules) {
  const bool comments = rules == JsonRules::lenient;
  if (commutil::skipJsonSpace(m_text, 0, comments) == m_text.size()) return fail(0, "empty");
  std::string complaints;
  try {
    if (!read(rulesOf(rules), m_root, complaints)) {
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

std::optional<Finding> JsonDocument::repeatedName() const {
  if (m_fault) return std::nullopt;
  Json::CharReaderBuilder builder = rulesOf(m_rules);
  builder["rejectDupKeys"] = true;
  Json::Value root;
  std::string complaints;
  if (read(builder, root, complaints)) return std::nullopt;
  std::optional<Finding> finding = firstComplaint(complaints);
  if (finding) {
    finding->message = "line " + std::to_string(finding->place.line) +
                       " repeats a name, whose last value applies: " + finding->message;
  }
  return finding;
}

std::string JsonDocument::nearMiss(const Json::Value& object, std::string_view name) const {
  if (!object.isObject()) return {};
  const Json::Value::Members names = object.getMemberNames();
  const std::string near(nearest(name, {names.begin(), names.end()}));
  if (near.empty()) return {};
  const std::string has =
      "line " + std::to_string(placeOf(object[near]).line) + " has \"" + near + "\"";
  return has + (editDistance(near, name) == 0 ? ": names are case-sensitive"
                                              : ", not \"" + std::string(name) + "\"");
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
