// Finds and reads the configuration file.
#include <cstdlib>
#include <filesystem>
#include <optional>

#include "commutil-settings/configuration.h"
#include "settings_store/read_file.h"

namespace agent {
namespace {

constexpr const char* kDefaultPath = "/etc/commutil/settings.conf";

/// An operator's commands have no credentials from the service manager: the file of the same name
/// beside the configuration is used.
void findSecret(std::string& name, const std::string& configuration) {
  const char* const credentials = std::getenv("CREDENTIALS_DIRECTORY");
  const bool hasCredentials = credentials != nullptr && *credentials != '\0';
  if (name.empty() || name.find('/') != std::string::npos || hasCredentials) return;
  name = std::filesystem::absolute(configuration).replace_filename(name);
}

}  // namespace

Configuration readConfiguration(const std::string& path) {
  try {
    const std::optional<std::string> text = settings::readRegularFile(path);
    if (!text) {
      throw ConfigurationError(path +
                               ": there is no configuration file; write it as "
                               "commutil-settings.conf(5) says, or name another one with --config");
    }
    Configuration configuration = parseConfiguration(*text, path);
    findSecret(configuration.tls.key, path);
    findSecret(configuration.passwordFile, path);
    return configuration;
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
