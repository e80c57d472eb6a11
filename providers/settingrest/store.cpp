// Finds the store that the environment names and picks the backend for its URL's scheme. Called on
// every look-up; the choice made last is kept under a mutex.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "backend.h"
#include "file_backend.h"

namespace settingrest {
namespace {

constexpr const char* kUrlVariable = "SETTINGREST_URL";
constexpr const char* kRootVariables[] = {"_APP_SHARE_DIR", "APP_ROOT", "COMMON_LIB_PATH"};
constexpr const char* kFileName = "/conf/settings.json";

/// A store: a URL as it was given, or the path of a file that was found.
struct Place {
  bool isUrl;
  std::string text;

  bool operator==(const Place& other) const { return isUrl == other.isUrl && text == other.text; }
};

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string_view() : std::string_view(value);
}

std::optional<Place> findPlace() {
  const std::string_view url = variable(kUrlVariable);
  if (!url.empty()) return Place{true, std::string(url)};
  for (const char* const name : kRootVariables) {
    std::string path(variable(name));
    if (path.empty()) continue;
    path += kFileName;
    if (::access(path.c_str(), F_OK) == 0) return Place{false, std::move(path)};
  }
  return std::nullopt;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Decodes the %XX of a URL; nothing for an incomplete one and for a NUL, which no path holds.
std::optional<std::string> percentDecode(std::string_view text) {
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

/// Removes `prefix`, in any mix of case, from the front of `text`.
bool consume(std::string_view& text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    const char c = text[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != prefix[i]) return false;
  }
  text.remove_prefix(prefix.size());
  return true;
}

/// Makes the backend for a URL whose scheme is served; null for any other. A backend for another
/// scheme is chosen here.
std::shared_ptr<Backend> backendForUrl(std::string_view url) {
  if (!consume(url, "file://")) return nullptr;
  consume(url, "localhost");
  const std::optional<std::string> path = percentDecode(url);
  if (!path || path->empty() || path->front() != '/') return nullptr;
  return std::make_shared<FileBackend>(*path);
}

std::shared_ptr<Backend> makeBackend(const Place& place) {
  if (!place.isUrl) return std::make_shared<FileBackend>(place.text);
  std::shared_ptr<Backend> backend = backendForUrl(place.text);
  if (!backend) {
    std::fprintf(stderr, "settingrest: %s: no store has the URL %s\n", kUrlVariable,
                 place.text.c_str());
  }
  return backend;
}

struct Choice {
  std::mutex mutex;  // guards what follows
  std::optional<Place> place;
  std::shared_ptr<Backend> backend;
};

}  // namespace

std::shared_ptr<Backend> currentBackend() {
  static Choice& choice = *new Choice;  // never destroyed: threads may still ask at process exit
  std::optional<Place> place = findPlace();
  if (!place) return nullptr;
  const std::lock_guard<std::mutex> guard(choice.mutex);
  if (choice.place != place) {
    choice.backend = makeBackend(*place);
    choice.place = std::move(place);
  }
  return choice.backend;
}

}  // namespace settingrest
