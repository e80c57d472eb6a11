#include "settings_store/snapshot_target.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>
#include <stdexcept>

#include "os/handles.h"
#include "settings_snapshot/snapshot.h"
#include "settings_store/effects.h"
#include "settings_store/replace_file.h"
#include "settings_store/write_lock.h"

namespace settings {
namespace {

constexpr mode_t kPermissions = 07777;

/// Reads the snapshot; an absent one has no settings.
Snapshot load(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 && errno == ENOENT) return {};
  return readSnapshot(path);
}

Values valuesOf(const Snapshot& snapshot) {
  Values values;
  for (const SnapshotEntry& entry : snapshot.entries) values[entry.key] = entry.value;
  return values;
}

void requireNames(const std::vector<Change>& changes) {
  for (const Change& change : changes) {
    const bool isName =
        !change.key.empty() && change.key.front() == '/' && change.key.back() != '/';
    if (change.value && !isName)
      throw std::runtime_error(change.key + ": a snapshot cannot hold a setting of this name");
  }
}

/// Returns the snapshot after `old` that holds `wanted`: what is unchanged keeps its revision.
Snapshot successor(const Snapshot& old, const Values& wanted) {
  Snapshot next;
  next.header = {0, old.header.revision + 1, std::int64_t{std::time(nullptr)}};
  Values rest = wanted;
  for (const SnapshotEntry& entry : old.entries) {
    const auto found = rest.find(entry.key);
    if (found == rest.end() || found->second != entry.value) continue;
    next.entries.push_back(entry);
    rest.erase(found);
  }
  for (const auto& [key, value] : rest) next.entries.push_back({key, value, next.header.revision});
  return next;
}

/// A settings agent that runs would undo every change; it keeps its own lock.
void requireNoAgent(const std::string& path) {
  const commutil::Descriptor lock(
      ::open((path + ".agent").c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!lock || ::flock(lock.get(), LOCK_SH | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
  throw std::runtime_error(path +
                           ": commutil-settings keeps this snapshot equal to a cluster's settings; "
                           "change them there, on a host whose settings.conf has [cluster]");
}

/// Returns the permissions of the file at `path`, those of a new one if there is none.
SnapshotOwnership ownershipOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return {};
  return {status.st_mode & kPermissions, status.st_gid};
}

}  // namespace

SnapshotTarget::SnapshotTarget(const std::string& path) : m_path(resolveLinks(path)) {}

Values SnapshotTarget::read() { return valuesOf(load(m_path)); }

std::vector<Effect> SnapshotTarget::write(const Plan& plan, const WriteOptions& options) {
  std::optional<WriteLock> lock;
  if (!options.dryRun) {
    requireNoAgent(m_path);
    lock.emplace(m_path + ".lock", options);
  }
  const Snapshot old = load(m_path);
  const Values before = valuesOf(old);
  const std::vector<Change> changes = plan(before);
  requireNames(changes);
  const Values after = changed(before, changes);
  std::vector<Effect> effects = effectsOf(changes, before, after);
  if (!effects.empty() && !options.dryRun)
    writeSnapshot(m_path, successor(old, after), ownershipOf(m_path));
  return effects;
}

}  // namespace settings
