// Fetches what the state machine of a host that follows relays asks for.
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "commutil-settings/directory_owner.h"
#include "commutil-settings/gateway.h"
#include "commutil-settings/log.h"
#include "commutil-settings/relay_state.h"
#include "commutil-settings/synchronizer.h"
#include "settings_store/read_file.h"
#include "settings_store/replace_file.h"

namespace agent {
namespace {

class RelaySynchronizer : public Synchronizer {
 public:
  RelaySynchronizer(const Configuration& configuration, const RunOptions& options,
                    HttpClient& client, SnapshotKeeper& keeper)
      : m_configuration(configuration),
        m_client(client),
        m_keeper(keeper),
        m_state({configuration.poll, options.once ? Duration(0) : configuration.spread,
                 options.allowEmpty},
                EndpointChooser(configuration.sources, hostSeed(configuration.snapshotPath)),
                processRandom()) {}

  void start(Time now) override {
    m_now = now;
    std::optional<settings::Snapshot> snapshot = m_keeper.load();
    if (snapshot) {
      const Time verified = m_keeper.lastVerified(*snapshot, now);
      m_written = readPointer();
      m_state.load(std::move(*snapshot), m_written, verified);
    }
    perform(m_state.start(now));
  }

  void onHttp(Time now, HttpEvent&& event) override {
    m_now = now;
    if (event.id != m_request) return;
    m_request = 0;
    const std::optional<Failure> failure = Gateway::failureOf(event);
    if (failure) {
      perform(m_state.onFailure(now, *failure));
    } else if (m_isSnapshot) {
      onSnapshotReply(event.bytes);
    } else {
      perform(m_state.onPointer(now, event.bytes));
    }
  }

  void onTime(Time now) override {
    m_now = now;
    perform(m_state.onTime(now));
    writePointer();
  }

  Time deadline() const override { return m_state.deadline(); }
  settings::Snapshot snapshot() const override { return m_state.snapshot(); }
  bool isComplete() const override { return m_state.isCurrent(); }
  bool isStuck() const override { return m_state.isAway() || m_state.hasRefused(); }

  Report report() const override {
    Report report;
    report.state = m_state.isAway() ? "away" : "following";
    report.member = m_state.source();
    report.problem = m_state.lastProblem();
    report.clusterId = m_state.snapshot().header.clusterId;
    report.revision = m_state.snapshot().header.revision;
    report.verified = m_state.verified();
    report.hasSettings = m_state.hasSettings();
    return report;
  }

 private:
  void perform(const RelayActions& actions) {
    for (const RelayAction& action : actions)
      std::visit([this](const auto& what) { perform(what); }, action);
  }

  void perform(const Say& message) { say(message.level, message.text); }
  void perform(const WriteSettings&) { m_keeper.onChange(m_now); }

  void perform(const Fetch& action) {
    HttpRequest request;
    request.url = m_state.source() + action.name;
    request.timeout = m_configuration.requestTimeout;
    m_isSnapshot = action.isSnapshot;
    m_request = m_client.start(request);
  }

  void onSnapshotReply(const std::string& bytes) {
    const std::string file = m_keeper.path() + ".fetched";
    try {
      settings::replaceFile(file, bytes);
      settings::Snapshot snapshot = settings::readSnapshot(file);
      std::filesystem::remove(file);
      perform(m_state.onSnapshot(m_now, std::move(snapshot), sha256Of(bytes)));
    } catch (const std::runtime_error& error) {
      perform(m_state.onFailure(m_now, {Failure::Kind::malformed, error.what()}));
    }
  }

  std::string pointerPath() const { return m_keeper.path() + ".pointer"; }

  std::optional<Pointer> readPointer() const {
    try {
      return parsePointer(settings::readRegularFile(pointerPath()).value_or(""));
    } catch (const std::runtime_error&) {
      return std::nullopt;
    }
  }

  /// Remembers the epoch over restarts, once the snapshot that came with it is in place.
  void writePointer() {
    if (m_keeper.isPending() || !m_state.pointer() || m_state.pointer() == m_written) return;
    m_written = m_state.pointer();
    try {
      settings::replaceFile(pointerPath(), pointerText(*m_written));
      passToDirectoryOwner(pointerPath());
    } catch (const std::runtime_error& error) {
      say(Level::error, error.what());
    }
  }

  const Configuration& m_configuration;
  HttpClient& m_client;
  SnapshotKeeper& m_keeper;
  RelayState m_state;
  Time m_now{};
  std::uint64_t m_request = 0;
  bool m_isSnapshot = false;
  std::optional<Pointer> m_written;
};

}  // namespace

std::unique_ptr<Synchronizer> makeRelaySynchronizer(const Configuration& configuration,
                                                    const RunOptions& options, HttpClient& client,
                                                    SnapshotKeeper& keeper) {
  return std::make_unique<RelaySynchronizer>(configuration, options, client, keeper);
}

}  // namespace agent
