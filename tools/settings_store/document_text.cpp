#include "settings_store/document_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "bytes/byte_order_mark.h"
#include "settingrest/document.h"

namespace settings {
namespace {

/// Appends `name` to `path` as the store does: with exactly one "/" between them.
std::string join(std::string path, std::string_view name) {
  if (!path.empty() && path.back() == '/') path.pop_back();
  if (name.empty() || name.front() != '/') path += '/';
  return path.append(name);
}

/// Returns `text` as a JSON string. Bytes beyond ASCII stay as they are: a value is bytes.
std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    std::array<char, 7> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04x", byte);
    if (byte < 0x20) {
      result += escape.data();
    } else {
      result.append(c == '"' || c == '\\' ? 1 : 0, '\\').append(1, c);
    }
  }
  return result += '"';
}

/// Returns what follows the path of the group `name` in `rest`, which begins with "/"; nothing if
/// `rest` is not below it. Ignores a "/" at the end of a group's name.
std::optional<std::string_view> below(std::string_view name, std::string_view rest) {
  if (!name.empty() && name.back() == '/') name.remove_suffix(1);
  if (!name.empty() && name.front() != '/') rest.remove_prefix(1);
  if (rest.substr(0, name.size()) != name) return std::nullopt;
  rest.remove_prefix(name.size());
  return rest.substr(0, 1) == "/" ? std::optional(rest) : std::nullopt;
}

/// Returns whether the value `name` is the one at `rest`.
bool isAt(std::string_view name, std::string_view rest) {
  return name == (name.substr(0, 1) == "/" ? rest : rest.substr(1));
}

std::vector<std::string> segments(std::string_view path) {
  std::vector<std::string> result;
  while (!path.empty()) {
    path.remove_prefix(1);
    const std::size_t end = std::min(path.find('/'), path.size());
    result.emplace_back(path.substr(0, end));
    path.remove_prefix(end);
  }
  return result;
}

}  // namespace

DocumentText::DocumentText(std::string_view text) {
  const JsonDocument document(text, JsonRules::strict);
  if (document.fault()) {
    const Finding& fault = *document.fault();
    throw MalformedDocument(std::to_string(fault.place.line) + ":" +
                            std::to_string(fault.place.column) + ": " + fault.message);
  }
  m_root = toNode("", document.root(), document);
  m_source = commutil::withoutByteOrderMark(text);
}

bool DocumentText::isEmpty(const Node& group) {
  return std::all_of(group.children.begin(), group.children.end(),
                     [](const Node& child) { return child.isErased; });
}

DocumentText::Node DocumentText::toNode(const std::string& name, const Json::Value& value,
                                        const JsonDocument& document) {
  Node node;
  node.name = name;
  node.offset = static_cast<std::size_t>(value.getOffsetStart());
  node.isGroup = value.isObject();
  if (!node.isGroup) {
    node.spelling = std::string(document.spellingOf(value));
    if (value.isString()) node.value = value.asString();
    if (value.isNumeric() || value.isBool()) node.value = node.spelling;
    return node;
  }
  std::vector<std::pair<std::ptrdiff_t, std::string>> order;
  for (auto member = value.begin(); member != value.end(); ++member)
    order.emplace_back(member->getOffsetStart(), member.name());
  std::sort(order.begin(), order.end());
  for (const auto& [offset, member] : order)
    node.children.push_back(toNode(member, value[member], document));
  return node;
}

Values DocumentText::values() const { return settingrest::Document(text()).values(); }

void DocumentText::set(const std::string& key, std::string_view value) {
  const std::string spelling = quoted(value);
  if (!assign(m_root, key, spelling)) insert(m_root, key, spelling);
}

/// Changes every value at `rest`: if a path occurs twice, the store uses one of its values.
bool DocumentText::assign(Node& group, std::string_view rest, const std::string& spelling) {
  bool found = false;
  for (Node& child : group.children) {
    if (child.isErased) continue;
    if (child.isGroup) {
      const auto further = below(child.name, rest);
      if (further) found |= assign(child, *further, spelling);
    } else if (isAt(child.name, rest)) {
      child.spelling = spelling;
      found = true;
    }
  }
  return found;
}

/// Adds a value to the deepest group on its path, by segments or by one name, like the group's
/// other values.
void DocumentText::insert(Node& group, std::string_view rest, const std::string& spelling) {
  for (Node& child : group.children) {
    const auto further = child.isGroup && !child.isErased ? below(child.name, rest) : std::nullopt;
    if (further) return insert(child, *further, spelling);
  }
  const auto flat = std::find_if(group.children.begin(), group.children.end(), [](const Node& c) {
    return c.name.find('/', 1) != std::string::npos;
  });
  std::vector<std::string> names = segments(rest);
  if (flat != group.children.end())
    names = {std::string(flat->name.front() == '/' ? rest : rest.substr(1))};
  if (rest.find("//") != std::string_view::npos) names = {std::string(rest)};
  // The name of a group is taken; with a "/" in front it is another member of the same path.
  const bool isTaken = std::any_of(group.children.begin(), group.children.end(),
                                   [&](const Node& c) { return c.name == names.front(); });
  if (isTaken) names.front().insert(0, "/");
  Node* node = &group;
  for (std::string& name : names) {
    node->isGroup = true;
    node = &node->children.emplace_back();
    node->name = std::move(name);
  }
  node->spelling = spelling;
}

void DocumentText::erase(const std::string& key) { remove(m_root, key); }

bool DocumentText::remove(Node& group, std::string_view rest) {
  bool found = false;
  for (Node& child : group.children) {
    if (child.isErased) continue;
    const auto further = child.isGroup ? below(child.name, rest) : std::nullopt;
    const bool isHere =
        further ? remove(child, *further) : !child.isGroup && isAt(child.name, rest);
    child.isErased = isHere && isEmpty(child);
    found |= isHere;
  }
  return found;
}

std::string DocumentText::text() const {
  std::string result;
  print(m_root, 0, result);
  return result += '\n';
}

void DocumentText::print(const Node& node, std::size_t depth, std::string& text) {
  if (!node.isGroup) {
    text += node.spelling;
    return;
  }
  const std::string indent(2 * depth, ' ');
  std::string separator = "{\n";
  for (const Node& child : node.children) {
    if (child.isErased) continue;
    text += separator + indent + "  " + quoted(child.name) + ": ";
    print(child, depth + 1, text);
    separator = ",\n";
  }
  text += isEmpty(node) ? "{}" : "\n" + indent + "}";
}

std::vector<DocumentText::Entry> DocumentText::entries() const {
  std::vector<Entry> result;
  collect(m_root, "", result);
  return result;
}

void DocumentText::collect(const Node& group, const std::string& path,
                           std::vector<Entry>& entries) {
  for (const Node& child : group.children) {
    const std::string childPath = join(path, child.name);
    if (child.isGroup) {
      collect(child, childPath, entries);
    } else {
      entries.push_back({childPath, child.value, child.offset});
    }
  }
}

Place DocumentText::placeOf(const Entry& entry) const {
  return settings::placeOf(m_source, entry.offset);
}

std::string flatDocument(const Values& values) {
  std::string text = "{";
  std::string separator = "\n";
  for (const auto& [key, value] : values) {
    text += separator + "  " + quoted(key) + ": " + quoted(value);
    separator = ",\n";
  }
  return text += values.empty() ? "}\n" : "\n}\n";
}

}  // namespace settings
