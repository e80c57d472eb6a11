#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace settingrest {

inline constexpr const char* kUrlVariable = "SETTINGREST_URL";

/// A store: a URL from the environment, or the path of a file that was found.
struct Location {
  bool isUrl;
  std::string text;

  bool operator==(const Location& other) const {
    return isUrl == other.isUrl && text == other.text;
  }
};

/// Returns the value of the variable that names a store by URL, "" if there is none.
const char* locationUrl();

/// Returns the store that the environment names now; nothing if it names none.
std::optional<Location> findLocation();

/// The file that a "file:" or "snapshot:" URL names, or why it names none.
struct UrlFile {
  enum class Fault { none, otherScheme, wrongEscape, notAbsolute };

  std::string path;
  Fault fault;
  bool isSnapshot = false;
};

UrlFile fileOfUrl(std::string_view url);

}  // namespace settingrest
