// The SSL option file, and why its options are what they are.
#include "settings/explain_parts.h"
#include "settings/explanation.h"
#include "settings/paths.h"
#include "settings/place.h"
#include "settings/source_words.h"

namespace settings {
namespace {

constexpr std::string_view kTemplate = "svc_ssl.conf";

/// The option's name without its hyphen is the parameter in the store.
const Item& parameterOf(std::string_view option) {
  return *findItem(Kind::storeKey, option.substr(1), "/vexa/common/svc_ssl_conf/");
}

/// Whether the line that holds offset `at` is a comment.
bool isInComment(const std::string& text, std::size_t at) {
  const std::size_t begin = text.rfind('\n', at) + 1;  // 0 on the first line
  return text[text.find_first_not_of(" \t", begin)] == '#';
}

}  // namespace

Explanation Explainer::sslOption(const Answer& answer) const {
  const Item& parameter = parameterOf(answer.name);
  const FileFacts& file = m_facts.file(chosenPath(kTemplate, m_facts));
  Explanation result;
  SourceState source = searchedSource(kTemplate);
  const std::size_t at = file.text.find(answer.name);
  const bool inTemplate = file.readable && at != std::string::npos;
  if (inTemplate) {
    source.state = "line " + std::to_string(placeOf(file.text, at).line) + " has " +
                   std::string(answer.name) + ": the store is not read";
    source.decides = true;
    if (isInComment(file.text, at)) {
      source.notes.push_back({Severity::warning, "the line is a comment, and no option is added",
                              "take the name out of the comment", true});
    }
  } else if (isReadableText(file)) {
    source.state += "; no " + std::string(answer.name);
  }
  result.sources.push_back(std::move(source));
  std::string decidedBy;
  const std::string value = siteSetting(parameter, "", result.sources, decidedBy);
  if (inTemplate) {
    for (std::size_t i = 1; i < result.sources.size(); ++i) result.sources[i].decides = false;
    result.value = "as in the template";
    result.decidedBy = result.sources.front().place;
    return result;
  }
  if (isUnknown(decidedBy)) return unknown(std::move(result), decidedBy);
  result.value = decidedBy.empty() ? std::string(parameter.fallback) : value;
  result.decidedBy = decidedBy.empty() ? "the default: no source has a value" : decidedBy;
  return result;
}

Explainer::SslFile Explainer::sslFile() const {
  SslFile result;
  const std::string path = chosenPath(kTemplate, m_facts);
  const FileFacts& file = m_facts.file(path);
  const Note state = stateOf(file, m_facts.user);
  if (file.type != FileType::regular || !file.readable || file.isLarge()) {
    result.fault = "the template " + path + ": " + state.text;
    result.remedy = state.remedy;
    return result;
  }
  result.text = file.text;
  const std::size_t caFile = result.text.find("-SSLCAfile");
  if (caFile != std::string::npos && isInComment(result.text, caFile)) {
    result.remark = "line " + std::to_string(placeOf(result.text, caFile).line) + " of " + path +
                    " has the first -SSLCAfile and is a comment: the options are added there";
  }
  for (const Answer& answer : answers()) {
    if (answer.kind != AnswerKind::option || result.text.find(answer.name) != std::string::npos)
      continue;
    const Explanation option = sslOption(answer);
    const bool flag = answer.name == "-SSLNoProtection";
    if (flag && option.value != "enable") continue;
    const std::size_t quote = result.text.find('"', caFile);
    if (quote == std::string::npos) {
      const std::string line = caFile == std::string::npos
                                   ? "it has no -SSLCAfile"
                                   : "no double quote follows -SSLCAfile in line " +
                                         std::to_string(placeOf(file.text, caFile).line);
      std::string fault = "the template ";
      fault.append(path).append(": ").append(line);
      return {{}, std::move(fault), "end the argument string with a quote", {}};
    }
    result.text.insert(
        quote, "\n" + std::string(answer.name) + (flag ? "" : " " + option.value.asString()));
  }
  return result;
}

}  // namespace settings
