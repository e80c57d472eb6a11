#include "soak/run.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <thread>

#include "soak/child_calls.h"
#include "soak/deployment.h"
#include "soak/worker.h"
#include "support/host.h"

namespace commutil_soak {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 600s;  // a round of the thread sanitizer on a busy machine
constexpr auto kBetweenReplacements = 1ms;

std::string mebibytes(std::uint64_t bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f MiB", static_cast<double>(bytes) / (1 << 20));
  return text;
}

}  // namespace

Run::Run(const Plan& plan, const std::string& output)
    : m_plan(plan),
      m_output(output),
      m_operations(threadOperations()),
      m_inChildren(childOperations()),
      m_all(m_operations.size() + m_inChildren.size()),
      m_board(shareWithChildren<Board>(1)),
      m_samples(shareWithChildren<Sample>(static_cast<std::size_t>(plan.processes))),
      m_tallies(shareWithChildren<Tally>(
          static_cast<std::size_t>(plan.processes) * m_operations.size() + m_inChildren.size())),
      m_log(output + "/samples.tsv"),
      m_start(std::chrono::steady_clock::now()) {
  m_log << "# seconds calls hand-overs kills live-bytes resident-bytes descriptors\n" << std::flush;
  for (int number = 0; number < plan.processes; ++number) startWorker(number);
  startOthers();
}

std::string Run::workDirectory(const std::string& name) const {
  std::string path = commutil_test::Host::path("work/" + name);
  std::filesystem::create_directories(path);
  return path;
}

void Run::startWorker(int number) {
  const auto at = static_cast<std::size_t>(number);
  const std::string name = "worker " + std::to_string(number);
  const std::string directory = workDirectory(std::to_string(number));
  Tally* const tallies = m_tallies.get() + at * m_operations.size();
  m_processes.push_back(std::make_unique<Process>(name, [=, this]() -> Process::Round {
    const auto worker = std::make_shared<Worker>(m_plan, number, m_operations, directory,
                                                 m_board[0].meeting, tallies, m_samples[at]);
    return [worker](int index) { worker->round(index); };
  }));
}

void Run::startOthers() {
  m_processes.push_back(std::make_unique<Process>("the killer", [this]() -> Process::Round {
    const auto kills = std::make_shared<LockKills>(m_board[0].lock, m_plan.seed);
    return [kills, this](int /*index*/) { kills->round(m_plan.kills); };
  }));
  const std::string directory = workDirectory("children");
  Tally* const tallies =
      m_tallies.get() + static_cast<std::size_t>(m_plan.processes) * m_operations.size();
  m_processes.push_back(
      std::make_unique<Process>("the parent of children", [=, this]() -> Process::Round {
        const auto calls = std::make_shared<ChildCalls>(m_plan, m_inChildren, directory, tallies);
        return [calls](int index) { calls->round(index); };
      }));
  m_replacer = std::make_unique<Process>("the replacer", [this]() -> Process::Round {
    const auto random = std::make_shared<Random>(m_plan.seed);
    return [random, this](int index) { replaceFiles(index, *random); };
  });
}

void Run::replaceFiles(int round, Random& random) {
  do {
    replaceOne(random);
    ++m_board[0].replacements;
    std::this_thread::sleep_for(kBetweenReplacements);
  } while (m_board[0].active == round);
}

bool Run::doRound(int index) {
  m_board[0].active = index;
  m_replacer->start(index);
  for (const auto& process : m_processes) process->start(index);
  bool done = true;
  for (const auto& process : m_processes) done = process->await(kPatience) && done;
  m_board[0].active = -1;
  return m_replacer->await(kPatience) && done;
}

