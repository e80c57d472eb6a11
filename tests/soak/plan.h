#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace commutil_soak {

/// How much a run does. A round ends when its hand-overs, kills and calls are done.
struct Plan {
  std::uint64_t seed = 0;
  int processes = 8;
  int threads = 16;  ///< of each process
  int rounds = 0;
  int roundSeconds = 0;  ///< for random calls; 0: each thread makes `calls`
  int calls = 0;
  int handOvers = 0;  ///< of each thread in a round
  int kills = 0;      ///< in a round
  int niceness = 0;   ///< of workers: a kill does not wait for a hundred threads
};

/// Ten minutes make 10,000,000 hand-overs and 10,000 kills.
constexpr int kRoundsPerMinute = 12;
constexpr std::uint64_t kHandOversPerMinute = 1000000;
constexpr std::uint64_t kKillsPerMinute = 1000;

inline Plan planOf(std::uint64_t seed, int minutes) {
  Plan plan;
  plan.seed = seed;
  plan.rounds = minutes * kRoundsPerMinute;
  plan.roundSeconds = 60 / kRoundsPerMinute;
  plan.handOvers = 660;
  plan.kills = 85;
  plan.niceness = 10;
  return plan;
}

/// A small plan of the same kinds of work, for a test.
inline Plan smokePlan(std::uint64_t seed) {
  Plan plan;
  plan.seed = seed;
  plan.processes = 2;
  plan.threads = 4;
  plan.rounds = 3;
  plan.calls = 300;
  plan.handOvers = 100;
  plan.kills = 10;
  return plan;
}

/// The state of a run between two rounds. Sums over the processes.
struct Moment {
  double seconds = 0;
  std::uint64_t calls = 0;
  std::uint64_t handOvers = 0;
  std::uint64_t kills = 0;
  std::uint64_t liveBytes = 0;  ///< allocated and not freed, less what the contract keeps
  std::uint64_t residentBytes = 0;
  std::uint64_t descriptors = 0;
};

/// What a run has done.
struct Record {
  std::vector<Moment> moments;
  std::vector<std::string> wrongCalls;   ///< operations with wrong results, with their number
  std::vector<std::string> neverCalled;  ///< operations
  std::vector<std::string> ends;         ///< processes that ended early, and how
  std::uint64_t outOfOrder = 0;
  std::uint64_t doubleHolders = 0;
  std::uint64_t lockFailures = 0;  ///< enter, exit or a lock that stays held
  std::uint64_t children = 0;      ///< left behind
};

/// Returns what a record of `plan` fails; empty if it passes.
std::vector<std::string> failuresOf(const Plan& plan, const Record& record);

/// Whether a run is long enough to judge its memory.
bool judgesMemory(const Record& record);

/// The growth since the end of the first two minutes.
struct Growth {
  double minutes = 0;
  double liveBytes = 0;
  double residentPercent = 0;
};
Growth growthOf(const Record& record);

}  // namespace commutil_soak
