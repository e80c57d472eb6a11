// Finds the store that the environment names and picks the backend for its URL's scheme. Called on
// every lookup.
#include <cstdio>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "backend.h"
#include "file_backend.h"
#include "location.h"

namespace settingrest {
namespace {

/// Makes the backend for a URL whose scheme is served; null for any other. A backend for another
/// scheme is chosen here.
std::shared_ptr<Backend> backendForUrl(std::string_view url) {
  const std::optional<std::string> path = filePath(url);
  return path ? std::make_shared<FileBackend>(*path) : nullptr;
}

std::shared_ptr<Backend> makeBackend(const Location& place) {
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
  std::optional<Location> place;
  std::shared_ptr<Backend> backend;
};

}  // namespace

std::shared_ptr<Backend> currentBackend() {
  static Choice& choice = *new Choice;  // never destroyed: threads may still ask at process exit
  std::optional<Location> place = findLocation();
  if (!place) return nullptr;
  const std::lock_guard<std::mutex> guard(choice.mutex);
  if (choice.place != place) {
    choice.backend = makeBackend(*place);
    choice.place = std::move(place);
  }
  return choice.backend;
}

}  // namespace settingrest
