#pragma once

#include <map>
#include <memory>
#include <string>

namespace settingrest {

/// Where settings come from. Called by any number of threads at once.
class Backend {
 public:
  Backend() = default;
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;
  virtual ~Backend() = default;

  /// Finds the value of `key`. Returns whether it is there; `value` is untouched when it is not.
  virtual bool findValue(const std::string& key, std::string& value) = 0;

  /// Finds the parameters directly below `group`, which become all that `params` holds. Returns
  /// whether there is one; `params` is untouched when there is none.
  virtual bool findGroup(const std::string& group, std::map<std::string, std::string>& params) = 0;
};

/// Returns the backend of the store that the environment names at this moment, the same object as
/// long as it names the same store; null when it names none. A URL that no backend serves is said
/// once on standard error.
std::shared_ptr<Backend> currentBackend();

}  // namespace settingrest
