#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "soak/lock_oracle.h"
#include "soak/random.h"

namespace commutil_soak {

/// What the processes of a lock share.
struct LockBoard {
  LockOracle oracle;
  std::atomic<pid_t> victim{0};  ///< holds the lock and waits to be killed
  std::atomic<std::uint64_t> kills{0};
  std::atomic<std::uint64_t> doubleHolders{0};
  std::atomic<std::uint64_t> failures{0};
};

/// Kills holders of a process lock while others try to take it. Belongs to a process without
/// threads.
class LockKills {
 public:
  LockKills(LockBoard& board, std::uint64_t seed) : m_board(board), m_random(seed) {}

  /// Kills `count` holders, and some of the others.
  void round(int count);

 private:
  void start();
  void kill(pid_t contender);
  pid_t awaitVictim();

  LockBoard& m_board;
  Random m_random;
  std::vector<pid_t> m_contenders;
};

}  // namespace commutil_soak
