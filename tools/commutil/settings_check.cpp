// The subcommand settings check: finds unknown names, and values that no reader accepts.
#include "settings_check.h"

#include <iostream>
#include <iterator>
#include <stdexcept>

#include "output.h"
#include "settings.h"
#include "settings/accepted.h"
#include "settings_store/read_file.h"
#include "settings_store/snapshot_text.h"

namespace {

struct CheckOptions {
  bool json = false;
  std::string path;
};

std::string readInput() {
  return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
}

std::string readText(const std::string& path) {
  const std::optional<std::string> text = settings::readRegularFile(path);
  if (!text) throw std::runtime_error(path + ": No such file or directory");
  return *text;
}

Json::Value toJson(const SettingProblem& problem) {
  Json::Value row;
  row["key"] = problem.key;
  row["value"] = problem.value ? Json::Value(*problem.value) : Json::Value();
  row["line"] = Json::UInt64(problem.place.line);
  row["column"] = Json::UInt64(problem.place.column);
  row["problem"] = problem.problem;
  row["suggestion"] = problem.suggestion.empty() ? Json::Value() : Json::Value(problem.suggestion);
  return row;
}

int check(const CheckOptions& options) {
  const settings::DocumentText document = readDocument(options.path);
  const std::vector<SettingProblem> problems = checkDocument(document);
  if (options.json) {
    Json::Value result;
    result["file"] = options.path;
    result["settings"] = Json::UInt64(document.entries().size());
    result["problems"] = Json::arrayValue;
    for (const SettingProblem& problem : problems) result["problems"].append(toJson(problem));
    printDocument(result, true);
  } else {
    for (const SettingProblem& problem : problems)
      printBytes(printable(options.path) + ":" + problem.message() + "\n");
    if (problems.empty()) {
      printBytes(printable(options.path) + ": " + std::to_string(document.entries().size()) +
                 " settings, all accepted\n");
    }
  }
  return problems.empty() ? kOk : kNo;
}

}  // namespace

std::string quotedValue(const std::optional<std::string>& value) {
  return value ? "\"" + printable(*value) + "\"" : "(not set)";
}

std::string SettingProblem::message() const {
  return std::to_string(place.line) + ":" + std::to_string(place.column) + ": " + printable(key) +
         ": " + (value ? quotedValue(value) + ": " : "") + problem +
         (suggestion.empty() ? "" : "; did you mean " + printable(suggestion) + "?");
}

std::vector<SettingProblem> checkDocument(const settings::DocumentText& document) {
  std::vector<SettingProblem> problems;
  for (const settings::DocumentText::Entry& entry : document.entries()) {
    const settings::Verdict verdict =
        settings::checkStoreValue(entry.key, entry.value.value_or(""));
    std::string problem = verdict.reason;
    if (!entry.value) problem = "an array or null: the store has no setting here";
    if (problem.empty()) continue;
    problems.push_back({entry.key, entry.value, document.placeOf(entry), problem,
                        entry.value ? verdict.suggestion : ""});
  }
  return problems;
}

settings::DocumentText readDocument(const std::string& path) {
  try {
    return settings::DocumentText(settings::asDocument(path == "-" ? readInput() : readText(path)));
  } catch (const settings::MalformedDocument& error) {
    throw std::runtime_error(path + ":" + error.what());
  }
}

Argument documentOperand(std::string& path) {
  Argument argument = operand("FILE", path, "The document; - is standard input");
  argument.completion = Completion::file;
  return argument;
}

void addSettingsCheck(Tool& tool, Command& settings) {
  tool.add<CheckOptions>(
      settings, "check",
      "Check a settings document: names that the library does not know, values that it does not "
      "accept.",
      [](Command& subcommand, CheckOptions& options) {
        subcommand.arguments = {documentOperand(options.path), jsonFlag(options.json)};
        subcommand.exitCodes = {{"0", "everything is accepted"},
                                {"1", "something is not, or FILE cannot be read"},
                                {"2", "wrong use"}};
      },
      check);
}
