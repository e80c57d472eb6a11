// Why the switches and the SSL options are what they are. Each function follows the library's own
// steps.
#include <algorithm>

#include "settings/accepted.h"
#include "settings/edit_distance.h"
#include "settings/explain_parts.h"
#include "settings/explanation.h"
#include "settings/ini_document.h"
#include "settings/json_document.h"
#include "settings/paths.h"
#include "settings/source_words.h"

namespace settings {
std::string Explainer::siteSetting(const Item& item, std::string value,
                                   std::vector<SourceState>& sources,
                                   std::string& decidedBy) const {
  const std::string application = m_facts.variable("APP_NAME");
  sources.push_back(storeSource(item, application));
  sources.push_back(storeSource(item, kGlobalBranch));
  for (std::size_t i = sources.size() - 2; i < sources.size(); ++i) {
    SourceState& source = sources[i];
    const StoreReply* const asked = reply(source.place.substr(std::string_view("store ").size()));
    const bool success = asked != nullptr ? asked->code == 0 : source.value.has_value();
    if (source.value) value = *source.value;
    if (asked != nullptr && !asked->fault.empty()) {
      decidedBy = std::string(kUnknown) + source.place;
      return {};
    }
    if (success && !value.empty()) {
      source.decides = true;
      decidedBy = source.place;
      return value;
    }
  }
  return value;
}

Explanation Explainer::listenSwitch(const Answer& answer) const {
  const Item& key = itemOf(answer, Kind::iniKey);
  const Item& parameter = itemOf(answer, Kind::storeKey);
  const std::string path = chosenPath(key.parent, m_facts);
  const FileFacts& file = m_facts.file(path);
  Explanation result;
  result.sources.push_back(iniSource(searchedSource(key.parent), file, key));
  std::string decidedBy;
  const std::string value = siteSetting(parameter, "", result.sources, decidedBy);
  if (isUnknown(file)) return unknown(std::move(result), path);
  const bool inFile = hasValue(result.sources.front());
  if (!isReadableText(file) || inFile) {
    for (SourceState& source : result.sources) source.decides = false;
    result.sources.front().decides = true;
    result.value = isReadableText(file) && *result.sources.front().value == "enable";
    result.decidedBy =
        isReadableText(file) ? path : "no readable setting.cfg: the store is not read";
    return result;
  }
  if (isUnknown(decidedBy)) return unknown(std::move(result), decidedBy);
  result.value = value == "enable";
  const bool plain = value == "enable" || value == "disable";
  const bool last = decidedBy.empty() || decidedBy == result.sources.back().place;
  result.decidedBy = last && !plain ? "no source says \"enable\"" : decidedBy;
  return result;
}

Explanation Explainer::corbaSwitch(const Answer& answer) const {
  Explanation result;
  std::string decidedBy;
  const std::string value =
      siteSetting(itemOf(answer, Kind::storeKey), "disable", result.sources, decidedBy);
  if (isUnknown(decidedBy)) return unknown(std::move(result), decidedBy);
  result.value = value == "disable";
  result.decidedBy = decidedBy.empty() ? "the default: no source has a value" : decidedBy;
  return result;
}

Explanation Explainer::tsMode(const Answer& answer) const {
  const Item& key = itemOf(answer, Kind::iniKey);
  const std::string path = pathOf(*findItem(Kind::file, key.parent), m_facts.environment);
  const FileFacts& file = m_facts.file(path);
  Explanation result;
  result.sources.push_back(iniSource(fileSource(path), file, key));
  if (isUnknown(file)) return unknown(std::move(result), path);
  SourceState& source = result.sources.front();
  source.decides = hasValue(source);
  result.value = isReadableText(file) && source.value == "true";
  result.decidedBy = source.decides ? path : "no source says \"true\"";
  return result;
}

Explanation Explainer::distribution(const Answer& answer) const {
  const Item& line = itemOf(answer, Kind::line);
  const std::string path = pathOf(*findItem(Kind::file, line.parent), m_facts.environment);
  const FileFacts& file = m_facts.file(path);
  Explanation result;
  result.sources.push_back(fileSource(path));
  if (isUnknown(file)) return unknown(std::move(result), path);
  SourceState& source = result.sources.front();
  result.value = false;
  result.decidedBy = "no line is " + std::string(line.name);
  std::size_t number = 1;
  for (std::size_t at = 0; at < file.text.size(); ++number) {
    const std::size_t end = std::min(file.text.find('\n', at), file.text.size());
    const std::string_view text = std::string_view(file.text).substr(at, end - at);
    at = end + 1;
    if (text == line.name) {
      result.value = true;
      source.decides = true;
      source.value = std::string(text);
      result.decidedBy = path + ", line " + std::to_string(number);
      break;
    }
    if (text.substr(0, text.size() - (text.empty() ? 0 : 1)) == line.name && text.back() == '\r') {
      source.notes.push_back({Severity::warning,
                              "line " + std::to_string(number) + " ends in a carriage return",
                              "remove the carriage return"});
    }
  }
  return result;
}

namespace {

std::string withMiss(std::string reason, const std::string& miss) {
  return miss.empty() ? reason : reason.append("; ").append(miss);
}

/// Returns the first database's type, or why there is none. Throws what jsoncpp throws.
std::string typeIn(const JsonDocument& document, std::string& reason) {
  const Json::Value& root = document.root();
  const Json::Value& databases = root["databases"];
  if (!root.isMember("databases"))
    reason = withMiss("no member \"databases\"", document.nearMiss(root, "databases"));
  const Json::Value::Members names = databases.getMemberNames();
  if (names.empty()) {
    if (reason.empty()) reason = "\"databases\" is empty";
    return {};
  }
  reason = "databases." + names.front() + "[0].type is ";
  const Json::Value& entry = databases[names.front()][0U];
  const Json::Value& type = entry["type"];
  if (type.isString() && !type.asString().empty()) return type.asString();
  reason += type.isNull() ? "missing" : type.isString() ? "empty" : "not a string";
  if (type.isNull()) reason = withMiss(reason, document.nearMiss(entry, "type"));
  return {};
}

void readType(const FileFacts& file, SourceState& source) {
  const JsonDocument document(file.text, JsonRules::lenient);
  if (document.fault()) {
    const Finding& fault = *document.fault();
    source.state = "malformed at line " + std::to_string(fault.place.line) + ", column " +
                   std::to_string(fault.place.column) + ": " + fault.message;
    source.notes.push_back({Severity::error, "", "correct the document"});
    return;
  }
  std::string reason;
  std::string type;
  try {
    type = typeIn(document, reason);
  } catch (const std::exception&) {
    reason = "a value is of the wrong kind; databases.NAME[0].type is expected";
  }
  if (const std::optional<Finding> repeated = document.repeatedName())
    source.notes.push_back({Severity::warning, repeated->message, "keep one of them"});
  if (!type.empty()) {
    source.value = type;
    source.state = "readable; " + reason + quoted(type);
    return;
  }
  source.state = "readable; " + reason;
  source.notes.push_back(
      {Severity::error, "", "write {\"databases\": {\"NAME\": [{\"type\": ...}]}}"});
}

/// The library compares types in any letter case, and escapes text for another one as for Sybase.
void noteUnknownType(const Item& member, SourceState& source) {
  const std::vector<std::string_view>& known = member.accepted.words;
  const bool isKnown = std::any_of(known.begin(), known.end(), [&](std::string_view word) {
    return editDistance(word, *source.value) == 0;
  });
  if (isKnown) return;
  const Verdict verdict = checkValue(member.accepted, *source.value);
  source.notes.push_back(
      {Severity::warning,
       "not " + quotedWords(member.accepted) + ", escaped as for sybase" +
           (verdict.suggestion.empty() ? "" : "; did you mean " + verdict.suggestion + "?"),
       "write one of these", true});
}

}  // namespace

Explanation Explainer::databaseType(const Answer& answer) const {
  const Item& member = itemOf(answer, Kind::jsonMember);
  Explanation result;
  result.sources.push_back(variableSource("APP_CONF_FILE"));
  result.value = std::string(member.fallback);
  result.decidedBy = "the default: no source names a type";
  const std::string path = m_facts.variable("APP_CONF_FILE");
  if (path.empty()) return result;
  result.sources.push_back(fileSource(path));
  const FileFacts& file = m_facts.file(path);
  if (isUnknown(file)) return unknown(std::move(result), path);
  SourceState& source = result.sources.back();
  if (file.readable && file.type == FileType::regular) readType(file, source);
  if (!source.value) return result;
  source.decides = true;
  result.value = *source.value;
  result.decidedBy = path;
  noteUnknownType(member, source);
  return result;
}

}  // namespace settings
