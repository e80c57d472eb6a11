#pragma once

#include <map>
#include <memory>
#include <string>

#include "location.h"
#include "published.h"

namespace settingrest {

/// What the entry points return.
enum class Answer : int { found = 0, absent = 1, noStore = -1 };

/// Where settings come from. Called by any number of threads at once, and by children that are
/// forked at any moment: takes no lock.
class Backend {
 public:
  Backend() = default;
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;
  virtual ~Backend() = default;

  /// Finds the value of `key`. Unless it is found, `value` is untouched.
  virtual Answer findValue(const std::string& key, std::string& value) = 0;

  /// Finds the parameters directly below `group`, which become all that `params` holds. Unless
  /// there is one, `params` is untouched.
  virtual Answer findGroup(const std::string& group,
                           std::map<std::string, std::string>& params) = 0;
};

/// The backend that serves a location; null if none does.
struct Choice {
  Location place;
  std::unique_ptr<Backend> backend;
};

/// Returns the backend of the store that the environment names at this moment, the same object as
/// long as it names the same store; empty if it names none. A URL that no backend serves is
/// reported once.
Published<Choice>::Pin currentChoice();

}  // namespace settingrest
