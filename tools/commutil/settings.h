#pragma once

#include "tool.h"

// The subcommands of settings, each from the source of its name.
void addSettingsShow(Tool& tool, CLI::App& settings);
void addSettingsCheck(Tool& tool, CLI::App& settings);
void addSettingsWrite(Tool& tool, CLI::App& settings);
void addSettingsImport(Tool& tool, CLI::App& settings);
