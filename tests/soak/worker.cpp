#include "soak/worker.h"

#include <ifaddrs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "VexaLocale.h"
#include "soak/live_bytes.h"
#include "support/fixtures.h"

namespace commutil_soak {
namespace {

constexpr int kEnd = -1;

/// Returns the bytes of the list that a lookup of interfaces leaves allocated.
std::size_t listBytes() {
  const std::size_t before = liveBytes();
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) return 0;
  const std::size_t bytes = liveBytes() - before;
  ::freeifaddrs(list);
  return bytes;
}

std::size_t residentBytes() {
  std::ifstream file("/proc/self/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  file >> total >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace

Worker::Worker(const Plan& plan, int number, const Operations& operations,
               const std::string& directory, Meeting& meeting, Tally* tallies, Sample& sample)
    : m_plan(plan),
      m_number(number),
      m_operations(operations),
      m_tallies(tallies),
      m_sample(sample),
      m_cachesFilled(plan.threads),
      m_gate(plan.threads + 1) {
  for (std::size_t i = 0; i < operations.size(); ++i)
    m_byCost[static_cast<std::size_t>(operations[i].cost)].push_back(i);
  errno = 0;
  if (::nice(plan.niceness) == -1 && errno != 0) std::perror("nice");
  listBytes();  // the first call allocates what the C library keeps
  m_keptBytes = listBytes();
  m_common.meeting = &meeting;
  VexaLocale::Instance();
  for (int thread = 0; thread < plan.threads; ++thread) {
    const std::string own = directory + "/" + std::to_string(thread);
    std::filesystem::create_directories(own);
    m_callers.push_back({Random(plan.seed, number, thread), thread, own, m_common});
  }
  for (Caller& caller : m_callers) m_threads.emplace_back([&] { serve(caller); });
}

Worker::~Worker() {
  m_round = kEnd;
  m_gate.arrive_and_wait();
  for (std::thread& thread : m_threads) thread.join();
}

void Worker::round(int index) {
  m_round = index;
  surround();
  m_end = std::chrono::steady_clock::now() + std::chrono::seconds(m_plan.roundSeconds);
  m_gate.arrive_and_wait();
  m_gate.arrive_and_wait();
  takeSample();
}

/// Changes the environment and the locale. The threads wait.
void Worker::surround() {
  constexpr const char* kZones[] = {"UTC0", "EAST-5", "WEST+3:30"};
  Random random(m_plan.seed, m_number, m_round);
  Surroundings& now = m_common.surroundings;
  now.application = random.once(2) ? "application" : "other";
  now.instance = "instance-" + std::to_string(m_number);
  now.utf8 = !random.once(4);
  const char* const locale = now.utf8 ? "C.UTF-8" : "C";
  ::setenv("APP_NAME", now.application.c_str(), 1);
  ::setenv("PROCESS_INSTANCE_ID", now.instance.c_str(), 1);
  ::setenv("LC_ALL", locale, 1);
  ::setenv("TZ", random.of(kZones), 1);
  ::tzset();
  VexaLocale::SetLocale(locale);
}

void Worker::serve(Caller& caller) {
  fillBlockCache(m_cachesFilled);
  for (;;) {
    m_gate.arrive_and_wait();
    if (m_round == kEnd) return;
    handOver();
    callOnce(caller);
    callAtRandom(caller);
    m_gate.arrive_and_wait();
  }
}

void Worker::handOver() {
  for (int i = 0; i < m_plan.handOvers; ++i) {
    if (i % 4 == 0) {
      m_handOvers.passMessage();
    } else {
      m_handOvers.passToken();
    }
  }
}

/// In the first round each operation, so that every one is called however short the run is; once a
/// minute those that keep memory.
void Worker::callOnce(Caller& caller) {
  for (std::size_t i = 0; i < m_operations.size(); ++i) {
    if (i % m_callers.size() != static_cast<std::size_t>(caller.thread)) continue;
    const bool keeping = m_operations[i].cost == Cost::keeping;
    if (m_round % (keeping ? kRoundsPerMinute : m_plan.rounds) == 0) call(caller, i);
  }
}

void Worker::callAtRandom(Caller& caller) {
  if (m_plan.roundSeconds == 0) {
    for (int i = 0; i < m_plan.calls; ++i) call(caller, choose(caller.random));
    return;
  }
  while (std::chrono::steady_clock::now() < m_end) call(caller, choose(caller.random));
}

std::size_t Worker::choose(Random& random) const {
  const std::size_t kind = random.below(2000);
  Cost cost = Cost::memory;
  if (kind < 200) cost = Cost::files;
  if (kind == 0) cost = Cost::command;
  return random.of(m_byCost[static_cast<std::size_t>(cost)]);
}

void Worker::call(Caller& caller, std::size_t index) {
  const Outcome outcome = outcomeOf(m_operations[index], caller);
  m_tallies[index].add(outcome);
  if (outcome != Outcome::wrong) return;
  std::fprintf(stderr, "wrong result of %s, process %d, thread %d, round %d: %.500s\n",
               m_operations[index].names.front().c_str(), m_number, caller.thread, m_round,
               caller.detail.c_str());
}

void Worker::takeSample() {
  m_sample.handOvers = m_handOvers.count();
  m_sample.outOfOrder = m_handOvers.outOfOrder();
  m_sample.liveBytes =
      liveBytes() - static_cast<std::size_t>(m_common.keepers.load()) * m_keptBytes;
  m_sample.residentBytes = residentBytes();
  m_sample.descriptors = commutil_test::openDescriptors();
  if (::waitpid(-1, nullptr, WNOHANG) != -1) ++m_sample.children;
}

}  // namespace commutil_soak
