#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace settings {

struct SnapshotEntry {
  std::string key;
  std::string value;
  std::int64_t revision = 0;  ///< at which the setting was changed last
};

struct SnapshotHeader {
  std::uint64_t clusterId = 0;
  std::int64_t revision = 0;
  std::int64_t writtenAt = 0;  ///< seconds since the epoch by the wall clock, for display only
};

/// All settings at one revision.
struct Snapshot {
  SnapshotHeader header;
  std::vector<SnapshotEntry> entries;  ///< in any order; sorted by the bytes of the key when read
};

/// Names the file, what is wrong and what to do.
class SnapshotError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Returns the snapshot in `file`, a regular file or a link to one, after checking every byte.
/// @throws SnapshotError
Snapshot readSnapshot(const std::filesystem::path& file);

/// Returns the bytes of a file that holds `snapshot`.
/// @throws SnapshotError beyond a limit, for an empty key and for a key that occurs twice
std::string encodeSnapshot(const Snapshot& snapshot);

struct SnapshotOwnership {
  mode_t mode = 0644;
  std::optional<gid_t> group;
};

/// Replaces `file` by rename through "<file>.new", so that a reader finds the old snapshot or the
/// new one, whole, at any moment. Both the file and its directory are on disk afterwards. A link is
/// replaced, not followed.
/// @throws SnapshotError; the file is then the old one or, if only the directory could not be
///         synchronized, the new one
void writeSnapshot(const std::filesystem::path& file, const Snapshot& snapshot,
                   const SnapshotOwnership& ownership = {});

}  // namespace settings
