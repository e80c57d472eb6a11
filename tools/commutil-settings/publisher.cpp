#include "commutil-settings/publisher.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "commutil-settings/directory_owner.h"
#include "commutil-settings/pointer.h"
#include "os/handles.h"
#include "settings_store/read_file.h"
#include "settings_store/replace_file.h"

namespace agent {
namespace {

namespace fs = std::filesystem;

constexpr const char* kCurrent = "/current";

/// Keeps other writers of a directory out while it lives.
commutil::Descriptor lockDirectory(const std::string& path) {
  commutil::Descriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory || ::flock(directory.get(), LOCK_EX) != 0)
    throw std::runtime_error(path + ": " + std::generic_category().message(errno));
  return directory;
}

std::optional<Pointer> readPointer(const std::string& directory) {
  return parsePointer(settings::readRegularFile(directory + kCurrent).value_or(""));
}

bool isSnapshot(const fs::path& file) {
  return file.filename().string().rfind("settings-", 0) == 0 && file.extension() == ".snap";
}

}  // namespace

void Publisher::publish(std::string_view bytes, std::int64_t revision) const {
  const commutil::Descriptor lock = lockDirectory(m_directory);
  const std::optional<Pointer> old = readPointer(m_directory);
  const Pointer pointer{revision, old ? old->epoch : 0, sha256Of(bytes)};
  const std::string file = m_directory + "/" + publishedName(revision);
  if (old == pointer && fs::exists(file)) return;
  settings::replaceFile(file, bytes);
  passToDirectoryOwner(file);
  settings::replaceFile(m_directory + kCurrent, pointerText(pointer));
  passToDirectoryOwner(m_directory + kCurrent);
  prune(file);
}

void Publisher::prune(const std::string& current) const {
  std::vector<std::pair<fs::file_time_type, fs::path>> snapshots;
  for (const fs::directory_entry& entry : fs::directory_iterator(m_directory)) {
    if (isSnapshot(entry.path()) && entry.path() != current) {
      snapshots.emplace_back(entry.last_write_time(), entry.path());
    }
  }
  std::sort(snapshots.rbegin(), snapshots.rend());
  for (std::size_t i = m_keep - 1; i < snapshots.size(); ++i) fs::remove(snapshots[i].second);
}

std::int64_t Publisher::raiseEpoch() const {
  const commutil::Descriptor lock = lockDirectory(m_directory);
  std::optional<Pointer> pointer = readPointer(m_directory);
  if (!pointer) {
    throw std::runtime_error(m_directory + kCurrent +
                             " is not a pointer: start the agent, which publishes one, first");
  }
  ++pointer->epoch;
  settings::replaceFile(m_directory + kCurrent, pointerText(*pointer));
  return pointer->epoch;
}

}  // namespace agent
