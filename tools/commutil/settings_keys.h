#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool.h"

// The keys of settings, as operators name them.

/// Returns the whole key of `name`: itself if it has a "/", else the key of the parameter `name` in
/// the branch `app`, or in the branch that all applications share.
/// @throws std::runtime_error for an unknown parameter, and for an `app` that cannot be a branch
std::string settingKey(const std::string& name, const std::optional<std::string>& app);

/// Returns the keys of every parameter of the catalog: in the branch `app`, or of APP_NAME, if
/// there is one, then in the shared branch.
std::vector<std::string> allSettingKeys(const std::optional<std::string>& app);

/// Returns the option --app, which both use.
Argument appOption(std::optional<std::string>& app);
