// Composes paths as the library and the reference store do.
#include "settings/paths.h"

#include <algorithm>
#include <optional>

namespace settings {
namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    if (text.size() - i < 3) return std::nullopt;
    const int high = hexDigit(text[i + 1]);
    const int low = hexDigit(text[i + 2]);
    if (high < 0 || low < 0 || high + low == 0) return std::nullopt;
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return decoded;
}

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& c : result)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return result;
}

bool consume(std::string_view& text, std::string_view prefix) {
  if (lowered(text.substr(0, prefix.size())) != prefix) return false;
  text.remove_prefix(prefix.size());
  return true;
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

std::string sslOptionFile(const Environment& environment) {
  return valueOf(environment, "_APP_SHARE_DIR") + "/svc_ssl_" +
         valueOf(environment, "PROCESS_INSTANCE_ID") + ".conf";
}

UrlPath settingsDocumentOfUrl(const Environment& environment) {
  const std::string url = valueOf(environment, "SETTINGREST_URL");
  if (url.empty()) return {};
  std::string_view rest = url;
  const bool isSnapshot = consume(rest, "snapshot://");
  if (!isSnapshot && !consume(rest, "file://")) {
    const std::size_t scheme = url.find("://");
    if (scheme == std::string::npos || scheme == 0)
      return {{}, "has no scheme; write it as file:///path"};
    return {{}, "no store serves " + url.substr(0, scheme) + " URLs; write it as file:///path"};
  }
  consume(rest, "localhost");
  const std::optional<std::string> path = percentDecoded(rest);
  const std::string remedy =
      std::string("; write it as ") + (isSnapshot ? "snapshot" : "file") + ":///path";
  if (!path) return {{}, "has a wrong % escape" + remedy};
  if (path->empty() || path->front() != '/') return {{}, "has no absolute path" + remedy};
  return {*path, {}, isSnapshot};
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
