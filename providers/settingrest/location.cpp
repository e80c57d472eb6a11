#include "location.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "bytes/ascii.h"

namespace settingrest {
namespace {

constexpr const char* kRootVariables[] = {"_APP_SHARE_DIR", "APP_ROOT", "COMMON_LIB_PATH"};
constexpr const char* kFileName = "/conf/settings.json";

const char* variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

/// Decodes the %XX of a URL; returns nothing for an incomplete one or a NUL, which no path has.
std::optional<std::string> percentDecode(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    if (text.size() - i < 3) return std::nullopt;
    const int high = commutil::hexDigitValue(text[i + 1]);
    const int low = commutil::hexDigitValue(text[i + 2]);
    if (high < 0 || low < 0 || high + low == 0) return std::nullopt;
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return decoded;
}

/// Removes `prefix`, ignoring case, from the front of `text`.
bool consume(std::string_view& text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    const char c = text[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != prefix[i]) return false;
  }
  text.remove_prefix(prefix.size());
  return true;
}

}  // namespace

const char* locationUrl() { return variable(kUrlVariable); }

std::optional<Location> findLocation() {
  std::string url = locationUrl();
  if (!url.empty()) return Location{true, std::move(url)};
  for (const char* const name : kRootVariables) {
    std::string path(variable(name));
    if (path.empty()) continue;
    path += kFileName;
    if (::access(path.c_str(), F_OK) == 0) return Location{false, std::move(path)};
  }
  return std::nullopt;
}

UrlFile fileOfUrl(std::string_view url) {
  using Fault = UrlFile::Fault;
  const bool isSnapshot = consume(url, "snapshot://");
  if (!isSnapshot && !consume(url, "file://")) return {{}, Fault::otherScheme};
  consume(url, "localhost");
  std::optional<std::string> path = percentDecode(url);
  if (!path) return {{}, Fault::wrongEscape, isSnapshot};
  if (path->empty() || path->front() != '/') return {{}, Fault::notAbsolute, isSnapshot};
  return {std::move(*path), Fault::none, isSnapshot};
}

}  // namespace settingrest
