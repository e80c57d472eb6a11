#pragma once

#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "soak/lock_kills.h"
#include "soak/operations.h"
#include "soak/plan.h"
#include "soak/process.h"
#include "soak/shared.h"
#include "soak/tally.h"

namespace commutil_soak {

/// A run: workers, a process that replaces the files of their deployment, one that kills holders of
/// a lock, and one that calls operations in children.
class Run {
 public:
  /// Starts the processes. Writes samples.tsv and operations.tsv into the directory `output`. Call
  /// it on a `commutil_test::Host`, in a process without threads.
  Run(const Plan& plan, const std::string& output);

  /// Does the rounds, as long as no process has failed, and ends the processes.
  Record finish();

 private:
  /// What all processes share.
  struct Board {
    Meeting meeting;
    LockBoard lock;
    std::atomic<int> active{-1};  ///< the round in which files are replaced
    std::atomic<std::uint64_t> replacements{0};
  };

  void startWorker(int number);
  void startOthers();
  void replaceFiles(int round, Random& random);
  bool doRound(int index);
  Moment moment() const;
  void writeSample(const Moment& now);
  void showProgress(const Moment& now) const;
  std::uint64_t countOf(std::size_t operation, Outcome outcome) const;
  void judgeOperations(Record& record) const;
  std::string workDirectory(const std::string& name) const;

  const Plan m_plan;
  const std::string m_output;
  const Operations m_operations;  ///< of the threads
  const Operations m_inChildren;
  const std::size_t m_all;  ///< operations of both kinds
  const Shared<Board> m_board;
  const Shared<Sample> m_samples;
  const Shared<Tally> m_tallies;  ///< of each worker, then of the children
  std::ofstream m_log;
  std::chrono::steady_clock::time_point m_start;
  std::vector<std::unique_ptr<Process>> m_processes;
  std::unique_ptr<Process> m_replacer;
};

}  // namespace commutil_soak
