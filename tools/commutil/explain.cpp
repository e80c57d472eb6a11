// The subcommand explain: answers of the library, the source that decided each, and the state of
// every source.
#include "explain.h"

#include <algorithm>
#include <string>
#include <vector>

#include "output.h"
#include "style.h"
#include "tool.h"
#include "view.h"

namespace {

using settings::Note;
using settings::Severity;
using settings::SourceState;

/// Returns how the library's answer differs from the catalog's, "" if it does not.
std::string mismatchOf(const settings::Answer& answer, const Json::Value& expected,
                       const LibraryAnswer& actual) {
  if (!actual.fault.empty()) return std::string(answer.name) + ": " + actual.fault;
  if (expected.isNull() || expected == actual.value) return {};
  return "the catalog expects " + valueText(expected) +
         "; the configuration may have changed meanwhile";
}

Severity worst(const std::vector<Note>& notes) {
  Severity severity = Severity::ok;
  for (const Note& note : notes) severity = std::max(severity, note.severity);
  return severity;
}

Json::Value jsonOf(const SourceState& source, std::size_t order) {
  Json::Value row;
  row["order"] = static_cast<Json::UInt>(order);
  row["place"] = source.place;
  row["state"] = source.state;
  row["value"] = source.value ? Json::Value(*source.value) : Json::Value();
  row["decides"] = source.decides;
  row["notes"] = Json::arrayValue;
  for (const Note& note : source.notes) {
    if (note.text.empty() && note.remedy.empty()) continue;
    Json::Value entry;
    entry["severity"] = std::string(wordFor(note.severity));
    entry["text"] = note.text;
    entry["remedy"] = note.remedy;
    row["notes"].append(entry);
  }
  return row;
}

std::string lineOf(const SourceState& source) {
  std::string line = printable(source.state);
  for (const Note& note : source.notes)
    if (!note.text.empty()) line += "; " + printable(note.text);
  return line;
}

struct ExplainOptions : ViewOptions {
  std::vector<std::string> names;
};

/// Returns why `name` does not name an answer, "" if it does.
std::string problemOf(const std::string& name) {
  if (settings::findAnswer(name) != nullptr) return {};
  const std::string near(settings::suggestAnswer(name));
  return "nothing to explain is named " + name +
         (near.empty() ? "; commutil explain lists all" : "; did you mean " + near + "?");
}

/// Returns the answers that the names select; all of them without a name.
std::vector<const settings::Answer*> chosen(const std::vector<std::string>& names) {
  std::vector<const settings::Answer*> all;
  if (names.empty())
    for (const settings::Answer& answer : settings::answers()) all.push_back(&answer);
  for (const std::string& name : names) {
    all.push_back(settings::findAnswer(name));
  }
  return all;
}

int show(const ExplainOptions& options, const View& view) {
  Request request;
  request.answers = chosen(options.names);
  const Collection collection = collect(view, options, request);
  const settings::Explainer explainer(collection.facts);
  Json::Value document;
  if (!view.title.empty()) document["view"] = view.title;
  document["answers"] = Json::arrayValue;
  int code = kOk;
  if (!options.json && !view.title.empty()) printBytes("view of " + view.title + "\n");
  for (const settings::Answer* const answer : request.answers) {
    const ExplainedAnswer entry = explained(explainer, *answer, collection);
    if (!entry.mismatch.empty()) code = kNo;
    if (options.json) document["answers"].append(::jsonOf(entry));
    if (!options.json) printBytes(textOf(entry));
  }
  if (options.json) printDocument(document, true);
  return code;
}

}  // namespace

std::string valueText(const Json::Value& value) {
  if (value.isNull()) return "unknown";
  if (value.isBool()) return value.asBool() ? "yes" : "no";
  if (value.isString()) return value.asString().empty() ? "(empty)" : printable(value.asString());
  std::string text;
  for (const Json::Value& element : value)
    text += (text.empty() ? "" : ", ") + printable(element.asString());
  return text.empty() ? "(none)" : text;
}

ExplainedAnswer explained(const settings::Explainer& explainer, const settings::Answer& answer,
                          const Collection& collection) {
  ExplainedAnswer result;
  result.explanation = explainer.explain(answer);
  result.value = result.explanation.value;
  const auto own = collection.answers.find(answer.name);
  if (own == collection.answers.end()) return result;
  result.mismatch = mismatchOf(answer, result.value, own->second);
  result.value = own->second.value;
  return result;
}

Json::Value jsonOf(const ExplainedAnswer& answer) {
  const settings::Explanation& explanation = answer.explanation;
  const settings::Answer& entry = *explanation.answer;
  Json::Value row;
  row["name"] = std::string(entry.parameter.empty() ? entry.name : entry.parameter);
  row["operation"] = std::string(entry.name);
  row["meaning"] = std::string(entry.meaning);
  row["answer"] = answer.value;
  row["decidedBy"] = explanation.decidedBy;
  row["error"] = answer.mismatch.empty() ? Json::Value() : Json::Value(answer.mismatch);
  row["sources"] = Json::arrayValue;
  std::size_t order = 0;
  for (const SourceState& source : explanation.sources)
    row["sources"].append(jsonOf(source, ++order));
  return row;
}

std::string textOf(const ExplainedAnswer& answer) {
  const settings::Explanation& explanation = answer.explanation;
  std::string text = std::string(explanation.answer->name) + " = " + valueText(answer.value);
  constexpr std::size_t kColumn = 26;
  text.append(text.size() + 2 < kColumn ? kColumn - text.size() : 2, ' ');
  text += "decided by: " + printable(explanation.decidedBy) + "\n";
  if (!answer.mismatch.empty())
    text += "  " + colored(Severity::error, "error: " + printable(answer.mismatch)) + "\n";
  std::size_t width = 0;
  for (const SourceState& source : explanation.sources)
    width = std::max(width, printable(source.place).size());
  std::size_t order = 0;
  for (const SourceState& source : explanation.sources) {
    const std::string place = printable(source.place);
    const std::string line = lineOf(source);
    const Severity severity = worst(source.notes);
    text += "  " + std::to_string(++order) + " " + place +
            std::string(width - place.size() + 3, ' ') +
            (severity == Severity::ok ? line : colored(severity, line)) + "\n";
  }
  return text;
}

void addExplain(Tool& tool) {
  tool.add<ExplainOptions>(
      tool.command, "explain",
      "Show an answer of the library, which source decided it, and the state of every source.",
      [&tool](Command& subcommand, ExplainOptions& options) {
        subcommand.arguments = {
            {.name = "NAME",
             .value = &options.names,
             .purpose = "Switches, options, paths and lists; all without a name",
             .problemOf = problemOf,
             .completion = Completion::answer}};
        addViewOptions(tool, subcommand, options);
        subcommand.exitCodes = {
            {"0", "ok"},
            {"1", "an answer is not there in time or not the one explained, or the view failed"},
            {"2", "wrong use"}};
      },
      [](const ExplainOptions& options) {
        return inView(options, [&](const View& view) { return show(options, view); });
      });
}
