#pragma once

#include "tool.h"

// The subcommands of settings, each defined in the source of its name.
void addSettingsShow(Tool& tool, Command& settings);
void addSettingsCheck(Tool& tool, Command& settings);
void addSettingsWrite(Tool& tool, Command& settings);
void addSettingsImport(Tool& tool, Command& settings);
void addSettingsAgent(Tool& tool, Command& settings);
