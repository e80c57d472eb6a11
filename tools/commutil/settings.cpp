#include "settings.h"

void addSettings(Tool& tool) {
  CLI::App* const settings =
      tool.app.add_subcommand("settings", "Show, check and change settings of the settings store.");
  settings->require_subcommand(1);
  for (const auto add : {addSettingsShow, addSettingsCheck, addSettingsWrite, addSettingsImport})
    add(tool, *settings);
}
