#pragma once

#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace agent {

/// Names the file, the line and what to change: "/etc/commutil/settings.conf:3: ...".
class ConfigurationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The files of mutual TLS; an empty path is not used.
struct TlsFiles {
  std::string ca;
  std::string certificate;
  std::string key;
};

/// The agent's configuration file. A duration of 0 switches off what it belongs to.
struct Configuration {
  using Duration = std::chrono::milliseconds;

  // [cluster] or [relay]: one of the lists is empty.
  std::vector<std::string> endpoints;  ///< without a "/" at the end
  std::vector<std::string> sources;    ///< with a "/" at the end
  std::string prefix = "/vexa/";
  TlsFiles tls;
  std::string user;
  std::string passwordFile;

  // [snapshot]
  std::string snapshotPath = "/var/lib/commutil/settings/settings.snap";
  std::string group;
  Duration settle = std::chrono::milliseconds(100);
  Duration maxAge = std::chrono::minutes(15);

  // [agent]
  Duration compareEvery = std::chrono::minutes(10);
  Duration listEvery = std::chrono::hours(24);
  Duration progressInterval = std::chrono::seconds(30);
  Duration connectTimeout = std::chrono::seconds(2);
  Duration requestTimeout = std::chrono::seconds(7);
  Duration poll = std::chrono::seconds(5);
  Duration spread = std::chrono::seconds(5);

  // [publish]
  std::string publishDirectory;
  std::size_t keep = 2;

  bool followsRelay() const { return endpoints.empty(); }
};

/// Parses the text of a configuration file.
/// @param name  of the file, for messages
/// @throws ConfigurationError
Configuration parseConfiguration(std::string_view text, const std::string& name);

/// Reads the configuration file at `path`.
/// @throws ConfigurationError
Configuration readConfiguration(const std::string& path);

/// Returns the path of the configuration file: `option` if it is not empty, else the variable
/// COMMUTIL_SETTINGS_CONF, else /etc/commutil/settings.conf.
std::string configurationPath(const std::string& option);

/// Every key as "[section] key", in the order of the manual page.
std::vector<std::string> configurationKeys();

}  // namespace agent
