#pragma once

#include <sys/stat.h>

#include <functional>
#include <optional>
#include <string>

#include "commutil-settings/configuration.h"
#include "commutil-settings/publisher.h"
#include "commutil-settings/status.h"
#include "commutil-settings/sync_state.h"
#include "commutil-settings/write_schedule.h"
#include "os/handles.h"
#include "settings_snapshot/snapshot.h"

namespace agent {

/// What a synchronizer knows, for the status.
struct Report {
  std::string state;
  std::string member;
  std::string problem;
  std::uint64_t clusterId = 0;
  std::int64_t revision = 0;
  Time verified{};
  bool hasSettings = false;
};

/// The files of this host: the snapshot, what a relay publishes, and the status. One process at a
/// time keeps them.
class SnapshotKeeper {
 public:
  /// Creates the directory of the snapshot if it does not exist.
  /// @throws std::runtime_error  also if another agent runs
  explicit SnapshotKeeper(const Configuration& configuration);

  /// Returns the snapshot that services read; nothing, and says why, if it cannot be used.
  std::optional<settings::Snapshot> load();

  /// When the snapshot was last known to equal the cluster's, as far as the status says.
  Time lastVerified(const settings::Snapshot& snapshot, Time now) const;

  void onChange(Time now) { m_schedule.onChange(now); }
  /// Whether changes are not written yet.
  bool isPending() const { return m_schedule.isPending(); }
  /// Whether services have a valid snapshot.
  bool isReady() const { return m_isReady; }
  Time deadline() const;

  /// Writes the snapshot if it is due. A failure is said once and tried again.
  void onTime(Time now, const std::function<settings::Snapshot()>& snapshot);
  void write(Time now, settings::Snapshot snapshot);

  /// Writes the status if it says something new.
  void report(Time now, const Report& report);

  const std::string& path() const { return m_configuration.snapshotPath; }

 private:
  void checkFile(Time now);
  void publish(const settings::Snapshot& snapshot) const;
  void publishLoaded(const settings::Snapshot& snapshot);
  void remember();

  const Configuration& m_configuration;
  commutil::Descriptor m_lock;
  settings::SnapshotOwnership m_ownership;
  std::optional<Publisher> m_publisher;
  WriteSchedule m_schedule;
  std::string m_bootId = bootId();
  bool m_isReady = false;
  bool m_hasFailed = false;  // and said so
  bool m_hasStatusFailed = false;
  std::optional<struct stat> m_written;  // the file as it was written
  Time m_nextCheck{};
  Status m_status;
  Time m_statusWritten{};
};

}  // namespace agent
