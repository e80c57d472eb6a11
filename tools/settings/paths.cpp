// Composes paths as the library and the reference store do.
#include "settings/paths.h"

#include <algorithm>
#include <utility>

#include "settingrest/location.h"

namespace settings {
namespace {

std::string schemeFault(const std::string& url) {
  const std::size_t scheme = url.find("://");
  if (scheme == std::string::npos || scheme == 0) return "has no scheme; write it as file:///path";
  return "no store serves " + url.substr(0, scheme) + " URLs; write it as file:///path";
}

}  // namespace

std::vector<std::string> candidates(std::string_view name, const Environment& environment) {
  std::vector<std::string> paths;
  for (const std::string_view variable : searchVariables()) {
    const std::string root = valueOf(environment, variable);
    // The reference store skips a tree whose variable is empty; getConfFile does not.
    if (root.empty() && name == "settings.json") continue;
    paths.push_back(root + "/conf/" + std::string(name));
  }
  return paths;
}

std::string pathOf(const Item& file, const Environment& environment) {
  if (file.location == Location::fixed) return std::string(file.rest);
  const bool isSet = environment.count(file.variable) != 0;
  std::string path = valueOf(environment, file.variable);
  const Item* const variable = findItem(Kind::variable, file.variable);
  if (path.empty() && variable != nullptr && !variable->fallback.empty()) path = variable->fallback;
  if (path.empty() && (file.location == Location::inVariable || !isSet)) return {};
  return path.append(file.rest);
}

std::string chosenPath(std::string_view name, const Facts& facts) {
  const std::vector<std::string> paths = candidates(name, facts.environment);
  const auto first = std::find_if(paths.begin(), paths.end(), [&](const std::string& path) {
    return facts.file(path).exists();
  });
  if (first != paths.end()) return *first;
  return paths.empty() || name == "settings.json" ? std::string() : paths.back();
}

std::vector<Note> passedOver(std::string_view name, const Facts& facts) {
  const std::string chosen = chosenPath(name, facts);
  std::vector<Note> notes;
  for (const std::string& path : candidates(name, facts.environment)) {
    if (path == chosen) break;
    const Note state = stateOf(facts.file(path), facts.user);
    if (state.text == "missing") continue;
    notes.push_back({state.severity, path + " is passed over: " + state.text, state.remedy});
  }
  return notes;
}

std::string sslOptionFile(const Environment& environment) {
  return valueOf(environment, "_APP_SHARE_DIR") + "/svc_ssl_" +
         valueOf(environment, "PROCESS_INSTANCE_ID") + ".conf";
}

UrlPath settingsDocumentOfUrl(const Environment& environment) {
  const std::string url = valueOf(environment, "SETTINGREST_URL");
  if (url.empty()) return {};
  using Fault = settingrest::UrlFile::Fault;
  settingrest::UrlFile file = settingrest::fileOfUrl(url);
  const std::string remedy =
      std::string("; write it as ") + (file.isSnapshot ? "snapshot" : "file") + ":///path";
  switch (file.fault) {
    case Fault::none:
      return {std::move(file.path), {}, file.isSnapshot};
    case Fault::otherScheme:
      return {{}, schemeFault(url)};
    case Fault::wrongEscape:
      return {{}, "has a wrong % escape" + remedy};
    case Fault::notAbsolute:
      break;
  }
  return {{}, "has no absolute path" + remedy};
}

std::string settingsDocument(const Facts& facts) {
  const std::string url = facts.variable("SETTINGREST_URL");
  return url.empty() ? chosenPath("settings.json", facts)
                     : settingsDocumentOfUrl(facts.environment).path;
}

std::string expandBraces(std::string_view text, const Environment& environment) {
  std::string result;
  while (true) {
    const std::size_t open = text.find("${");
    const std::size_t close = open == std::string_view::npos ? open : text.find('}', open + 2);
    if (close == std::string_view::npos) return result.append(text);
    const std::string_view name = text.substr(open + 2, close - open - 2);
    const std::string value =
        name.find('=') == std::string_view::npos ? valueOf(environment, name) : std::string();
    result.append(text.substr(0, value.empty() ? close + 1 : open)).append(value);
    text.remove_prefix(close + 1);
  }
}

}  // namespace settings
