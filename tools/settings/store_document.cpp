// Finds, reads and flattens the reference store's document as the store does.
#include "settings/store_document.h"

#include "settingrest/snapshot_format.h"
#include "settings/json_document.h"
#include "settings/paths.h"

namespace settings {
namespace {

using Values = std::map<std::string, std::string, std::less<>>;

/// Appends `name` to `path` with exactly one "/" between them.
std::string joined(std::string path, const std::string& name) {
  if (!path.empty() && path.back() == '/') path.pop_back();
  if (name.empty() || name.front() != '/') path += '/';
  return path += name;
}

void flatten(const JsonDocument& document, const std::string& path, const Json::Value& value,
             Values& values) {
  if (value.isObject()) {
    for (auto member = value.begin(); member != value.end(); ++member)
      flatten(document, joined(path, member.name()), *member, values);
  } else if (value.isString()) {
    values[path] = value.asString();
  } else if (value.isNumeric() || value.isBool()) {
    values[path] = document.spellingOf(value);
  }
}

}  // namespace

StoreDocument::StoreDocument(const Facts& facts) : m_path(settingsDocument(facts)) { read(facts); }

void StoreDocument::read(const Facts& facts) {
  const bool named = !facts.variable("SETTINGREST_URL").empty();
  if (!named) m_notes = passedOver("settings.json", facts);
  if (m_path.empty()) {
    const UrlPath url = settingsDocumentOfUrl(facts.environment);
    if (!url.fault.empty()) {
      m_notes.push_back({Severity::error,
                         "SETTINGREST_URL " + facts.variable("SETTINGREST_URL") + ": " +
                             url.fault.substr(0, url.fault.find(';')),
                         url.fault.substr(url.fault.find(';') + 2)});
    }
    return;
  }
  const FileFacts& file = facts.file(m_path);
  Note state = stateOf(file, facts.user);
  if (named && !file.exists()) state.severity = Severity::error;
  m_usable = file.type == FileType::regular && file.readable && !file.isLarge();
  if (m_usable) {
    const bool isSnapshot = settingsDocumentOfUrl(facts.environment).isSnapshot;
    return isSnapshot ? parseSnapshot(file.text) : parse(file.text);
  }
  if (state.severity == Severity::ok) return;
  state.text = m_path + ": " + state.text;
  m_notes.push_back(std::move(state));
}

void StoreDocument::parse(const std::string& text) {
  const JsonDocument document(text, JsonRules::strict);
  if (document.fault()) {
    m_usable = false;
    const Finding& fault = *document.fault();
    if (text.empty()) {
      m_notes.push_back({Severity::error, m_path + ": empty, not a JSON document",
                         "write the settings, or {} for none"});
      return;
    }
    m_notes.push_back({Severity::error,
                       m_path + ": malformed at line " + std::to_string(fault.place.line) +
                           ", column " + std::to_string(fault.place.column) + ": " + fault.message,
                       "correct the document; until then the store has no settings"});
    return;
  }
  if (const std::optional<Finding> repeated = document.repeatedName())
    m_notes.push_back({Severity::warning, m_path + ": " + repeated->message, "keep one of them"});
  flatten(document, "", document.root(), m_values);
}

void StoreDocument::parseSnapshot(const std::string& bytes) {
  const std::string fault = settingrest::snapshotFault(bytes);
  if (!fault.empty()) {
    m_usable = false;
    m_notes.push_back({Severity::error, m_path + ": " + fault,
                       "let the settings agent or an import write it again; until then new "
                       "processes have no settings"});
    return;
  }
  const settingrest::SnapshotView view(bytes);
  for (std::size_t i = 0; i < view.size(); ++i) {
    const settingrest::SnapshotView::Entry entry = view.entry(i);
    m_values.emplace(entry.key, entry.value);
  }
}

std::optional<std::string> StoreDocument::find(std::string_view key) const {
  const std::string whole = (key.empty() || key.front() != '/' ? "/" : "") + std::string(key);
  const auto found = m_values.find(whole);
  if (found == m_values.end()) return std::nullopt;
  return found->second;
}

std::set<std::string> StoreDocument::branches(std::string_view tree) const {
  std::set<std::string> names;
  for (auto at = m_values.lower_bound(tree); at != m_values.end(); ++at) {
    if (at->first.compare(0, tree.size(), tree) != 0) break;
    const std::string rest = at->first.substr(tree.size());
    const std::size_t slash = rest.find('/');
    if (slash != std::string::npos) names.insert(rest.substr(0, slash));
  }
  return names;
}

}  // namespace settings
