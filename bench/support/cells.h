#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace commutil_bench {

/// Peers are compared up to this size; ours is measured beyond it, to see how it grows.
constexpr std::size_t kLargestForPeers = std::size_t{16} << 20;

/// One benchmark under one name or more, whose settings are the same.
class Registered {
 public:
  explicit Registered(std::vector<benchmark::internal::Benchmark*> all) : m_all(std::move(all)) {}

  Registered& UseRealTime() {
    for (auto* each : m_all) each->UseRealTime();
    return *this;
  }
  Registered& UseManualTime() {
    for (auto* each : m_all) each->UseManualTime();
    return *this;
  }
  Registered& Iterations(std::int64_t count) {
    for (auto* each : m_all) each->Iterations(count);
    return *this;
  }
  Registered& Unit(benchmark::TimeUnit unit) {
    for (auto* each : m_all) each->Unit(unit);
    return *this;
  }

 private:
  std::vector<benchmark::internal::Benchmark*> m_all;
};

/// Registers OPERATION/SIZE/WHO, and ours twice: the difference between its two names is noise.
template <class Run, class... Arguments>
Registered add(const std::string& name, const Run& run, const Arguments&... arguments) {
  std::vector<benchmark::internal::Benchmark*> all = {
      benchmark::RegisterBenchmark(name.c_str(), run, arguments...)};
  if (std::string_view(name).ends_with("/ours")) {
    all.push_back(benchmark::RegisterBenchmark((name + "-again").c_str(), run, arguments...));
  }
  return Registered(std::move(all));
}

/// Like `add`, for a text of `bytes`; for one larger than peers are compared with, registers only
/// ours and the limit, once.
template <class Run>
void addSized(const std::string& name, std::size_t bytes, const Run& run) {
  const std::string who = name.substr(name.rfind('/') + 1);
  if (bytes <= kLargestForPeers) {
    add(name, run);
  } else if (who == "ours" || who.starts_with("limit:")) {
    benchmark::RegisterBenchmark(name.c_str(), run);
  }
}

}  // namespace commutil_bench
