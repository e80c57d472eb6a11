#include "soak/lock_kills.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

#include "VexaLocks.h"

namespace commutil_soak {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kContenders = 4;
constexpr auto kPatience = 60s;  // a free lock is taken in microseconds

/// Holds the lock; in half of the turns until it is killed.
void hold(LockBoard& board, Random& random) {
  if (board.oracle.enter() == LockOracle::Entry::second) {
    ++board.doubleHolders;
    return;
  }
  if (random.once(2)) {
    board.victim = ::getpid();
    for (;;) ::pause();
  }
  board.oracle.leave();
}

[[noreturn]] void contend(LockBoard& board, Random random) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  VexaProcessLock lock("killed", "/locks/");
  lock.SetOutputType(OUTPUT_TYPE_SILENT);
  for (;;) {
    const int entered = lock.EnterProcessMutex();
    if (entered == -9) {
      std::this_thread::sleep_for(50us);
      continue;
    }
    if (entered == 0) hold(board, random);
    if (entered != 0 || lock.ExitProcessMutex() != 0) ++board.failures;
  }
}

}  // namespace

void LockKills::start() {
  const pid_t child = ::fork();
  if (child == 0) contend(m_board, Random(m_random.number()));
  if (child > 0) m_contenders.push_back(child);
}

void LockKills::kill(pid_t contender) {
  ::kill(contender, SIGKILL);
  ::waitpid(contender, nullptr, 0);
  m_contenders.erase(std::find(m_contenders.begin(), m_contenders.end(), contender));
  pid_t held = contender;
  if (m_board.victim.compare_exchange_strong(held, 0)) ++m_board.kills;
}

/// Returns the contender that waits to be killed; 0 if nobody gets the lock any more.
pid_t LockKills::awaitVictim() {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (std::chrono::steady_clock::now() < end) {
    if (const pid_t victim = m_board.victim; victim != 0) return victim;
    std::this_thread::sleep_for(20us);
  }
  ++m_board.failures;
  return 0;
}

void LockKills::round(int count) {
  for (const std::uint64_t end = m_board.kills + static_cast<std::uint64_t>(count);
       m_board.kills < end;) {
    while (m_contenders.size() < kContenders) start();
    if (m_random.once(4)) {
      kill(m_contenders[m_random.below(m_contenders.size())]);
      continue;
    }
    const pid_t victim = awaitVictim();
    if (victim == 0) break;
    kill(victim);
  }
  while (!m_contenders.empty()) kill(m_contenders.back());
}

}  // namespace commutil_soak
