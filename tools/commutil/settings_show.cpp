// The subcommand settings show: prints what the settings store answers, whichever store it is.
#include <VexaCommonUtils_i.h>
#include <dlfcn.h>

#include <json/value.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "output.h"
#include "progress.h"
#include "settings.h"
#include "settings_keys.h"
#include "settings_store/target.h"
#include "store_library.h"

namespace {

constexpr int kNoStore = -1;  // the library's answer without a store, and some stores' own
constexpr const char* kStoreLibrary = "libsettingrest.so";

struct ShowOptions {
  bool json = false;
  std::optional<std::string> app;
  std::string name;
};

using Row = std::pair<std::string, std::optional<std::string>>;

/// Returns why there is no store, "" if there is one. Called after a lookup, which loads the store.
std::string storeProblem() {
  if (::dlopen(kStoreLibrary, RTLD_LAZY) != nullptr) return {};
  const char* const reason = ::dlerror();
  return std::string("there is no settings store: ") + (reason != nullptr ? reason : kStoreLibrary);
}

std::optional<std::string> stored(const std::string& key, int& result) {
  std::string value;
  result = VexaCommonUtils_i::getSettingParamValue(key, value);
  return result == 0 ? std::optional(value) : std::nullopt;
}

Json::Value toJson(const std::vector<Row>& rows) {
  Json::Value list(Json::arrayValue);
  for (const auto& [key, value] : rows) {
    Json::Value row;
    row["key"] = key;
    row["value"] = value ? Json::Value(*value) : Json::Value();
    list.append(row);
  }
  return list;
}

void print(const std::vector<Row>& rows, bool json) {
  Json::Value document;
  if (json) {
    document["settings"] = toJson(rows);
  } else {
    for (const auto& [key, value] : rows)
      document[key] = value ? Json::Value(*value) : Json::Value();
  }
  printDocument(document, json);
}

/// Returns why the reference store has no settings, "" if it has some or another store was read.
std::string documentProblem() {
  if (!examineStoreLibrary().isReference) return {};
  try {
    settings::openTarget()->read();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return {};
}

int noAnswer(int result, const std::string& name) {
  const std::string missing = result == kNoStore ? storeProblem() : "";
  if (!missing.empty()) return fail(missing);
  const std::string problem = documentProblem();
  return fail(name + " is not set" + (problem.empty() ? "" : ": " + problem));
}

int showGroup(const ShowOptions& options) {
  std::map<std::string, std::string> params;
  const int result = VexaCommonUtils_i::getSettingGroupParams(options.name, params);
  if (result != 0) return noAnswer(result, options.name);
  std::vector<Row> rows;
  rows.reserve(params.size());
  for (const auto& [name, value] : params) rows.emplace_back(options.name + name, value);
  print(rows, options.json);
  return kOk;
}

int showKey(const ShowOptions& options) {
  const std::string key = settingKey(options.name, options.app);
  int result = 0;
  const std::optional<std::string> value = stored(key, result);
  if (!value) return noAnswer(result, key);
  options.json ? print({{key, value}}, true) : printText("value", *value, false);
  return kOk;
}

int showAll(const ShowOptions& options) {
  std::vector<Row> rows;
  int result = 0;
  for (const std::string& key : allSettingKeys(options.app)) {
    const std::optional<std::string> value = stored(key, result);
    rows.emplace_back(key, value);
  }
  const std::string problem = result == kNoStore ? storeProblem() : "";
  if (!problem.empty()) return fail(problem);
  print(rows, options.json);
  return kOk;
}

int show(const ShowOptions& options) {
  const Progress progress("reading the settings store");
  if (options.name.empty()) return showAll(options);
  return options.name.back() == '/' ? showGroup(options) : showKey(options);
}

}  // namespace

void addSettingsShow(Tool& tool, Command& settings) {
  tool.add<ShowOptions>(
      settings, "show",
      "Print a setting, those of a GROUP/, or every setting that the library reads.",
      [](Command& subcommand, ShowOptions& options) {
        subcommand.arguments = {
            {.name = "NAME",
             .value = &options.name,
             .purpose = "A key, a parameter such as ListenAllIp, or a group with \"/\" at its end",
             .completion = Completion::setting},
            appOption(options.app),
            jsonFlag(options.json)};
      },
      show);
}
