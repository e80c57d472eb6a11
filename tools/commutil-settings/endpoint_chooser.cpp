#include "commutil-settings/endpoint_chooser.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <random>
#include <utility>

#include "settings_store/read_file.h"

namespace agent {
namespace {

constexpr double kFirstWait = 250;  // ms
constexpr double kLongestWait = 10'000;

std::string machineId() {
  try {
    return settings::readRegularFile("/etc/machine-id").value_or("");
  } catch (const std::runtime_error&) {
    return {};
  }
}

}  // namespace

std::uint64_t hostSeed(const std::string& snapshotPath) {
  std::array<char, 256> name{};
  ::gethostname(name.data(), name.size() - 1);
  // FNV-1a: std::hash may differ between builds.
  std::uint64_t hash = 14695981039346656037U;
  for (const char c : machineId() + name.data() + snapshotPath)
    hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  return hash;
}

EndpointChooser::EndpointChooser(std::vector<std::string> urls, std::uint64_t seed)
    : m_urls(std::move(urls)) {
  std::mt19937_64 generator(seed);
  for (std::size_t i = m_urls.size(); i > 1; --i) std::swap(m_urls[i - 1], m_urls[generator() % i]);
}

EndpointChooser::Duration EndpointChooser::fail(const Random& random) {
  constexpr std::size_t kMostDoublings = 10;
  const auto factor = static_cast<double>(1U << std::min(m_failures, kMostDoublings));
  const double longest = std::min(kFirstWait * factor, kLongestWait);
  ++m_failures;
  advance();
  return Duration(static_cast<Duration::rep>(random() * longest));
}

}  // namespace agent
