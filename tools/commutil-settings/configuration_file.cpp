// Finds and reads the configuration file.
#include <cstdlib>
#include <optional>

#include "commutil-settings/configuration.h"
#include "settings_store/read_file.h"

namespace agent {
namespace {

constexpr const char* kDefaultPath = "/etc/commutil/settings.conf";

}  // namespace

Configuration readConfiguration(const std::string& path) {
  try {
    const std::optional<std::string> text = settings::readRegularFile(path);
    if (!text) throw ConfigurationError(path + ": there is no configuration file");
    return parseConfiguration(*text, path);
  } catch (const ConfigurationError&) {
    throw;
  } catch (const std::runtime_error& error) {
    throw ConfigurationError(error.what());
  }
}

std::string configurationPath(const std::string& option) {
  if (!option.empty()) return option;
  const char* const variable = std::getenv("COMMUTIL_SETTINGS_CONF");
  return variable != nullptr && *variable != '\0' ? variable : kDefaultPath;
}

}  // namespace agent
