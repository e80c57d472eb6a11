#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace settings {

/// Settings by their whole path.
using Values = std::map<std::string, std::string>;

/// A setting to write; without a value it is deleted.
struct Change {
  std::string key;
  std::optional<std::string> value;
};

/// What a change does to a setting; nothing where it is not set.
struct Effect {
  std::string key;
  std::optional<std::string> before;
  std::optional<std::string> after;
};

struct WriteOptions {
  std::chrono::milliseconds wait{0};  ///< how long to wait for another writer
  bool dryRun = false;                ///< only return what would change
  std::function<void(const std::string&)> onWait = [](const std::string&) {};
};

/// Another writer did not finish in time.
class TargetBusy : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Where settings are written. Operations throw std::runtime_error with a message for the operator.
class Target {
 public:
  Target() = default;
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;
  virtual ~Target() = default;

  /// Returns its name for operators, such as the path of the document.
  virtual std::string name() const = 0;

  /// Returns all settings.
  virtual Values read() = 0;

  /// Decides on changes from the current settings. May throw to change nothing.
  using Plan = std::function<std::vector<Change>(const Values& current)>;

  /// Makes all changes of `plan` or none, and excludes other writers meanwhile. Returns the effect
  /// of each change that has one.
  virtual std::vector<Effect> write(const Plan& plan, const WriteOptions& options) = 0;
};

/// Returns the target of the store that the environment names. A further kind of store is selected
/// here.
/// @throws std::runtime_error if it names none that can be written
std::unique_ptr<Target> openTarget();

}  // namespace settings
