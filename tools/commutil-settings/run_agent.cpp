#include "commutil-settings/run_agent.h"

#include <sys/signalfd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <random>
#include <stdexcept>
#include <system_error>

#include "commutil-settings/log.h"
#include "commutil-settings/secret_file.h"
#include "commutil-settings/systemd_notify.h"
#include "os/handles.h"

namespace agent {
namespace {

using Clock = std::chrono::steady_clock;

/// SIGTERM and SIGINT as a descriptor that becomes readable.
commutil::Descriptor stopSignals() {
  sigset_t signals{};
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGTERM);
  ::sigaddset(&signals, SIGINT);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  commutil::Descriptor result(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!result) throw std::system_error(errno, std::generic_category(), "signalfd");
  return result;
}

bool isStopped(const commutil::Descriptor& signals) {
  signalfd_siginfo info{};
  return ::read(signals.get(), &info, sizeof info) > 0;
}

/// The loop of the agent: one thread, one wait.
class Loop {
 public:
  Loop(const Configuration& configuration, const RunOptions& options)
      : m_options(options),
        m_client(checkedTlsFiles(configuration), configuration.connectTimeout),
        m_keeper(configuration),
        m_synchronizer(configuration.followsRelay()
                           ? makeRelaySynchronizer(configuration, options, m_client, m_keeper)
                           : makeClusterSynchronizer(configuration, options, m_client, m_keeper)),
        m_signals(stopSignals()) {}

  int run() {
    m_synchronizer->start(Clock::now());
    while (true) {
      tellManager();
      std::vector<HttpEvent> events = m_client.poll(timeToWait(), m_signals.get());
      const Time now = Clock::now();
      for (HttpEvent& event : events) m_synchronizer->onHttp(now, std::move(event));
      m_synchronizer->onTime(now);
      const bool isStopping = isStopped(m_signals);
      // Nothing is left to be written later.
      if (m_keeper.isPending() && (isStopping || m_options.once))
        m_keeper.write(now, m_synchronizer->snapshot());
      m_keeper.onTime(now, [this] { return m_synchronizer->snapshot(); });
      m_keeper.report(now, reportNow());
      if (isStopping) return stop();
      const std::optional<int> result = resultOfOnce();
      if (result) return *result;
    }
  }

 private:
  Report reportNow() const {
    Report report = m_synchronizer->report();
    if (m_options.once && m_synchronizer->isComplete()) report.state = "synchronized once";
    return report;
  }

  int stop() {
    notifyManager("STOPPING=1");
    say(Level::info, "stopped");
    return m_options.once ? 1 : 0;
  }

  std::optional<int> resultOfOnce() const {
    if (!m_options.once) return std::nullopt;
    if (m_synchronizer->isComplete()) return m_keeper.isPending() ? 1 : 0;
    return m_synchronizer->isStuck() ? std::optional(1) : std::nullopt;
  }

  /// The manager starts what depends on the settings once services have some, old or new.
  void tellManager() {
    const Time now = Clock::now();
    if (m_keeper.isReady() && !m_hasSaidReady) m_hasSaidReady = notifyManager("READY=1");
    if (!m_watchdog || now < m_nextFeeding) return;
    notifyManager("WATCHDOG=1");
    m_nextFeeding = now + *m_watchdog;
  }

  Duration timeToWait() const {
    Time next = std::min(m_synchronizer->deadline(), m_keeper.deadline());
    if (m_watchdog) next = std::min(next, m_nextFeeding);
    const Time now = Clock::now();
    constexpr Duration kLongest{60'000};
    if (next >= now + kLongest) return kLongest;
    // Rounded up: a wait that ends early would be followed by another.
    return std::max(Duration(0), std::chrono::ceil<Duration>(next - now));
  }

  const RunOptions m_options;
  HttpClient m_client;
  SnapshotKeeper m_keeper;
  std::unique_ptr<Synchronizer> m_synchronizer;
  commutil::Descriptor m_signals;
  const std::optional<Duration> m_watchdog = watchdogPeriod();
  Time m_nextFeeding{};
  bool m_hasSaidReady = false;
};

}  // namespace

TlsFiles checkedTlsFiles(const Configuration& configuration) {
  TlsFiles files = configuration.tls;
  if (!files.key.empty()) {
    requireSecret(files.key);
    files.key = secretPath(files.key);
  }
  if (!configuration.passwordFile.empty()) requireSecret(configuration.passwordFile);
  return files;
}

Random processRandom() {
  std::random_device device;
  std::mt19937_64 generator((std::uint64_t{device()} << 32) | device());
  return
      [generator]() mutable { return std::uniform_real_distribution<double>(0.0, 1.0)(generator); };
}

int runAgent(const Configuration& configuration, const RunOptions& options) {
  return Loop(configuration, options).run();
}

}  // namespace agent
