// The state of each kind of source, with suggestions for what was probably meant.
#include <algorithm>

#include "bytes/byte_order_mark.h"
#include "settings/accepted.h"
#include "settings/edit_distance.h"
#include "settings/explanation.h"
#include "settings/ini_document.h"
#include "settings/paths.h"
#include "settings/source_words.h"

namespace settings {

SourceState Explainer::fileSource(const std::string& path) const {
  SourceState source;
  source.place = path;
  Note state = stateOf(m_facts.file(path), m_facts.user);
  source.state = state.text;
  if (state.severity != Severity::ok) source.notes.push_back({state.severity, "", state.remedy});
  return source;
}

SourceState Explainer::searchedSource(std::string_view name) const {
  const std::string path = chosenPath(name, m_facts);
  SourceState source = fileSource(path);
  const bool usable = isReadableText(m_facts.file(path));
  for (const std::string& other : candidates(name, m_facts.environment)) {
    if (other == path || !m_facts.file(other).exists()) continue;
    std::string remedy;
    if (!usable)
      remedy.append("remove ").append(path).append(" if ").append(other).append(" is meant");
    source.notes.push_back(
        {usable ? Severity::ok : Severity::warning, "hides " + other, std::move(remedy)});
  }
  for (Note& note : passedOver(name, m_facts)) source.notes.push_back(std::move(note));
  return source;
}

namespace {

std::string countsAs(const Item& item) {
  if (item.name == "SSLNoProtection") return "counts as no";
  if (item.accepted.form == Form::word && item.accepted.words.front() == "enable")
    return "counts as off";
  if (item.name == "ts_mode") return "counts as off";
  return "is used as it is";
}

/// "\"Enabled\": not \"enable\" or \"disable\", counts as off", or the value alone if it is
/// accepted.
void describeValue(const Item& item, const std::string& value, SourceState& source) {
  source.state += quoted(value);
  const Verdict verdict = checkValue(item.accepted, value);
  if (verdict.accepted() && item.accepted.form == Form::anything && !oddValue(value).empty())
    source.notes.push_back({Severity::warning, oddValue(value), "write the value alone", true});
  if (verdict.accepted()) return;
  source.state += ": not " + quotedWords(item.accepted) + ", " + countsAs(item);
  std::string text = oddValue(value);
  if (!verdict.suggestion.empty())
    text.append(text.empty() ? "" : "; ").append("did you mean ").append(verdict.suggestion) += '?';
  source.notes.push_back(
      {Severity::warning, std::move(text), "write " + describe(item.accepted), true});
}

void noteEncoding(const FileFacts& file, SourceState& source) {
  if (commutil::hasByteOrderMark(file.text))
    source.notes.push_back({Severity::ok, "byte-order mark at the start: skipped", ""});
  if (file.text.find("\r\n") != std::string::npos)
    source.notes.push_back({Severity::ok, "lines end in carriage returns: accepted", ""});
}

}  // namespace

SourceState Explainer::iniSource(SourceState source, const FileFacts& file, const Item& key) const {
  if (!isReadableText(file) || file.isLarge()) return source;
  const IniDocument document(file.text);
  const IniEntry* const entry = document.find(key.section, key.name);
  source.state = file.text.empty() ? source.state : "readable";
  if (entry != nullptr) {
    source.value = entry->value;
    source.state += "; line " + std::to_string(entry->place.line) + ": ";
    if (entry->value.empty()) source.state += "empty, counts as not set";
    if (!entry->value.empty()) describeValue(key, entry->value, source);
  } else if (!document.hasSection(key.section)) {
    source.state += "; no section " + std::string(key.section);
  } else {
    source.state += "; no key " + std::string(key.name) + " in " + std::string(key.section);
  }
  if (entry == nullptr) {
    for (const Finding& miss : document.nearMisses(key.section, key.name))
      source.notes.push_back({Severity::warning, miss.message, "correct the spelling"});
  }
  for (const Finding& repeated : document.repetitions(key.section, key.name))
    source.notes.push_back({Severity::warning, repeated.message, "keep one of the lines"});
  for (const Finding& finding : document.findings()) {
    source.notes.push_back({Severity::warning,
                            "line " + std::to_string(finding.place.line) + ": " + finding.message,
                            "correct the line"});
  }
  noteEncoding(file, source);
  return source;
}

const StoreReply* Explainer::reply(const std::string& key) const {
  const auto found = m_facts.replies.find(key);
  return found == m_facts.replies.end() ? nullptr : &found->second;
}

void Explainer::noteBranch(const Item& item, SourceState& source) const {
  const std::string application = m_facts.variable("APP_NAME");
  if (application.empty()) {
    source.notes.push_back({Severity::warning, "APP_NAME is not set: the key names no application",
                            "set APP_NAME to the application's name"});
    return;
  }
  const std::set<std::string> names = m_document.branches(item.parent);
  if (names.count(application) != 0) return;
  std::vector<std::string_view> others;
  for (const std::string& name : names)
    if (name != kGlobalBranch) others.push_back(name);
  const std::string near(nearest(application, others));
  if (near.empty()) return;
  source.notes.push_back({Severity::warning,
                          "the store has no branch " + application + " but one named " + near,
                          "set APP_NAME to " + near + ", or rename the branch"});
}

SourceState Explainer::storeSource(const Item& item, std::string_view branch) const {
  const std::string key = storeKey(item.parent, branch, item.name);
  SourceState source;
  source.place = "store " + key;
  const StoreReply* const answered = reply(key);
  const std::optional<std::string> documented = m_document.find(key);
  if (answered == nullptr && !m_facts.storeNotAsked.empty()) {
    source.state = "not read: " + m_facts.storeNotAsked;
    if (documented) source.state += "; " + m_document.path() + " has ";
    if (documented) describeValue(item, *documented, source);
    source.value = documented;
  } else if (answered != nullptr && !answered->fault.empty()) {
    source.state = answered->fault;
    if (answered->asked)
      source.notes.push_back({Severity::error, "", "check the store and its server"});
  } else {
    source.value = answered != nullptr ? answered->written : documented;
    const bool success = answered != nullptr ? answered->code == 0 : documented.has_value();
    if (!success) {
      source.state = answered != nullptr && answered->code == -1 && !m_facts.library.loaded
                         ? "not read: libsettingrest.so cannot be loaded"
                         : "not set";
    }
    if (success && source.value.value_or("").empty()) source.state = "empty, counts as not set";
    if (success && !source.value.value_or("").empty()) describeValue(item, *source.value, source);
    if (!success && source.value) {
      source.notes.push_back(
          {Severity::warning,
           "the store failed and left " + quoted(*source.value) + ", which counts",
           "report it to the maker of the store"});
    }
  }
  if (branch != kGlobalBranch) {
    noteBranch(item, source);
    if (m_facts.library.isReference || answered == nullptr)
      for (const Note& note : m_document.notes()) source.notes.push_back(note);
  }
  return source;
}

SourceState Explainer::variableSource(std::string_view name) const {
  SourceState source;
  source.place = name;
  if (m_facts.isSet(name)) source.value = m_facts.variable(name);
  if (!source.value) source.state = "not set";
  if (source.value) source.state = source.value->empty() ? "empty" : quoted(*source.value);
  return source;
}

}  // namespace settings
