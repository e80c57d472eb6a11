#pragma once

#include <barrier>
#include <chrono>
#include <cstddef>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "soak/hand_overs.h"
#include "soak/operations.h"
#include "soak/plan.h"
#include "soak/tally.h"

namespace commutil_soak {

/// A process whose threads call operations.
class Worker {
 public:
  /// `tallies` has an element for each of `operations`; `directory` exists.
  Worker(const Plan& plan, int number, const Operations& operations, const std::string& directory,
         Meeting& meeting, Tally* tallies, Sample& sample);
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// Changes the surroundings, lets the threads work, and fills the sample.
  void round(int index);

 private:
  void surround();
  void serve(Caller& caller);
  void handOver();
  void callOnce(Caller& caller);
  void callAtRandom(Caller& caller);
  void call(Caller& caller, std::size_t index);
  std::size_t choose(Random& random) const;
  void takeSample();

  const Plan& m_plan;
  const int m_number;
  const Operations& m_operations;
  Tally* const m_tallies;
  Sample& m_sample;
  std::vector<std::size_t> m_byCost[4];
  std::size_t m_keptBytes = 0;  ///< of one interface list
  Common m_common;
  HandOvers m_handOvers;
  int m_round = 0;
  std::chrono::steady_clock::time_point m_end;
  std::barrier<> m_cachesFilled;
  std::barrier<> m_gate;
  std::deque<Caller> m_callers;
  std::vector<std::thread> m_threads;
};

}  // namespace commutil_soak
