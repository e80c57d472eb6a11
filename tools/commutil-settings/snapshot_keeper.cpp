#include "commutil-settings/snapshot_keeper.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "commutil-settings/directory_owner.h"
#include "commutil-settings/log.h"
#include "settings_store/read_file.h"

namespace agent {
namespace {

using std::chrono::seconds;

constexpr seconds kStatusInterval{1};
constexpr seconds kCheckInterval{5};

void createDirectory(const std::filesystem::path& directory) {
  std::error_code failed;
  std::filesystem::create_directories(directory, failed);
  if (failed)
    throw std::runtime_error(directory.string() + " cannot be created: " + failed.message());
}

commutil::Descriptor lockFiles(const std::string& path) {
  createDirectory(std::filesystem::path(path).parent_path());
  const std::string file = path + ".agent";
  commutil::Descriptor lock(
      ::open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!lock) throw std::runtime_error(file + ": " + std::generic_category().message(errno));
  if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
    throw std::runtime_error(path + ": another agent keeps this snapshot; stop it first");
  passToDirectoryOwner(file);
  return lock;
}

settings::SnapshotOwnership ownershipFor(const std::string& group) {
  if (group.empty()) return {};
  const struct group* const entry = ::getgrnam(group.c_str());
  if (entry == nullptr) throw std::runtime_error("[snapshot] group: there is no group " + group);
  return {0640, entry->gr_gid};
}

bool isSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

SnapshotKeeper::SnapshotKeeper(const Configuration& configuration)
    : m_configuration(configuration),
      m_lock(lockFiles(configuration.snapshotPath)),
      m_ownership(ownershipFor(configuration.group)),
      m_schedule(configuration.settle) {
  if (!configuration.publishDirectory.empty())
    m_publisher.emplace(configuration.publishDirectory, configuration.keep);
}

std::optional<settings::Snapshot> SnapshotKeeper::load() {
  if (!std::filesystem::exists(path())) return std::nullopt;
  try {
    settings::Snapshot snapshot = settings::readSnapshot(path());
    m_isReady = true;
    remember();
    publishLoaded(snapshot);
    return snapshot;
  } catch (const settings::SnapshotError& error) {
    say(Level::error, std::string(error.what()) + "; the cluster's settings are listed again");
    return std::nullopt;
  }
}

Time SnapshotKeeper::lastVerified(const settings::Snapshot& snapshot, Time now) const {
  const std::optional<Status> status = readStatus(path());
  if (status && status->clusterId == snapshot.header.clusterId) return now - ageOf(*status);
  return now - seconds(std::max<std::int64_t>(0, std::time(nullptr) - snapshot.header.writtenAt));
}

Time SnapshotKeeper::deadline() const { return std::min(m_schedule.due(), m_nextCheck); }

void SnapshotKeeper::onTime(Time now, const std::function<settings::Snapshot()>& snapshot) {
  checkFile(now);
  if (m_schedule.isDue(now)) write(now, snapshot());
}

void SnapshotKeeper::write(Time now, settings::Snapshot snapshot) {
  snapshot.header.writtenAt = std::time(nullptr);
  try {
    writeSnapshot(path(), snapshot, m_ownership);
    remember();
    m_isReady = true;
    publish(snapshot);
    m_schedule.onWritten(now);
    if (m_hasFailed) say(Level::info, path() + " is written again");
    m_hasFailed = false;
  } catch (const std::runtime_error& error) {
    m_schedule.onFailed(now);
    if (!m_hasFailed) {
      say(Level::error, "revision " + std::to_string(snapshot.header.revision) +
                            " was not written: " + error.what());
    }
    m_hasFailed = true;
  }
}

void SnapshotKeeper::publish(const settings::Snapshot& snapshot) const {
  if (m_publisher) m_publisher->publish(encodeSnapshot(snapshot), snapshot.header.revision);
}

/// A directory that cannot be written does not keep the host from its settings: the next write says
/// so and tries again.
void SnapshotKeeper::publishLoaded(const settings::Snapshot& snapshot) {
  try {
    publish(snapshot);
  } catch (const std::runtime_error&) {
    m_schedule.onChange(Time{});
  }
}

void SnapshotKeeper::remember() {
  struct stat status {};
  m_written.reset();
  if (::stat(path().c_str(), &status) == 0) m_written = status;
}

/// Writes the snapshot again if another process has changed or removed it.
void SnapshotKeeper::checkFile(Time now) {
  if (now < m_nextCheck) return;
  m_nextCheck = now + kCheckInterval;
  if (!m_written) return;
  struct stat status {};
  if (::stat(path().c_str(), &status) == 0 && isSameFile(*m_written, status)) return;
  m_written.reset();
  say(Level::error, path() + " was changed by another process; it is written again");
  m_schedule.onChange(now);
}

void SnapshotKeeper::report(Time now, const Report& report) {
  Status next = m_status;
  next.state = report.state;
  next.member = report.member;
  next.problem = report.problem;
  next.bootId = m_bootId;
  if (report.hasSettings && !m_schedule.isPending()) {
    const seconds age = std::chrono::duration_cast<seconds>(now - report.verified);
    next.clusterId = report.clusterId;
    next.revision = report.revision;
    next.verifiedUptime = uptime() - age;
    next.verifiedAt = std::time(nullptr) - age.count();
  }
  const bool isUrgent = next.state != m_status.state || next.revision != m_status.revision ||
                        next.member != m_status.member || next.problem != m_status.problem;
  const bool isNews = isUrgent || next.verifiedUptime > m_status.verifiedUptime + seconds(1);
  if (!isNews || (!isUrgent && now < m_statusWritten + kStatusInterval)) return;
  try {
    writeStatus(path(), next);
    m_hasStatusFailed = false;
  } catch (const std::runtime_error& error) {
    if (!m_hasStatusFailed) say(Level::error, error.what());
    m_hasStatusFailed = true;
  }
  m_status = next;
  m_statusWritten = now;
}

}  // namespace agent
