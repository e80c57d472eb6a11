// Why the list of cluster nodes and the list of unsafe words are what they are.
#include "settings/accepted.h"
#include "settings/explain_parts.h"
#include "settings/explanation.h"
#include "settings/ini_document.h"
#include "settings/json_document.h"
#include "settings/paths.h"
#include "settings/source_words.h"

namespace settings {
namespace {

void noteAddress(const std::string& node, const std::string& address, SourceState& source) {
  if (checkValue({Form::address, {}}, address).accepted()) return;
  source.notes.push_back({Severity::warning,
                          quoted(address) + " of node " + node + " is not an address",
                          "write an IPv4 or IPv6 address"});
}

/// Whether the library takes the node for one that serves remote clients.
bool servesRemoteClients(const JsonDocument& document, const std::string& name,
                         const Json::Value& attributes, SourceState& source) {
  if (!attributes.isMember("RemoteClient")) {
    const std::string miss = document.nearMiss(attributes, "RemoteClient");
    if (!miss.empty()) {
      source.notes.push_back({Severity::warning,
                              "node " + name + " has no \"RemoteClient\"; " + miss,
                              "correct the spelling"});
    }
    return false;
  }
  const Json::Value& mark = attributes["RemoteClient"];
  const std::string text =
      mark.isConvertibleTo(Json::stringValue) ? mark.asString() : std::string();
  if (text != "true" && text != "false") {
    source.notes.push_back(
        {Severity::warning,
         "RemoteClient of node " + name + " is " + quoted(text) + ": not \"true\", counts as no",
         "write \"true\" or \"false\""});
  }
  return text == "true";
}

void noteNoAddresses(const JsonDocument& document, const std::string& name, const Json::Value& node,
                     SourceState& source) {
  std::string text = "node " + name + " serves remote clients and has no \"IPAddresses\"";
  if (node.isMember("IPAddresses")) text += " with entries";
  const std::string miss = document.nearMiss(node, "IPAddresses");
  if (!node.isMember("IPAddresses") && !miss.empty()) text.append("; ").append(miss);
  source.notes.push_back({Severity::warning, text, "write \"IPAddresses\": [{\"IP\": ...}]"});
}

/// Reads the node list in the library's steps. Throws what jsoncpp throws.
Json::Value remoteClients(const JsonDocument& document, SourceState& source) {
  Json::Value addresses(Json::arrayValue);
  const Json::Value& root = document.root();
  const Json::Value& nodes = root["nodeList"];
  if (!root.isMember("nodeList")) {
    const std::string miss = document.nearMiss(root, "nodeList");
    source.state += "; no member \"nodeList\"" + (miss.empty() ? "" : "; " + miss);
    source.notes.push_back({Severity::warning, "", "write {\"nodeList\": {...}}"});
  }
  for (const std::string& name : nodes.getMemberNames()) {
    const Json::Value& node = nodes[name];
    if (!servesRemoteClients(document, name, node["extAttr"], source)) continue;
    const Json::Value& entries = node["IPAddresses"];
    for (Json::ArrayIndex i = 0; i < entries.size(); ++i) {  // NOLINT(modernize-loop-convert)
      const std::string address = entries[i]["IP"].asString();
      noteAddress(name, address, source);
      addresses.append(address);
    }
    if (entries.empty() || !entries.isArray()) noteNoAddresses(document, name, node, source);
  }
  return addresses;
}

/// A word may hold quotes; around it they are hardly meant.
void noteQuotes(const IniEntry& entry, SourceState& source) {
  const std::string& word = entry.value;
  const bool quotes = word.size() > 2 && word.front() == word.back() && word.front() == '"';
  if (!quotes) return;
  source.notes.push_back({Severity::warning,
                          "line " + std::to_string(entry.place.line) + " has " + word +
                              ": the quotes are part of the word",
                          "write the word alone"});
}

}  // namespace

Explanation Explainer::clusterNodes(const Answer& /*answer*/) const {
  Explanation result;
  result.sources.push_back(variableSource("QORV_ROOT"));
  result.decidedBy = "QORV_ROOT is not set: no node list";
  if (!m_facts.isSet("QORV_ROOT")) return result;
  const std::string path = pathOf(*findItem(Kind::file, "nodelists.json"), m_facts.environment);
  const FileFacts& file = m_facts.file(path);
  result.sources.push_back(fileSource(path));
  if (isUnknown(file)) return unknown(std::move(result), path);
  SourceState& source = result.sources.back();
  result.decidedBy = "no readable node list";
  if (!isReadableText(file)) return result;
  const JsonDocument document(file.text, JsonRules::lenient);
  if (document.fault()) {
    const Finding& fault = *document.fault();
    source.state = "malformed at line " + std::to_string(fault.place.line) + ", column " +
                   std::to_string(fault.place.column) + ": " + fault.message;
    source.notes.push_back({Severity::error, "", "correct the document"});
    return result;
  }
  try {
    result.value = remoteClients(document, source);
    result.decidedBy = path;
    source.decides = true;
    if (const std::optional<Finding> repeated = document.repeatedName())
      source.notes.push_back({Severity::warning, repeated->message, "keep one of them"});
  } catch (const std::exception&) {
    source.state = "readable; a value is of the wrong kind";
    source.notes.push_back({Severity::error, "the library throws an exception",
                            "write {\"nodeList\": {\"NODE\": {\"extAttr\": {...}, "
                            "\"IPAddresses\": [{\"IP\": ...}]}}}"});
  }
  return result;
}

Explanation Explainer::unsafeWords(const Answer& answer) const {
  const Item& key = itemOf(answer, Kind::iniKey);
  const std::string path = chosenPath(key.parent, m_facts);
  const FileFacts& file = m_facts.file(path);
  Explanation result;
  result.sources.push_back(searchedSource(key.parent));
  if (isUnknown(file)) return unknown(std::move(result), path);
  SourceState& source = result.sources.front();
  result.value = Json::Value(Json::arrayValue);
  result.decidedBy = "no readable secure.cfg: every string is safe";
  if (!isReadableText(file)) return result;
  const IniDocument document(file.text);
  for (const IniEntry& entry : document.entries()) {
    if (entry.section != key.section || entry.value.empty()) continue;
    result.value.append(entry.value);
    noteQuotes(entry, source);
  }
  if (!document.hasSection(key.section)) source.state += "; no section " + std::string(key.section);
  for (const Finding& miss : document.nearMisses(key.section, ""))
    source.notes.push_back({Severity::warning, miss.message, "correct the spelling"});
  for (const Finding& finding : document.findings()) {
    source.notes.push_back({Severity::warning,
                            "line " + std::to_string(finding.place.line) + ": " + finding.message,
                            "correct the line"});
  }
  source.decides = !result.value.empty();
  result.decidedBy = source.decides ? path : "no words: every string is safe";
  return result;
}

}  // namespace settings
