// The subcommand report: the environment, the configuration files and the settings store of this
// host, and the library's answers with the source of each.
#include <VexaCommonUtils_i.h>

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>

#include "child_call.h"
#include "explain.h"
#include "output.h"
#include "pid_view.h"
#include "settings/catalog.h"
#include "settings/paths.h"
#include "tool.h"
#include "view.h"

namespace {

/// Returns the variables with their values: null for one that is not set, "" for an empty one.
Json::Value environment(const settings::Facts& facts) {
  Json::Value result(Json::objectValue);
  for (const settings::Item* const item : settings::itemsOf(settings::Kind::variable)) {
    const std::string name(item->name);
    if (name.find(' ') != std::string::npos) continue;  // any variable that a text refers to
    result[name] = facts.isSet(name) ? Json::Value(facts.variable(name)) : Json::Value();
  }
  return result;
}

/// Returns every configuration file with its path and state.
Json::Value files(const settings::Facts& facts) {
  Json::Value rows(Json::arrayValue);
  for (const settings::Item* const item : settings::itemsOf(settings::Kind::file)) {
    const bool searched = item->location == settings::Location::search;
    const std::string path = searched ? settings::chosenPath(item->name, facts)
                                      : settings::pathOf(*item, facts.environment);
    Json::Value row;
    row["name"] = std::string(item->name);
    row["path"] = path.empty() ? Json::Value() : Json::Value(path);
    row["state"] = path.empty() ? "not named by the environment"
                                : settings::stateOf(facts.file(path), facts.user).text;
    rows.append(row);
  }
  return rows;
}

/// The same as plain text.
Json::Value linesOf(const Json::Value& rows) {
  Json::Value lines(Json::objectValue);
  for (const Json::Value& row : rows) {
    const std::string path = row["path"].isNull() ? "" : row["path"].asString() + ": ";
    lines[row["name"].asString()] = path + row["state"].asString();
  }
  return lines;
}

Json::Value store(const settings::Facts& facts, const settings::Explainer& explainer) {
  const settings::StoreLibrary& library = facts.library;
  Json::Value result;
  result["library"] = library.path.empty() ? Json::Value() : Json::Value(library.path);
  result["realPath"] = library.realPath.empty() ? Json::Value() : Json::Value(library.realPath);
  const std::string error = library.fault.empty() ? library.error : library.fault;
  result["error"] = error.empty() ? Json::Value() : Json::Value(error);
  const std::string& document = explainer.document().path();
  result["document"] = document.empty() ? Json::Value() : Json::Value(document);
  return result;
}

Json::Value reportOf(const View& view, const Collection& collection) {
  const settings::Facts& facts = collection.facts;
  const settings::Explainer explainer(facts);
  Json::Value document;
  if (!view.title.empty()) document["view"] = view.title;
  document["user"] = facts.user;
  document["environment"] = environment(facts);
  document["files"] = files(facts);
  document["store"] = store(facts, explainer);
  document["sslMode"] = VexaCommonUtils_i::VexaGetSSLMode();
  document["answers"] = Json::arrayValue;
  for (const settings::Answer& answer : settings::answers())
    document["answers"].append(jsonOf(explained(explainer, answer, collection)));
  return document;
}

void printAnswers(const View& view, const Collection& collection) {
  const settings::Explainer explainer(collection.facts);
  printBytes("answers" + std::string(view.title.empty() ? "" : " to " + view.title) + "\n");
  for (const settings::Answer& answer : settings::answers())
    printBytes(textOf(explained(explainer, answer, collection)));
}

struct ReportOptions : ViewOptions {
  std::string saved;
};

/// Reads the saved report in a child, like every other file.
std::string readSaved(const ReportOptions& options) {
  settings::FileFacts file;
  ChildCalls calls(timeoutOf(options));
  calls.start(
      "the file " + options.saved,
      [&] { return settings::packed(settings::examine(options.saved)); },
      [&](const CallResult& result) {
        file = settings::unpackedFile(result.bytes);
        file.fault = result.fault;
      });
  calls.finish();
  if (!settings::isReadableText(file) || file.isLarge()) {
    throw std::runtime_error(options.saved + ": " +
                             settings::stateOf(file, settings::currentUser()).text);
  }
  return file.text;
}

/// Returns what `commutil report --json` printed, without the schema's number.
Json::Value checkedReport(Json::Value document, const std::string& name) {
  if (!document.isObject() || !document["answers"].isArray())
    throw std::runtime_error(name + ": not a report of commutil report --json");
  document.removeMember("schema");
  return document;
}

Json::Value parsedReport(const std::string& text, const std::string& name) {
  Json::Value document;
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  const bool parsed = reader->parse(text.data(), text.data() + text.size(), &document, nullptr);
  return checkedReport(parsed ? document : Json::Value(), name);
}

/// Returns the name of an element of an array of named objects, else its position.
std::string nameOf(const Json::Value& element, Json::ArrayIndex index) {
  for (const char* const member : {"operation", "name", "place"})
    if (element.isObject() && element[member].isString()) return element[member].asString();
  return std::to_string(index);
}

std::string scalar(const Json::Value& value) {
  if (value.isObject() || value.isArray()) return value.empty() ? "(none)" : "(some)";
  return value.isNull() ? "(not set)" : valueText(value.isNumeric() ? value.asString() : value);
}

/// Appends a row for each leaf in which the two differ.
void compare(const std::string& place, const Json::Value& before, const Json::Value& now,
             Json::Value& rows) {
  if (before == now) return;
  if (before.isObject() && now.isObject()) {
    Json::Value::Members names = before.getMemberNames();
    for (const std::string& name : now.getMemberNames())
      if (!before.isMember(name)) names.push_back(name);
    const std::string prefix = place.empty() ? place : place + ".";
    for (const std::string& name : names) compare(prefix + name, before[name], now[name], rows);
    return;
  }
  if (before.isArray() && now.isArray() && before.size() == now.size() && !now.empty() &&
      now[0U].isObject()) {
    for (Json::ArrayIndex i = 0; i < now.size(); ++i)
      compare(place + "." + nameOf(now[i], i), before[i], now[i], rows);
    return;
  }
  Json::Value row;
  row["place"] = place;
  row["before"] = before;
  row["now"] = now;
  rows.append(row);
}

int showDifference(const ReportOptions& options, const Json::Value& now) {
  Json::Value result;
  result["differences"] = Json::arrayValue;
  compare("", parsedReport(readSaved(options), options.saved), now, result["differences"]);
  if (options.json) printDocument(result, true);
  if (!options.json) {
    for (const Json::Value& row : result["differences"]) {
      printBytes(printable(row["place"].asString()) + ": " + scalar(row["before"]) + " -> " +
                 scalar(row["now"]) + "\n");
    }
  }
  return result["differences"].empty() ? kOk : kNo;
}

int show(const ReportOptions& options, const View& view) {
  Request request;
  for (const settings::Answer& answer : settings::answers()) request.answers.push_back(&answer);
  const Collection collection = collect(view, options, request);
  Json::Value document = reportOf(view, collection);
  if (!options.saved.empty()) {
    // In the form that it has after printing, like the saved one.
    const std::string text = Json::writeString(Json::StreamWriterBuilder(), withUtf8(document));
    return showDifference(options, parsedReport(text, "report"));
  }
  if (options.json) {
    printDocument(document, true);
    return kOk;
  }
  document.removeMember("answers");
  document["files"] = linesOf(document["files"]);
  printDocument(document, false);
  printAnswers(view, collection);
  return kOk;
}

/// Compares the service's report in this process, so that the service's user gets no access to the
/// saved report.
int compareView(const ReportOptions& options) {
  ReportOptions inner = options;
  inner.json = true;
  inner.saved.clear();
  inner.commandLine = {options.commandLine.front(), "report", "--json", "--timeout",
                       std::to_string(options.timeout)};
  const ShownView shown =
      documentOfProcess(inner, [&](const View& view) { return show(inner, view); });
  if (shown.document.isMember("error")) return fail(shown.document["error"].asString(), shown.code);
  return showDifference(options, checkedReport(shown.document, "the view"));
}

int run(const ReportOptions& options) {
  if (options.pid && !options.saved.empty()) return compareView(options);
  return inView(options, [&](const View& view) { return show(options, view); });
}

}  // namespace

void addReport(Tool& tool) {
  tool.add<ReportOptions>(
      tool.command, "report", "Show every environment variable, file, answer and what decided it.",
      [&tool](Command& subcommand, ReportOptions& options) {
        addViewOptions(tool, subcommand, options);
        subcommand.arguments.push_back(
            {.name = "--diff",
             .value = &options.saved,
             .purpose = "Compare with a report saved with --json; exit code 1 if they differ",
             .valueName = "FILE",
             .completion = Completion::file});
        subcommand.exitCodes = {{"0", "ok; with --diff: no difference"},
                                {"1", "with --diff: a difference; or the operation failed"},
                                {"2", "wrong use"}};
      },
      run);
}
