// Calls every operation under load for minutes, and judges the library's results and memory.
#include <gtest/gtest.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "soak/deployment.h"
#include "soak/live_bytes.h"
#include "soak/plan.h"
#include "soak/run.h"
#include "support/host.h"

// Reports end a process at once; freed blocks stay in quarantine for a bounded time only, so that
// resident memory does not grow for minutes.
extern "C" const char* __tsan_default_options() { return "halt_on_error=1"; }
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=8:thread_local_quarantine_size_kb=64";
}

namespace {

constexpr const char* kUsage =
    "Usage: commutil_soak OUTPUT-DIR MINUTES [SEED]    a run of MINUTES\n"
    "       commutil_soak OUTPUT-DIR smoke [SEED]      a run of a few seconds\n";

template <class Number>
std::optional<Number> numberOf(std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<commutil_soak::Plan> planOf(int argc, char** argv) {
  if (argc < 3 || argc > 4) return std::nullopt;
  const auto seed = argc == 4 ? numberOf<std::uint64_t>(argv[3]) : std::random_device()();
  if (!seed) return std::nullopt;
  if (std::strcmp(argv[2], "smoke") == 0) return commutil_soak::smokePlan(*seed);
  const auto minutes = numberOf<int>(argv[2]);
  if (!minutes || *minutes < 1) return std::nullopt;
  return commutil_soak::planOf(*seed, *minutes);
}

/// Returns the figures of a run, as docs/proof.md shows them.
std::string figuresOf(const commutil_soak::Record& record) {
  if (record.moments.empty()) return "no round";
  const commutil_soak::Moment& last = record.moments.back();
  std::string text = std::to_string(last.calls) + " calls; " + std::to_string(last.handOvers) +
                     " hand-overs, " + std::to_string(record.outOfOrder) + " out of order; " +
                     std::to_string(last.kills) + " holders killed, " +
                     std::to_string(record.doubleHolders) + " locks with two holders; ";
  if (!commutil_soak::judgesMemory(record)) return text + "too short to judge memory";
  const commutil_soak::Growth growth = commutil_soak::growthOf(record);
  char memory[200];
  std::snprintf(memory, sizeof memory,
                "in the last %.1f minutes %+.0f bytes allocated, %+.1f %% resident", growth.minutes,
                growth.liveBytes, growth.residentPercent);
  return text + memory;
}

int run(const commutil_soak::Plan& plan, const std::string& output) {
  std::printf("    seed %lu: %d threads in each of %d processes, %d rounds\n", plan.seed,
              plan.threads, plan.processes, plan.rounds);
  std::fflush(stdout);
  std::filesystem::create_directories(output);
  const commutil_test::Host host;
  commutil_soak::deploy();
  const commutil_soak::Record record = commutil_soak::Run(plan, output).finish();
  const std::string figures = figuresOf(record);
  std::printf("    %s\n", figures.c_str());
  std::ofstream(output + "/figures.txt") << figures << '\n';
  const std::vector<std::string> failures = failuresOf(plan, record);
  for (const std::string& failure : failures) std::printf("    FAILED: %s\n", failure.c_str());
  return failures.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) try {
  commutil_soak::startCounting();
  GTEST_FLAG_SET(throw_on_failure, true);
  const auto plan = planOf(argc, argv);
  if (plan) return run(*plan, argv[1]);
  std::fputs(kUsage, stderr);
  return 2;
} catch (const std::exception& e) {
  std::fprintf(stderr, "%s\n", e.what());
  return 1;
}
