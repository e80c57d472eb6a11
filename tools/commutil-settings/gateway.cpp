#include "commutil-settings/gateway.h"

#include "commutil-settings/secret_file.h"

namespace agent {
namespace {

Failure::Kind kindOf(HttpEvent::Problem problem) {
  if (problem == HttpEvent::Problem::timeout) return Failure::Kind::timeout;
  if (problem == HttpEvent::Problem::unreachable) return Failure::Kind::unreachable;
  return Failure::Kind::other;
}

}  // namespace

HttpRequest Gateway::request(const std::string& member, const char* path, std::string body) const {
  HttpRequest request;
  request.url = member + path;
  request.body = std::move(body);
  // Without it, a member that has lost the others goes on as if nothing had happened.
  request.headers = {"Content-Type: application/json", "Expect:", "Grpc-Metadata-hasleader: true"};
  if (!m_token.empty()) request.headers.push_back("Authorization: " + m_token);
  request.timeout = m_configuration.requestTimeout;
  return request;
}

HttpRequest Gateway::logIn(const std::string& member) const {
  HttpRequest result =
      request(member, "/v3/auth/authenticate",
              authenticateRequest(m_configuration.user, readSecret(m_configuration.passwordFile)));
  if (!m_token.empty()) result.headers.pop_back();
  return result;
}

HttpRequest Gateway::list(const std::string& member, const std::string& fromKey,
                          std::int64_t revision) const {
  return request(member, "/v3/kv/range", listRequest(fromKey, m_configuration.prefix, revision));
}

HttpRequest Gateway::compare(const std::string& member, std::int64_t revision) const {
  return request(member, "/v3/kv/range", compareRequest(m_configuration.prefix, revision));
}

HttpRequest Gateway::watch(const std::string& member, std::int64_t startRevision) const {
  HttpRequest result =
      request(member, "/v3/watch", watchRequest(m_configuration.prefix, startRevision));
  result.timeout = {};
  result.isStream = true;
  return result;
}

HttpRequest Gateway::transaction(const std::string& member,
                                 const std::vector<GuardedWrite>& writes) const {
  return request(member, "/v3/kv/txn", transactionRequest(writes));
}

std::optional<Failure> Gateway::failureOf(const HttpEvent& event) {
  if (event.problem != HttpEvent::Problem::none)
    return Failure{kindOf(event.problem), event.problemText};
  if (event.status != 200) return parseFailure(event.status, event.bytes);
  return std::nullopt;
}

}  // namespace agent
