// Why paths are what they are.
#include "settings/explain_parts.h"
#include "settings/explanation.h"
#include "settings/paths.h"
#include "settings/source_words.h"

namespace settings {
namespace {

/// What of `directory` looks like a reference, now that references are expanded.
void noteReferences(const std::string& directory, SourceState& source) {
  const std::size_t open = directory.find("${");
  if (open != std::string::npos && directory.find('}', open) == std::string::npos) {
    source.notes.push_back(
        {Severity::warning, "\"${\" without \"}\" stays as written", "write ${NAME}", true});
  } else if (open != std::string::npos) {
    source.notes.push_back({Severity::warning,
                            "a reference stays as written: its variable is not set",
                            "set the variable", true});
  }
  if (directory.find("$(") != std::string::npos) {
    source.notes.push_back({Severity::warning,
                            "\"$(\" is not a reference here: it stays as written", "write ${NAME}",
                            true});
  }
}

}  // namespace

Explanation Explainer::searchedFile(const Answer& answer) const {
  const std::string_view name = itemOf(answer, Kind::file).name;
  const std::string path = chosenPath(name, m_facts);
  Explanation result;
  result.value = path;
  bool decided = false;
  for (const std::string& candidate : candidates(name, m_facts.environment)) {
    SourceState source = fileSource(candidate);
    source.decides = !decided && candidate == path;
    decided = decided || source.decides;
    if (!source.decides && !m_facts.file(candidate).exists()) source.notes.clear();
    result.sources.push_back(std::move(source));
  }
  result.decidedBy =
      m_facts.file(path).exists() ? "the first that exists" : "none exists: the last place";
  for (const SourceState& source : result.sources)
    if (!m_facts.file(source.place).fault.empty()) return unknown(std::move(result), source.place);
  return result;
}

Explanation Explainer::directory(const Answer& answer) const {
  const std::string_view name = itemOf(answer, Kind::variable).name;
  Explanation result;
  result.sources.push_back(variableSource(name));
  result.sources.back().decides = true;
  result.value = m_facts.variable(name) + "/conf";
  result.decidedBy = name;
  if (m_facts.variable(name).empty()) {
    result.sources.back().notes.push_back(
        {Severity::warning, "the path begins with \"/conf\"", "set " + std::string(name)});
  }
  return result;
}

Explanation Explainer::tracePath(const Answer& answer) const {
  const Item& key = itemOf(answer, Kind::iniKey);
  const std::string path = chosenPath(key.parent, m_facts);
  const FileFacts& file = m_facts.file(path);
  Explanation result;
  result.sources.push_back(iniSource(searchedSource(key.parent), file, key));
  result.sources.push_back(variableSource("_APP_LOG_DIR"));
  if (isUnknown(file)) return unknown(std::move(result), path);
  std::string directory = m_facts.variable("_APP_LOG_DIR") + "/log/";
  SourceState& inFile = result.sources.front();
  inFile.decides = isReadableText(file) && hasValue(inFile);
  if (inFile.decides) directory = expandBraces(*inFile.value, m_facts.environment);
  if (directory.back() != '/') directory += '/';
  if (inFile.decides) noteReferences(directory, inFile);
  result.sources.back().decides = !inFile.decides;
  result.value = directory;
  result.decidedBy = inFile.decides ? path : "_APP_LOG_DIR";
  return result;
}

Explanation Explainer::lockDump(const Answer& answer) const {
  const Item& variable = itemOf(answer, Kind::variable);
  Explanation result;
  result.sources.push_back(variableSource(variable.name));
  const bool isSet = m_facts.isSet(variable.name);
  result.sources.back().decides = isSet;
  result.value = isSet ? m_facts.variable(variable.name) : std::string(variable.fallback);
  result.decidedBy = isSet ? std::string(variable.name) : "the default";
  return result;
}

}  // namespace settings
