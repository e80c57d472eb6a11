// Finds the store that the environment names and picks the backend for its URL's scheme. Called on
// every lookup.
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "backend.h"
#include "file_backend.h"
#include "report.h"
#include "snapshot_backend.h"

namespace settingrest {
namespace {

/// Makes the backend for a URL whose scheme is served; null for any other. A backend for another
/// scheme is chosen here.
std::unique_ptr<Backend> backendForUrl(std::string_view url) {
  UrlFile file = fileOfUrl(url);
  if (file.fault != UrlFile::Fault::none) return nullptr;
  if (file.isSnapshot) return std::make_unique<SnapshotBackend>(std::move(file.path));
  return std::make_unique<FileBackend>(std::move(file.path));
}

std::unique_ptr<Backend> makeBackend(const Location& place) {
  return place.isUrl ? backendForUrl(place.text) : std::make_unique<FileBackend>(place.text);
}

constinit Published<Choice> lastChoice;

Published<Choice>::Pin choose(const Location& place) {
  while (true) {
    lastChoice.reap();
    Published<Choice>::Pin choice = lastChoice.pin();
    if (choice && choice->place == place) return choice;
    Choice next{place, makeBackend(place)};
    const bool isServed = next.backend != nullptr;
    if (lastChoice.replace(choice, std::move(next)) && !isServed)
      report(std::string(kUrlVariable) + ": no store has the URL " + place.text);
  }
}

}  // namespace

Published<Choice>::Pin currentChoice() {
  const char* const url = locationUrl();
  if (*url != '\0') {
    Published<Choice>::Pin choice = lastChoice.pin();
    if (choice && choice->place.isUrl && std::strcmp(choice->place.text.c_str(), url) == 0)
      return choice;
  }
  const std::optional<Location> place = findLocation();
  return place ? choose(*place) : Published<Choice>::Pin();
}

}  // namespace settingrest
