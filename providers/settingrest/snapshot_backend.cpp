// Settings in a snapshot that another process replaces by rename. Takes no lock, starts no thread
// and opens no socket.
#include "snapshot_backend.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <new>
#include <system_error>
#include <utility>

#include "os/handles.h"
#include "report.h"

namespace settingrest {
namespace {

constexpr std::int64_t kCheckInterval = 10;  // milliseconds

std::int64_t coarseMilliseconds() {
  std::timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

/// Returns `path` without the "/" in front, which may be left out.
std::string_view withoutSlash(std::string_view path) {
  return path.substr(path.substr(0, 1) == "/" ? 1 : 0);
}

/// Returns what the keys of the parameters of `group` begin with.
KeyParts prefixOf(std::string_view group) {
  const bool isWhole = group.empty() || group.back() == '/';
  return {"/", withoutSlash(group), isWhole ? "" : "/"};
}

}  // namespace

SnapshotBackend::SnapshotBackend(std::string path) : m_path(std::move(path)) {}

Answer SnapshotBackend::findValue(const std::string& key, std::string& value) {
  const Published<State>::Pin state = current();
  if (!state || !state->snapshot) return Answer::noStore;
  const SnapshotView& view = state->snapshot->view;
  const std::size_t index = state->snapshot->keys.find(withoutSlash(key));
  if (index == view.size()) return Answer::absent;
  value.assign(view.entry(index).value);
  return Answer::found;
}

Answer SnapshotBackend::findGroup(const std::string& group,
                                  std::map<std::string, std::string>& params) {
  const Published<State>::Pin state = current();
  if (!state || !state->snapshot) return Answer::noStore;
  const SnapshotView& view = state->snapshot->view;
  const KeyParts prefix = prefixOf(group);
  std::map<std::string, std::string> found;
  for (std::size_t i = view.lowerBound(prefix); i < view.size(); ++i) {
    const SnapshotView::Entry entry = view.entry(i);
    if (!prefix.isPrefixOf(entry.key)) break;
    const std::string_view name = entry.key.substr(prefix.size());
    if (name.find('/') == std::string_view::npos)
      found.emplace_hint(found.end(), name, entry.value);
  }
  if (found.empty()) return Answer::absent;
  params.swap(found);
  return Answer::found;
}

Published<SnapshotBackend::State>::Pin SnapshotBackend::current() {
  Published<State>::Pin state = m_state.pin();
  if (!isCheckDue() && state) return state;
  try {
    check(state);
  } catch (const std::bad_alloc&) {
    if (!state) throw;
  }
  state = m_state.pin();
  m_state.reap();
  return state;
}

/// True for one thread at a time. If a fork takes that thread away, the next check becomes due all
/// the same.
bool SnapshotBackend::isCheckDue() {
  const std::int64_t now = coarseMilliseconds();
  std::int64_t due = m_nextCheck.load(std::memory_order_relaxed);
  return now >= due &&
         m_nextCheck.compare_exchange_strong(due, now + kCheckInterval, std::memory_order_relaxed);
}

/// Publishes what is in the file's place unless that is what was found `last`.
void SnapshotBackend::check(const Published<State>::Pin& last) {
  struct stat status {};
  if (last && last->identity && ::stat(m_path.c_str(), &status) == 0 &&
      last->identity == FileIdentity(status))
    return;
  State next = examine();
  const bool isNews = !last || last->fault != next.fault;
  if (!isNews && !next.identity) return;
  if (!next.snapshot && last) next.snapshot = last->snapshot;
  const std::string fault = isNews ? next.fault : "";
  const bool hasSnapshot = next.snapshot != nullptr;
  if (m_state.replace(last, std::move(next)) && !fault.empty()) report(fault, hasSnapshot);
}

SnapshotBackend::State SnapshotBackend::examine() const {
  State state;
  struct stat status {};
  // Links are followed, as for every store. Not blocking, so that a pipe in the file's place cannot
  // hold the caller.
  const commutil::Descriptor file(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file || ::fstat(file.get(), &status) != 0) {
    state.fault = std::generic_category().message(errno);
    return state;
  }
  if (!S_ISREG(status.st_mode)) {
    state.fault = "not a regular file";
  } else if (status.st_size == 0) {
    state.fault = snapshotFault("");
  } else {
    const auto size = std::min(static_cast<std::size_t>(status.st_size), kMaxSnapshotBytes + 1);
    auto mapping = std::make_unique<const Mapping>(file.get(), size);
    state.fault =
        *mapping ? snapshotFault(mapping->bytes()) : std::generic_category().message(errno);
    if (!*mapping) return state;
    if (state.fault.empty()) state.snapshot = std::make_shared<const Snapshot>(std::move(mapping));
  }
  state.identity.emplace(status);
  return state;
}

void SnapshotBackend::report(const std::string& fault, bool hasSnapshot) const {
  settingrest::report(
      m_path + ": " + fault + "; " +
      (hasSnapshot ? "the last good snapshot stays in use" : "there are no settings") +
      "; let the settings agent or an import write it again");
}

}  // namespace settingrest
