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

/// Returns the store that the environment names now; nothing if it names none.
std::optional<Location> findLocation();

/// The file that a "file:" URL names, or why it names none.
struct UrlFile {
  enum class Fault { none, otherScheme, wrongEscape, notAbsolute };

  std::string path;
  Fault fault;
};

UrlFile fileOfUrl(std::string_view url);

/// Returns the file that a "file:" URL names; nothing if `url` is not one or is malformed.
std::optional<std::string> filePath(std::string_view url);

}  // namespace settingrest
