#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "commutil-settings/configuration.h"

namespace agent {

/// What the agent tells the operator, in a file beside the snapshot.
struct Status {
  std::string state;   ///< "watching", "following" or "away"
  std::string member;  ///< the URL
  std::string problem;
  std::uint64_t clusterId = 0;
  std::int64_t revision = 0;              ///< that services on this host are served
  std::chrono::seconds verifiedUptime{};  ///< when the settings last equaled the cluster's
  std::string bootId;                     ///< of the boot that `verifiedUptime` belongs to
  std::int64_t verifiedAt = 0;            ///< the same by the wall clock
};

/// Returns the seconds since the machine was started, its time asleep included.
std::chrono::seconds uptime();

/// Returns what differs after each start of the machine.
std::string bootId();

/// Replaces the status of the snapshot at `path`.
/// @throws std::runtime_error
void writeStatus(const std::string& path, const Status& status);

/// Returns the status of the snapshot at `path`; nothing if there is none that can be read.
std::optional<Status> readStatus(const std::string& path);

/// Returns for how long the settings may differ from the cluster's. By a clock that nobody sets,
/// but after a start of the machine by the wall clock.
std::chrono::seconds ageOf(const Status& status);

}  // namespace agent
