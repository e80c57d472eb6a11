#include "settings_changes.h"

#include <VexaCommonUtils_i.h>

#include <json/value.h>

#include <memory>

#include "output.h"
#include "progress.h"
#include "settings_check.h"

namespace {

constexpr int kNoStore = -1;

Json::Value orNull(const std::optional<std::string>& value) {
  return value ? Json::Value(*value) : Json::Value();
}

/// Returns why services do not see a change that was written, "" if they do: a store other than the
/// reference store may serve them.
std::string storeNotice(const std::vector<settings::Effect>& effects, const std::string& document) {
  for (const settings::Effect& effect : effects) {
    std::string value;
    const int result = VexaCommonUtils_i::getSettingParamValue(effect.key, value);
    if (result == kNoStore) return {};
    const std::optional<std::string> answer = result == 0 ? std::optional(value) : std::nullopt;
    if (answer != effect.after) {
      return "the settings store does not read " + document + ": it has " + quotedValue(answer) +
             " for " + effect.key;
    }
  }
  return {};
}

void printJson(const std::string& file, const std::vector<settings::Effect>& effects, bool written,
               const std::string& notice) {
  Json::Value document;
  document["file"] = file;
  document["written"] = written;
  document["changes"] = Json::arrayValue;
  for (const settings::Effect& effect : effects) {
    Json::Value row;
    row["key"] = effect.key;
    row["before"] = orNull(effect.before);
    row["after"] = orNull(effect.after);
    document["changes"].append(row);
  }
  if (!notice.empty()) document["notice"] = notice;
  printDocument(document, true);
}

void printChanges(const std::string& file, const std::vector<settings::Effect>& effects,
                  bool written) {
  std::string title = printable(file);
  if (!written) title += effects.empty() ? ": unchanged" : ": would change";
  printBytes(title + "\n");
  for (const settings::Effect& effect : effects) {
    printBytes("  " + printable(effect.key) + "  " + quotedValue(effect.before) + " -> " +
               quotedValue(effect.after) + "\n");
  }
}

}  // namespace

void addChangeOptions(Command& subcommand, ChangeOptions& options) {
  subcommand.arguments.push_back(
      {.name = "--wait",
       .value = &options.wait,
       .purpose = "Wait at most N seconds for another writer (default 10)",
       .valueName = "N",
       .range = Range{}});
  subcommand.arguments.push_back(jsonFlag(options.json));
  subcommand.exitCodes = {{"0", "ok"},
                          {"1", "nothing was changed, for the reason that is printed"},
                          {"75", "another writer holds the document's lock"},
                          {"2", "wrong use"}};
}

int changeSettings(const settings::Target::Plan& plan, const ChangeOptions& options) {
  const std::unique_ptr<settings::Target> target = settings::openTarget();
  settings::WriteOptions writing;
  writing.wait = std::chrono::seconds(options.wait);
  writing.dryRun = options.dryRun;
  Progress progress("changing " + target->name());
  writing.onWait = [&](const std::string& what) { progress.update(what); };
  try {
    const std::vector<settings::Effect> effects = target->write(plan, writing);
    const bool written = !effects.empty() && !options.dryRun;
    const std::string notice = written ? storeNotice(effects, target->name()) : "";
    if (options.json) {
      printJson(target->name(), effects, written, notice);
    } else {
      printChanges(target->name(), effects, written);
      if (!notice.empty()) complain(notice);
    }
    return kOk;
  } catch (const settings::TargetBusy& error) {
    return fail(error.what(), kBusy);
  }
}
