#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "settings/catalog.h"
#include "settings/facts.h"
#include "settings/file_state.h"

// The paths that the library composes from the environment.

namespace settings {

/// Returns the places of a searched configuration file, in order.
std::vector<std::string> candidates(std::string_view name, const Environment& environment);

/// Returns the path of a file that is not searched for, "" if its variable is not set and has no
/// default.
std::string pathOf(const Item& file, const Environment& environment);

/// Returns the place that applies: the first that exists, else the last.
std::string chosenPath(std::string_view name, const Facts& facts);

/// Says which places before that one the search passes over although something is there, or may be:
/// a link that leads nowhere, a path that the user cannot follow.
std::vector<Note> passedOver(std::string_view name, const Facts& facts);

/// Returns the path of the SSL option file that is generated.
std::string sslOptionFile(const Environment& environment);

/// Where SETTINGREST_URL leads.
struct UrlPath {
  std::string path;   ///< "" if there is none
  std::string fault;  ///< why there is none, "" if the variable is empty
  bool isSnapshot = false;
};

UrlPath settingsDocumentOfUrl(const Environment& environment);

/// Returns the path of the reference store's document, "" if there is none.
std::string settingsDocument(const Facts& facts);

/// Replaces references written "${NAME}" as the library does.
std::string expandBraces(std::string_view text, const Environment& environment);

}  // namespace settings
