#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace agent {

/// Returns a number from 0 up to 1.
using Random = std::function<double()>;

/// Returns a number that differs between hosts, and between the snapshots of a host, and is the
/// same after a restart.
std::uint64_t hostSeed(const std::string& snapshotPath);

/// Chooses one of several servers: in an order of this host's own, the same one until it fails.
class EndpointChooser {
 public:
  using Duration = std::chrono::milliseconds;

  /// @param urls  at least one
  /// @param seed  what the order depends on
  EndpointChooser(std::vector<std::string> urls, std::uint64_t seed);

  const std::string& current() const { return m_urls[m_current]; }
  std::size_t size() const { return m_urls.size(); }

  /// Goes on to the next server. Returns how long to wait before it is tried: at random, up to a
  /// bound that doubles with each failure in a row.
  Duration fail(const Random& random);

  /// Goes on to the next server without a failure.
  void advance() { m_current = (m_current + 1) % m_urls.size(); }

  void succeed() { m_failures = 0; }

  /// Whether every server has failed since the last success.
  bool haveAllFailed() const { return m_failures >= m_urls.size(); }

 private:
  std::vector<std::string> m_urls;
  std::size_t m_current = 0;
  std::size_t m_failures = 0;
};

}  // namespace agent
