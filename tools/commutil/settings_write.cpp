// The subcommands settings put and delete.
#include <optional>
#include <stdexcept>
#include <string>

#include "settings.h"
#include "settings/accepted.h"
#include "settings_changes.h"
#include "settings_check.h"
#include "settings_keys.h"

namespace {

struct SettingOptions : ChangeOptions {
  std::optional<std::string> app;
  std::string name;
  std::string value;
};

void requireWritableKey(const std::string& key) {
  if (key.back() == '/') throw std::runtime_error(key + " is a group, not a setting");
}

int put(const SettingOptions& options) {
  const std::string key = settingKey(options.name, options.app);
  requireWritableKey(key);
  const settings::Verdict verdict = settings::checkStoreValue(key, options.value);
  if (!verdict.accepted() && !options.force) {
    throw std::runtime_error(key + ": " + quotedValue(options.value) + ": " + verdict.message() +
                             " (--force writes it)");
  }
  const settings::Change change{key, options.value};
  return changeSettings([&](const settings::Values&) { return std::vector{change}; }, options);
}

int erase(const SettingOptions& options) {
  const std::string key = settingKey(options.name, options.app);
  requireWritableKey(key);
  const auto plan = [&](const settings::Values& current) {
    if (current.count(key) == 0) throw std::runtime_error(key + " is not set");
    return std::vector{settings::Change{key, std::nullopt}};
  };
  return changeSettings(plan, options);
}

Argument keyOperand(SettingOptions& options) {
  Argument key = operand("KEY", options.name, "A key, or a parameter such as ListenAllIp");
  key.completion = Completion::setting;
  return key;
}

}  // namespace

void addSettingsWrite(Tool& tool, Command& settings) {
  tool.add<SettingOptions>(
      settings, "put", "Set a setting in the reference store's document.",
      [](Command& subcommand, SettingOptions& options) {
        subcommand.arguments = {
            keyOperand(options),
            appOption(options.app),
            operand("VALUE", options.value, "Its new value"),
            {.name = "--force",
             .value = &options.force,
             .purpose = "Write a name or value that the library does not know"}};
        addChangeOptions(subcommand, options);
      },
      put);
  tool.add<SettingOptions>(
      settings, "delete", "Remove a setting from the reference store's document.",
      [](Command& subcommand, SettingOptions& options) {
        subcommand.arguments = {keyOperand(options), appOption(options.app)};
        addChangeOptions(subcommand, options);
      },
      erase);
}
