// Turns a JSON document into settings: the names of nested objects are the segments of a path.
#include "document.h"

#include <json/value.h>

#include <stdexcept>
#include <string_view>

#include "bytes/byte_order_mark.h"
#include "bytes/json_text.h"

namespace settingrest {
namespace {

/// Returns the position from the parser's error message, its first line: "Line 1, Column 2".
std::string placeOf(const std::string& complaint) {
  const std::size_t begin = complaint.find_first_not_of("* ");
  if (begin == std::string::npos) return "unknown place";
  return complaint.substr(begin, complaint.find('\n', begin) - begin);
}

/// Parses `text` as jsoncpp does, but throws std::bad_alloc if memory runs out.
Json::Value parseValue(std::string_view text) {
  try {
    Json::Value root;
    std::string complaint;
    if (commutil::parseJson(commutil::strictJson(), text, root, &complaint)) return root;
    throw std::runtime_error(placeOf(complaint));
  } catch (const Json::Exception& error) {
    commutil::throwIfOutOfMemory(error);
    throw;
  }
}

Json::Value parse(std::string_view text) {
  Json::Value root = parseValue(text);
  if (!root.isObject()) throw std::runtime_error("not an object");
  const auto end = static_cast<std::size_t>(root.getOffsetLimit());
  if (commutil::skipJsonSpace(text, end, false) != text.size())
    throw std::runtime_error("text after the document");
  return root;
}

/// Appends `name` to `path` with exactly one "/" between them.
std::string join(std::string path, const std::string& name) {
  if (!path.empty() && path.back() == '/') path.pop_back();
  if (name.empty() || name.front() != '/') path += '/';
  return path += name;
}

}  // namespace

Document::Document(const std::string& text) {
  const std::string_view json = commutil::withoutByteOrderMark(text);
  add("", parse(json), json.data());
}

void Document::add(const std::string& path, const Json::Value& value, const char* text) {
  if (value.isObject()) {
    for (auto member = value.begin(); member != value.end(); ++member)
      add(join(path, member.name()), *member, text);
  } else if (value.isString()) {
    m_values[path] = value.asString();
  } else if (value.isNumeric() || value.isBool()) {
    // As written in the document: a conversion to a number could lose or add digits.
    m_values[path].assign(text + value.getOffsetStart(), text + value.getOffsetLimit());
  }
}

const std::string* Document::find(const std::string& key) const {
  const auto found = m_values.find(key.empty() || key.front() != '/' ? '/' + key : key);
  return found == m_values.end() ? nullptr : &found->second;
}

std::map<std::string, std::string> Document::below(const std::string& group) const {
  const std::string prefix = join(join("", group), "");
  std::map<std::string, std::string> params;
  for (auto at = m_values.lower_bound(prefix); at != m_values.end(); ++at) {
    if (at->first.compare(0, prefix.size(), prefix) != 0) break;
    std::string name = at->first.substr(prefix.size());
    if (name.find('/') == std::string::npos) params.emplace(std::move(name), at->second);
  }
  return params;
}

}  // namespace settingrest
