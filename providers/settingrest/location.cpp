#include "location.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "bytes/ascii.h"

namespace settingrest {
namespace {

constexpr const char* kRootVariables[] = {"_APP_SHARE_DIR", "APP_ROOT", "COMMON_LIB_PATH"};
constexpr const char* kFileName = "/conf/settings.json";

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string_view() : std::string_view(value);
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

std::optional<Location> findLocation() {
  const std::string_view url = variable(kUrlVariable);
  if (!url.empty()) return Location{true, std::string(url)};
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
  if (!consume(url, "file://")) return {{}, Fault::otherScheme};
  consume(url, "localhost");
  std::optional<std::string> path = percentDecode(url);
  if (!path) return {{}, Fault::wrongEscape};
  if (path->empty() || path->front() != '/') return {{}, Fault::notAbsolute};
  return {std::move(*path), Fault::none};
}

std::optional<std::string> filePath(std::string_view url) {
  UrlFile file = fileOfUrl(url);
  if (file.fault != UrlFile::Fault::none) return std::nullopt;
  return std::move(file.path);
}

}  // namespace settingrest
