#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "commutil-settings/configuration.h"
#include "commutil-settings/gateway_messages.h"
#include "commutil-settings/http_client.h"

namespace agent {

/// Builds requests to a member's gateway, with the token of the last login, and reads the replies.
class Gateway {
 public:
  explicit Gateway(const Configuration& configuration) : m_configuration(configuration) {}

  /// Reads the password anew: it may have been changed.
  /// @throws std::runtime_error
  HttpRequest logIn(const std::string& member) const;
  HttpRequest list(const std::string& member, const std::string& fromKey,
                   std::int64_t revision) const;
  HttpRequest compare(const std::string& member, std::int64_t revision) const;
  HttpRequest watch(const std::string& member, std::int64_t startRevision) const;
  HttpRequest transaction(const std::string& member, const std::vector<GuardedWrite>& writes) const;

  void setToken(const std::string& token) { m_token = token; }

  bool hasLogin() const { return !m_configuration.user.empty(); }

  /// Why a request has failed that has ended with `event`; nothing if it has not.
  static std::optional<Failure> failureOf(const HttpEvent& event);

 private:
  HttpRequest request(const std::string& member, const char* path, std::string body) const;

  const Configuration& m_configuration;
  std::string m_token;
};

}  // namespace agent
