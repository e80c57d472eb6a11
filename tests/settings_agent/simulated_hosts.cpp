// Many hosts in one process, each with the agent's own synchronizer and files, for tests of a
// fleet.
//
// Usage: commutil_simulated_hosts CONFIGURATION DIRECTORY COUNT
//
// Prints "LOWEST HIGHEST AWAY" whenever it changes: the revisions that hosts have written, and how
// many hosts are away. Ends with standard input.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "commutil-settings/run_agent.h"
#include "commutil-settings/synchronizer.h"

namespace {

using Clock = std::chrono::steady_clock;
using agent::Configuration;
using agent::Time;

struct Host {
  Host(const Configuration& base, const std::string& directory, agent::HttpClient& client)
      : configuration(base) {
    configuration.snapshotPath = directory + "/settings.snap";
    keeper = std::make_unique<agent::SnapshotKeeper>(configuration);
    synchronizer = base.followsRelay()
                       ? makeRelaySynchronizer(configuration, {}, client, *keeper)
                       : makeClusterSynchronizer(configuration, {}, client, *keeper);
  }

  /// The revision that services on the host read.
  std::int64_t revision() const {
    const agent::Report report = synchronizer->report();
    return report.hasSettings && !keeper->isPending() ? report.revision : 0;
  }

  Configuration configuration;
  std::unique_ptr<agent::SnapshotKeeper> keeper;
  std::unique_ptr<agent::Synchronizer> synchronizer;
};

class Fleet {
 public:
  Fleet(const Configuration& configuration, const std::string& directory, int count)
      : m_client(agent::checkedTlsFiles(configuration), configuration.connectTimeout) {
    for (int i = 0; i < count; ++i) {
      m_hosts.push_back(
          std::make_unique<Host>(configuration, directory + "/host" + std::to_string(i), m_client));
    }
  }

  void run() {
    for (const auto& host : m_hosts) host->synchronizer->start(Clock::now());
    while (!hasEnded()) {
      for (agent::HttpEvent& event : m_client.poll(timeToWait(), STDIN_FILENO)) pass(event);
      const Time now = Clock::now();
      for (const auto& host : m_hosts) {
        host->synchronizer->onTime(now);
        host->keeper->onTime(now, [&] { return host->synchronizer->snapshot(); });
      }
      print();
    }
  }

 private:
  static bool hasEnded() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return ::poll(&input, 1, 0) > 0;
  }

  /// Hosts ignore what they have not asked for.
  void pass(const agent::HttpEvent& event) {
    const Time now = Clock::now();
    for (const auto& host : m_hosts) host->synchronizer->onHttp(now, agent::HttpEvent(event));
  }

  std::chrono::milliseconds timeToWait() const {
    Time next = Clock::now() + std::chrono::seconds(1);
    for (const auto& host : m_hosts)
      next = std::min({next, host->synchronizer->deadline(), host->keeper->deadline()});
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return std::max(wait, std::chrono::milliseconds(0));
  }

  void print() {
    std::int64_t lowest = m_hosts.front()->revision();
    std::int64_t highest = lowest;
    long away = 0;
    for (const auto& host : m_hosts) {
      lowest = std::min(lowest, host->revision());
      highest = std::max(highest, host->revision());
      away += host->synchronizer->report().state == "away" ? 1 : 0;
    }
    const auto line = std::tuple(lowest, highest, away);
    if (line == m_last) return;
    m_last = line;
    std::cout << lowest << ' ' << highest << ' ' << away << std::endl;
  }

  agent::HttpClient m_client;
  std::vector<std::unique_ptr<Host>> m_hosts;
  std::tuple<std::int64_t, std::int64_t, long> m_last{-1, -1, -1};
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const Configuration configuration = agent::readConfiguration(argv[1]);
  Fleet(configuration, argv[2], std::atoi(argv[3])).run();
}
