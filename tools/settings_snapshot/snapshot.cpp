#include "settings_snapshot/snapshot.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

#include "os/file_io.h"
#include "os/handles.h"
#include "settingrest/snapshot_format.h"

namespace settings {
namespace {

using settingrest::SnapshotFileEntry;
using settingrest::SnapshotFileHeader;

constexpr const char* kRemedy = "; restore it, or let the agent or an import write it again";

std::string shortened(const std::string& key) {
  constexpr std::size_t kMost = 80;
  return key.size() <= kMost ? key : key.substr(0, kMost) + "...";
}

void requireLimit(std::size_t size, std::size_t limit, const std::string& what) {
  if (size <= limit) return;
  throw SnapshotError("snapshot: " + what + " has " + std::to_string(size) +
                      " bytes, more than the limit of " + std::to_string(limit) +
                      "; the last snapshot stays in use; shorten or delete settings");
}

/// Returns the entries in the order of the file, each checked.
std::vector<const SnapshotEntry*> sorted(const std::vector<SnapshotEntry>& entries) {
  std::vector<const SnapshotEntry*> result;
  result.reserve(entries.size());
  for (const SnapshotEntry& entry : entries) {
    if (entry.key.empty()) throw SnapshotError("snapshot: a setting has an empty key; delete it");
    requireLimit(entry.key.size(), settingrest::kMaxKeyBytes, "the key " + shortened(entry.key));
    requireLimit(entry.value.size(), settingrest::kMaxValueBytes,
                 "the value of " + shortened(entry.key));
    result.push_back(&entry);
  }
  const auto byKey = [](const auto* a, const auto* b) { return a->key < b->key; };
  std::sort(result.begin(), result.end(), byKey);
  const auto isSame = [](const auto* a, const auto* b) { return a->key == b->key; };
  const auto twice = std::adjacent_find(result.begin(), result.end(), isSame);
  if (twice == result.end()) return result;
  throw SnapshotError("snapshot: the key " + shortened((*twice)->key) +
                      " occurs twice; delete one of the two");
}

std::size_t encodedSize(const std::vector<SnapshotEntry>& entries) {
  std::size_t size = sizeof(SnapshotFileHeader);
  for (const SnapshotEntry& entry : entries)
    size += sizeof(SnapshotFileEntry) + entry.key.size() + entry.value.size();
  return size;
}

template <class Record>
void appendRecord(std::string& bytes, const Record& record) {
  bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
}

void appendEntries(std::string& bytes, const std::vector<const SnapshotEntry*>& entries) {
  std::size_t offset = bytes.size() + entries.size() * sizeof(SnapshotFileEntry);
  for (const SnapshotEntry* const entry : entries) {
    SnapshotFileEntry record{};
    record.keyOffset = static_cast<std::uint32_t>(offset);
    record.keyBytes = static_cast<std::uint32_t>(entry->key.size());
    record.valueOffset = static_cast<std::uint32_t>(offset + entry->key.size());
    record.valueBytes = static_cast<std::uint32_t>(entry->value.size());
    record.revision = entry->revision;
    offset += entry->key.size() + entry->value.size();
    appendRecord(bytes, record);
  }
  for (const SnapshotEntry* const entry : entries) bytes.append(entry->key).append(entry->value);
}

[[noreturn]] void failToRead(const std::filesystem::path& file, const std::string& cause) {
  throw SnapshotError(file.string() + ": " + cause + kRemedy);
}

/// Returns the bytes of a regular file no larger than a snapshot can be.
std::string readBytes(const std::filesystem::path& file) {
  // Not blocking: a pipe in the file's place must not hold the caller.
  const commutil::Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!opened || ::fstat(opened.get(), &status) != 0)
    failToRead(file, std::generic_category().message(errno));
  if (!S_ISREG(status.st_mode)) failToRead(file, "not a regular file");
  if (static_cast<std::uint64_t>(status.st_size) > settingrest::kMaxSnapshotBytes)
    failToRead(file, "larger than 64 MiB");
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t size = 0;
  while (size < bytes.size()) {
    const ssize_t count = commutil::uninterrupted(
        [&] { return ::read(opened.get(), bytes.data() + size, bytes.size() - size); });
    if (count < 0) failToRead(file, std::generic_category().message(errno));
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace

std::string encodeSnapshot(const Snapshot& snapshot) {
  const std::vector<const SnapshotEntry*> entries = sorted(snapshot.entries);
  const std::size_t size = encodedSize(snapshot.entries);
  requireLimit(size, settingrest::kMaxSnapshotBytes, "the file");
  SnapshotFileHeader header{};
  std::memcpy(header.magic, settingrest::kSnapshotMagic.data(), sizeof header.magic);
  header.version = settingrest::kSnapshotVersion;
  header.byteCount = size;
  header.entryCount = entries.size();
  header.clusterId = snapshot.header.clusterId;
  header.revision = snapshot.header.revision;
  header.writtenAt = snapshot.header.writtenAt;
  std::string bytes;
  bytes.reserve(size);
  appendRecord(bytes, header);
  appendEntries(bytes, entries);
  const std::uint32_t crc = settingrest::snapshotCrc(bytes);
  std::memcpy(bytes.data() + offsetof(SnapshotFileHeader, crc), &crc, sizeof crc);
  return bytes;
}

Snapshot readSnapshot(const std::filesystem::path& file) {
  const std::string bytes = readBytes(file);
  const std::string fault = settingrest::snapshotFault(bytes);
  if (!fault.empty()) failToRead(file, fault);
  const settingrest::SnapshotView view(bytes);
  Snapshot snapshot{{view.header().clusterId, view.header().revision, view.header().writtenAt}, {}};
  snapshot.entries.reserve(view.size());
  for (std::size_t i = 0; i < view.size(); ++i) {
    const settingrest::SnapshotView::Entry entry = view.entry(i);
    snapshot.entries.push_back({std::string(entry.key), std::string(entry.value), entry.revision});
  }
  return snapshot;
}

}  // namespace settings
