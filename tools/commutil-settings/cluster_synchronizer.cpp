// Carries out what the state machine decides about a cluster, and tells it what comes of it.
#include <stdexcept>
#include <utility>

#include "commutil-settings/gateway.h"
#include "commutil-settings/log.h"
#include "commutil-settings/synchronizer.h"
#include "commutil-settings/watch_stream.h"

namespace agent {
namespace {

SyncOptions syncOptions(const Configuration& configuration, const RunOptions& options) {
  SyncOptions result;
  result.prefix = configuration.prefix;
  result.compareEvery = configuration.compareEvery;
  result.listEvery = configuration.listEvery;
  result.silenceLimit = configuration.progressInterval * 5 / 2;
  result.requestTimeout = configuration.requestTimeout;
  result.hasLogin = !configuration.user.empty();
  result.allowEmpty = options.allowEmpty;
  result.listAtStart = options.once;
  return result;
}

class ClusterSynchronizer : public Synchronizer {
 public:
  ClusterSynchronizer(const Configuration& configuration, const RunOptions& options,
                      HttpClient& client, SnapshotKeeper& keeper)
      : m_client(client),
        m_keeper(keeper),
        m_gateway(configuration),
        m_state(syncOptions(configuration, options),
                EndpointChooser(configuration.endpoints, hostSeed(configuration.snapshotPath)),
                processRandom()) {}

  void start(Time now) override {
    m_now = now;
    const std::optional<settings::Snapshot> snapshot = m_keeper.load();
    if (snapshot) m_state.load(*snapshot, m_keeper.lastVerified(*snapshot, now));
    perform(m_state.start(now));
  }

  void onHttp(Time now, HttpEvent&& event) override {
    m_now = now;
    if (event.id == m_watch) {
      onWatch(event);
    } else if (event.id == m_login) {
      m_login = 0;
      onLoginReply(event);
    } else if (event.id == m_page) {
      m_page = 0;
      onPageReply(event);
    } else if (event.id == m_comparison) {
      m_comparison = 0;
      onComparisonReply(event);
    }
  }

  void onTime(Time now) override {
    m_now = now;
    perform(m_state.onTime(now));
  }

  Time deadline() const override { return m_state.deadline(); }
  settings::Snapshot snapshot() const override { return m_state.snapshot(); }
  bool isComplete() const override { return m_state.hasListed(); }
  bool isStuck() const override { return m_state.isAway() || m_state.hasRefused(); }

  Report report() const override {
    Report report;
    report.state = m_state.isWatching() ? "watching" : "away";
    report.member = m_state.endpoint();
    report.problem = m_state.lastProblem();
    report.clusterId = m_state.clusterId();
    report.revision = m_state.revision();
    report.verified = m_state.verified();
    report.hasSettings = m_state.hasSettings();
    return report;
  }

 private:
  void perform(const Actions& actions) {
    for (const Action& action : actions)
      std::visit([this](const auto& what) { perform(what); }, action);
  }

  void perform(const Say& message) { say(message.level, message.text); }
  void perform(const WriteSettings&) { m_keeper.onChange(m_now); }

  void perform(const StopRequests&) {
    for (std::uint64_t* const id : {&m_watch, &m_login, &m_page, &m_comparison})
      if (*id != 0) m_client.cancel(std::exchange(*id, 0));
    m_stream = WatchStream();
  }

  void perform(const LogIn&) {
    HttpRequest request;
    try {
      request = m_gateway.logIn(m_state.endpoint());
    } catch (const std::runtime_error& error) {
      perform(m_state.onLoginFailure(m_now, {Failure::Kind::authentication, error.what()}));
      return;
    }
    m_login = m_client.start(request);
  }

  void perform(const FetchPage& action) {
    m_page = m_client.start(m_gateway.list(m_state.endpoint(), action.fromKey, action.revision));
  }

  void perform(const FetchComparison& action) {
    m_comparison = m_client.start(m_gateway.compare(m_state.endpoint(), action.revision));
  }

  void perform(const OpenWatch& action) {
    m_stream = WatchStream();
    m_watch = m_client.start(m_gateway.watch(m_state.endpoint(), action.startRevision));
  }

  void onWatch(const HttpEvent& event) {
    const std::uint64_t watch = m_watch;
    for (WatchMessage& message : m_stream.feed(event.bytes)) {
      if (m_watch != watch) return;  // the rest is of a watch that was given up
      perform(m_state.onWatchMessage(m_now, std::move(message)));
    }
    if (!event.isEnd || m_watch != watch) return;
    m_watch = 0;
    perform(m_state.onFailure(m_now, endOfWatch(event)));
  }

  Failure endOfWatch(const HttpEvent& event) const {
    const std::optional<Failure> error = m_stream.finish();
    if (event.problem != HttpEvent::Problem::none) return *Gateway::failureOf(event);
    if (event.status != 200) return parseFailure(event.status, m_stream.rest());
    return error.value_or(Failure{Failure::Kind::other, "the member closed the stream"});
  }

  void onLoginReply(const HttpEvent& event) {
    const std::optional<Failure> failure = Gateway::failureOf(event);
    const bool isDisabled = failure && failure->kind == Failure::Kind::authenticationDisabled;
    if (failure && !isDisabled) {
      perform(m_state.onLoginFailure(m_now, *failure));
      return;
    }
    try {
      m_gateway.setToken(isDisabled ? "" : parseToken(event.bytes));
      perform(m_state.onLogin(m_now));
    } catch (const MalformedReply& error) {
      perform(m_state.onLoginFailure(m_now, {Failure::Kind::malformed, error.what()}));
    }
  }

  void onPageReply(const HttpEvent& event) {
    const std::optional<Failure> failure = Gateway::failureOf(event);
    if (failure) {
      perform(m_state.onFailure(m_now, *failure));
      return;
    }
    try {
      perform(m_state.onPage(m_now, parsePage(event.bytes)));
    } catch (const MalformedReply& error) {
      perform(m_state.onFailure(m_now, {Failure::Kind::malformed, error.what()}));
    }
  }

  void onComparisonReply(const HttpEvent& event) {
    const std::optional<Failure> failure = Gateway::failureOf(event);
    if (failure) {
      perform(m_state.onComparisonFailure(m_now, *failure));
      return;
    }
    try {
      perform(m_state.onComparison(m_now, parsePage(event.bytes)));
    } catch (const MalformedReply& error) {
      perform(m_state.onComparisonFailure(m_now, {Failure::Kind::malformed, error.what()}));
    }
  }

  HttpClient& m_client;
  SnapshotKeeper& m_keeper;
  Gateway m_gateway;
  SyncState m_state;
  WatchStream m_stream;
  Time m_now{};
  // The requests in progress, 0 for none.
  std::uint64_t m_watch = 0;
  std::uint64_t m_login = 0;
  std::uint64_t m_page = 0;
  std::uint64_t m_comparison = 0;
};

}  // namespace

std::unique_ptr<Synchronizer> makeClusterSynchronizer(const Configuration& configuration,
                                                      const RunOptions& options, HttpClient& client,
                                                      SnapshotKeeper& keeper) {
  return std::make_unique<ClusterSynchronizer>(configuration, options, client, keeper);
}

}  // namespace agent