Record Run::finish() {
  Record record;
  for (int index = 0; index < m_plan.rounds; ++index) {
    if (!doRound(index)) break;
    record.moments.push_back(moment());
    writeSample(record.moments.back());
    if (::isatty(STDOUT_FILENO) != 0 || (index + 1) % kRoundsPerMinute == 0)
      showProgress(record.moments.back());
  }
  m_processes.push_back(std::move(m_replacer));
  for (const auto& process : m_processes) {
    if (const auto how = process->end(kPatience)) record.ends.push_back(*how);
  }
  for (int i = 0; i < m_plan.processes; ++i) {
    record.outOfOrder += m_samples[static_cast<std::size_t>(i)].outOfOrder;
    record.children += m_samples[static_cast<std::size_t>(i)].children;
  }
  record.doubleHolders = m_board[0].lock.doubleHolders;
  record.lockFailures = m_board[0].lock.failures;
  judgeOperations(record);
  return record;
}

Moment Run::moment() const {
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - m_start;
  Moment now;
  now.seconds = passed.count();
  for (std::size_t i = 0; i < m_all; ++i) {
    for (std::size_t outcome = 0; outcome < kOutcomes; ++outcome)
      now.calls += countOf(i, static_cast<Outcome>(outcome));
  }
  for (int i = 0; i < m_plan.processes; ++i) {
    const Sample& sample = m_samples[static_cast<std::size_t>(i)];
    now.handOvers += sample.handOvers;
    now.liveBytes += sample.liveBytes;
    now.residentBytes += sample.residentBytes;
    now.descriptors += sample.descriptors;
  }
  now.kills = m_board[0].lock.kills;
  return now;
}

void Run::writeSample(const Moment& now) {
  m_log << now.seconds << ' ' << now.calls << ' ' << now.handOvers << ' ' << now.kills << ' '
        << now.liveBytes << ' ' << now.residentBytes << ' ' << now.descriptors << '\n'
        << std::flush;
}

void Run::showProgress(const Moment& now) const {
  const auto seconds = static_cast<long>(now.seconds);
  std::printf("    %2ld:%02ld  %lu calls, %lu hand-overs, %lu kills, %s allocated, %s resident\n",
              seconds / 60, seconds % 60, now.calls, now.handOvers, now.kills,
              mebibytes(now.liveBytes).c_str(), mebibytes(now.residentBytes).c_str());
  std::fflush(stdout);
}

/// Sums over the processes. Those that run in children follow the others.
std::uint64_t Run::countOf(std::size_t operation, Outcome outcome) const {
  const auto processes = static_cast<std::size_t>(m_plan.processes);
  const auto kind = static_cast<std::size_t>(outcome);
  const std::size_t ofThreads = m_operations.size();
  if (operation >= ofThreads)
    return m_tallies[(processes - 1) * ofThreads + operation].counts[kind];
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < processes; ++i)
    sum += m_tallies[i * ofThreads + operation].counts[kind];
  return sum;
}

/// Writes the table of operations and puts the wrong and the missing ones into the record.
void Run::judgeOperations(Record& record) const {
  std::ofstream table(m_output + "/operations.tsv");
  table << "operation\tanswered\tfailed\tthrew\twrong\n";
  std::uint64_t totals[kOutcomes] = {};
  for (std::size_t i = 0; i < m_all; ++i) {
    const Operation& operation =
        i < m_operations.size() ? m_operations[i] : m_inChildren[i - m_operations.size()];
    const std::string& name = operation.names.front();
    std::uint64_t calls = 0;
    table << name;
    for (std::size_t outcome = 0; outcome < kOutcomes; ++outcome) {
      const std::uint64_t count = countOf(i, static_cast<Outcome>(outcome));
      totals[outcome] += count;
      calls += count;
      table << '\t' << count;
    }
    table << '\n';
    const std::uint64_t wrong = countOf(i, Outcome::wrong);
    if (wrong != 0) record.wrongCalls.push_back(name + ", " + std::to_string(wrong) + " times");
    if (calls == 0) record.neverCalled.push_back(name);
  }
  std::printf("    calls: %lu answered, %lu failed and %lu threw as documented, %lu wrong\n",
              totals[0], totals[1], totals[2], totals[3]);
  std::printf("    files replaced: %lu\n", m_board[0].replacements.load());
}

}  // namespace commutil_soak
