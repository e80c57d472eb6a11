#include "soak/child_calls.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace commutil_soak {
namespace {

constexpr unsigned kTimeLimit = 120;

}  // namespace

void ChildCalls::round(int index) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(m_plan.roundSeconds);
  for (std::size_t i = 0; index == 0 && i < m_operations.size(); ++i) call(i);
  while (std::chrono::steady_clock::now() < end) call(m_random.below(m_operations.size()));
}

void ChildCalls::call(std::size_t index) {
  const Operation& operation = m_operations[index];
  m_random.number();  // so that the next child gets other arguments
  const pid_t child = ::fork();
  if (child == 0) runChild(operation);
  int status = -1;
  ::waitpid(child, &status, 0);
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  const bool known = code >= 0 && code < static_cast<int>(kOutcomes);
  m_tallies[index].add(known ? static_cast<Outcome>(code) : Outcome::wrong);
  if (!known) {
    std::fprintf(stderr, "%s ended its process with the status %d\n",
                 operation.names.front().c_str(), status);
  }
}

void ChildCalls::runChild(const Operation& operation) {
  ::alarm(kTimeLimit);
  Common common;
  common.surroundings.application = m_random.once(2) ? "application" : "other";
  common.surroundings.instance = "child-" + std::to_string(m_random.below(4));
  ::setenv("APP_NAME", common.surroundings.application.c_str(), 1);
  ::setenv("PROCESS_INSTANCE_ID", common.surroundings.instance.c_str(), 1);
  Caller caller{m_random, 0, m_directory, common};
  const Outcome outcome = outcomeOf(operation, caller);
  if (outcome == Outcome::wrong) {
    std::fprintf(stderr, "wrong result of %s in a child: %.500s\n", operation.names.front().c_str(),
                 caller.detail.c_str());
  }
  ::_exit(static_cast<int>(outcome));
}

}  // namespace commutil_soak
