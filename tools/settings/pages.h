#pragma once

#include <string>

// The pages that are generated from the catalog.

namespace settings {

/// docs/configuration.md.
std::string markdownPage();

/// The man page commutil(5).
std::string manPage();

/// The functions of the bash completion that list answers and settings.
std::string completionLists();

}  // namespace settings
