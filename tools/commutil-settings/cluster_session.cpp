#include "commutil-settings/cluster_session.h"

#include <stdexcept>

#include "commutil-settings/run_agent.h"

namespace agent {
namespace {

const Configuration& withCluster(const Configuration& configuration) {
  if (!configuration.followsRelay()) return configuration;
  throw std::runtime_error(
      "this host follows a relay and has no access to the cluster; run the command on a host whose "
      "configuration has [cluster]");
}

}  // namespace

ClusterSession::ClusterSession(const Configuration& configuration)
    : m_configuration(withCluster(configuration)),
      m_client(checkedTlsFiles(configuration), configuration.connectTimeout),
      m_gateway(configuration) {}

HttpEvent ClusterSession::exchange(const HttpRequest& request) {
  m_client.start(request);
  while (true) {
    std::vector<HttpEvent> events = m_client.poll(std::chrono::seconds(1));
    if (!events.empty()) return std::move(events.front());
  }
}

std::optional<Failure> ClusterSession::logIn(const std::string& member) {
  const HttpEvent reply = exchange(m_gateway.logIn(member));
  std::optional<Failure> failure = Gateway::failureOf(reply);
  const bool isDisabled = failure && failure->kind == Failure::Kind::authenticationDisabled;
  if (failure && !isDisabled) return failure;
  m_gateway.setToken(isDisabled ? "" : parseToken(reply.bytes));
  m_hasToken = true;
  return std::nullopt;
}

/// Returns the body of the first good reply; the member that gave it is tried first next time. A
/// request that may have been carried out is not sent to another member unless `mayRepeat`.
std::string ClusterSession::call(const Build& build, bool mayRepeat) {
  const std::vector<std::string>& members = m_configuration.endpoints;
  std::string problems;
  for (std::size_t i = 0; i < members.size(); ++i, m_member = (m_member + 1) % members.size()) {
    const std::string& member = members[m_member];
    std::optional<Failure> failure;
    if (m_gateway.hasLogin() && !m_hasToken) failure = logIn(member);
    bool isSent = false;
    if (!failure) {
      HttpEvent reply = exchange(build(member));
      failure = Gateway::failureOf(reply);
      if (!failure) return std::move(reply.bytes);
      isSent = reply.isSent &&
               (failure->kind == Failure::Kind::timeout || failure->kind == Failure::Kind::other);
    }
    problems.append("\n").append(member).append(": ").append(failure->text);
    if (failure->kind == Failure::Kind::permission) break;
    if (isSent && !mayRepeat) {
      throw std::runtime_error("it is unknown whether this was written; look with show:" +
                               problems);
    }
  }
  throw std::runtime_error("no member of the cluster has done this:" + problems);
}

ClusterSession::Listing ClusterSession::list() {
  Listing result;
  std::string from = m_configuration.prefix;
  while (true) {
    const Page page = parsePage(call(
        [&](const std::string& member) { return m_gateway.list(member, from, result.revision); },
        true));
    if (result.revision == 0) result.revision = page.header.revision;
    result.clusterId = page.header.clusterId;
    for (const StoredSetting& setting : page.settings)
      result.settings[setting.key] = {setting.value, setting.revision};
    if (!page.hasMore || page.settings.empty()) return result;
    from = page.settings.back().key + '\0';
  }
}

std::int64_t ClusterSession::write(const std::vector<GuardedWrite>& writes) {
  const TransactionReply reply = parseTransaction(call(
      [&](const std::string& member) { return m_gateway.transaction(member, writes); }, false));
  return reply.hasSucceeded ? reply.header.revision : 0;
}

}  // namespace agent
