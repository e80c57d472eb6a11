#pragma once

#include <set>
#include <string>

// The pages that are generated from the catalog.

namespace settings {

/// docs/configuration.md.
std::string markdownPage();

/// The man page commutil(5).
std::string manPage();

/// The names that `commutil explain` takes.
std::set<std::string> answerNames();

/// The settings of the store: the parameters, and their whole keys in the shared branch.
std::set<std::string> settingNames();

}  // namespace settings
