// The subcommand check: the checks that an engineer would make on this host's configuration.
#include "check.h"

#include <json/value.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "explain.h"
#include "output.h"
#include "style.h"
#include "tool.h"
#include "view.h"

namespace {

using settings::Severity;

struct CheckOptions : ViewOptions {
  bool quiet = false;
};

std::size_t countOf(const Checks& checks, Severity severity) {
  return static_cast<std::size_t>(
      std::count_if(checks.begin(), checks.end(),
                    [&](const Check& check) { return check.severity == severity; }));
}

/// Several answers report the same finding about a file; the most severe stays.
void removeDuplicates(Checks& checks) {
  Checks kept;
  for (Check& check : checks) {
    const auto known = std::find_if(kept.begin(), kept.end(), [&](const Check& other) {
      return other.subject == check.subject && other.message == check.message;
    });
    if (known == kept.end()) {
      kept.push_back(std::move(check));
    } else if (check.severity > known->severity) {
      *known = std::move(check);
    }
  }
  checks.swap(kept);
}

Json::Value jsonOf(const Check& check) {
  Json::Value row;
  row["status"] = std::string(wordFor(check.severity));
  row["theme"] = check.theme;
  row["subject"] = check.subject;
  row["message"] = check.message;
  row["remedy"] = check.remedy.empty() ? Json::Value() : Json::Value(check.remedy);
  return row;
}

std::string lineOf(const Check& check) {
  constexpr std::size_t kColumn = 9;
  const std::string_view word = wordFor(check.severity);
  std::string line = colored(check.severity, word) + std::string(kColumn - word.size(), ' ') +
                     printable(check.subject + ": " + check.message);
  if (!check.remedy.empty()) line += "; " + printable(check.remedy);
  return line + "\n";
}

/// COUNT NOUN, in the plural unless COUNT is 1.
std::string counted(std::size_t count, std::string_view noun) {
  return std::to_string(count).append(" ").append(noun).append(count == 1 ? "" : "s");
}

void printText(const CheckOptions& options, const View& view, const Checks& checks) {
  if (!options.quiet && !view.title.empty()) printBytes("view of " + view.title + "\n");
  for (const Check& check : checks)
    if (!options.quiet || check.severity != Severity::ok) printBytes(lineOf(check));
  if (options.quiet) return;
  printBytes(counted(countOf(checks, Severity::error), "error") + ", " +
             counted(countOf(checks, Severity::warning), "warning") + ", " +
             std::to_string(countOf(checks, Severity::ok)) + " ok\n");
}

void printJson(const CheckOptions& options, const View& view, const Checks& checks,
               Severity worst) {
  Json::Value document;
  if (!view.title.empty()) document["view"] = view.title;
  document["status"] = std::string(wordFor(worst));
  document["checks"] = Json::arrayValue;
  for (const Check& check : checks)
    if (!options.quiet || check.severity != Severity::ok) document["checks"].append(jsonOf(check));
  printDocument(document, true);
}

int show(const CheckOptions& options, const View& view) {
  Request request;
  request.host = true;
  for (const settings::Answer& answer : settings::answers()) request.answers.push_back(&answer);
  const Collection collection = collect(view, options, request);
  const settings::Explainer explainer(collection.facts);
  const CheckInput input{collection, explainer, view.started};
  Checks checks;
  for (const auto theme : {checkEnvironment, checkFiles, checkStore, checkHost})
    theme(input, checks);
  removeDuplicates(checks);
  Severity worst = Severity::ok;
  for (const Check& check : checks) worst = std::max(worst, check.severity);
  options.json ? printJson(options, view, checks, worst) : printText(options, view, checks);
  return static_cast<int>(worst);
}

}  // namespace

void addCheck(Tool& tool) {
  tool.add<CheckOptions>(
      tool.command, "check", "Check this host's configuration; each check is ok, warning or error.",
      [&tool](Command& subcommand, CheckOptions& options) {
        addViewOptions(tool, subcommand, options);
        options.failure = static_cast<int>(Severity::error);
        subcommand.arguments.push_back({.name = "--quiet",
                                        .value = &options.quiet,
                                        .purpose = "Show warnings and errors only"});
        subcommand.exitCodes = {{"0", "everything is ok"},
                                {"1", "there are warnings"},
                                {"2", "there are errors, nothing can be checked, or wrong use"}};
      },
      [](const CheckOptions& options) {
        return inView(options, [&](const View& view) { return show(options, view); });
      });
}
