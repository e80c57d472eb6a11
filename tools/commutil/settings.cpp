#include "settings.h"

void addSettings(Tool& tool) {
  Command& settings = tool.addGroup(tool.command, "settings",
                                    "Show, check and change settings of the settings store.");
  for (const auto add :
       {addSettingsShow, addSettingsCheck, addSettingsWrite, addSettingsImport, addSettingsAgent})
    add(tool, settings);
}
