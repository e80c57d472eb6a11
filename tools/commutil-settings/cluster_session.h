#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "commutil-settings/gateway.h"

namespace agent {

/// Requests of an operator's command, one after the other: each goes to one member after the other
/// until one replies.
class ClusterSession {
 public:
  /// @throws std::runtime_error  for a host that follows a relay, and for secrets that others can
  /// read
  explicit ClusterSession(const Configuration& configuration);

  struct Stored {
    std::string value;
    std::int64_t revision = 0;
  };
  struct Listing {
    std::uint64_t clusterId = 0;
    std::int64_t revision = 0;
    std::map<std::string, Stored> settings;
  };
  /// Returns all settings, linearizable, as of one revision.
  /// @throws std::runtime_error
  Listing list();

  /// Writes all or nothing. Returns the revision of the writes; 0 if another writer has changed one
  /// of the settings meanwhile.
  /// @throws std::runtime_error
  std::int64_t write(const std::vector<GuardedWrite>& writes);

 private:
  using Build = std::function<HttpRequest(const std::string& member)>;

  std::string call(const Build& build, bool mayRepeat);
  HttpEvent exchange(const HttpRequest& request);
  std::optional<Failure> logIn(const std::string& member);

  const Configuration& m_configuration;
  HttpClient m_client;
  Gateway m_gateway;
  std::size_t m_member = 0;  // of the endpoints, the one that is tried first
  bool m_hasToken = false;
};

}  // namespace agent
