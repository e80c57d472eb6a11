#include "settingrest/snapshot_format.h"

#include <algorithm>
#include <cstring>

#include "settingrest/crc32c.h"

namespace settingrest {
namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

constexpr std::size_t kCrcOffset = offsetof(SnapshotFileHeader, crc);
constexpr std::size_t kAfterCrc = kCrcOffset + sizeof(SnapshotFileHeader::crc);

SnapshotFileHeader headerOf(std::string_view bytes) {
  SnapshotFileHeader header{};
  std::memcpy(&header, bytes.data(), sizeof header);
  return header;
}

SnapshotFileEntry recordOf(std::string_view bytes, std::size_t index) {
  SnapshotFileEntry record{};
  std::memcpy(&record, bytes.data() + sizeof(SnapshotFileHeader) + index * sizeof record,
              sizeof record);
  return record;
}

std::string headerFault(std::string_view bytes) {
  if (bytes.size() < sizeof(SnapshotFileHeader)) return "shorter than a snapshot's header";
  if (bytes.size() > kMaxSnapshotBytes) return "larger than 64 MiB";
  if (bytes.substr(0, kSnapshotMagic.size()) != kSnapshotMagic) return "not a settings snapshot";
  const SnapshotFileHeader header = headerOf(bytes);
  if (header.version != kSnapshotVersion) {
    return "format version " + std::to_string(header.version) + ", not " +
           std::to_string(kSnapshotVersion);
  }
  if (header.byteCount != bytes.size()) return "wrong number of bytes";
  if (header.crc != snapshotCrc(bytes)) return "wrong checksum";
  if (header.entryCount > (bytes.size() - sizeof header) / sizeof(SnapshotFileEntry))
    return "more entries than bytes";
  return {};
}

/// Checks one entry. `offset` is where its key has to begin, and then where it ends.
const char* recordFault(std::string_view bytes, const SnapshotFileEntry& record,
                        std::uint64_t& offset) {
  if (record.keyBytes == 0 || record.keyBytes > kMaxKeyBytes) return "wrong length of the key";
  if (record.valueBytes > kMaxValueBytes) return "wrong length of the value";
  if (record.keyOffset != offset) return "wrong offset of the key";
  if (record.valueOffset != offset + record.keyBytes) return "wrong offset of the value";
  offset = std::uint64_t{record.valueOffset} + record.valueBytes;
  return offset <= bytes.size() ? nullptr : "beyond the end of the file";
}

std::string entriesFault(std::string_view bytes) {
  const std::uint64_t count = headerOf(bytes).entryCount;
  std::uint64_t offset = sizeof(SnapshotFileHeader) + count * sizeof(SnapshotFileEntry);
  std::string_view previous;  // sorts before any key
  for (std::size_t i = 0; i < count; ++i) {
    const SnapshotFileEntry record = recordOf(bytes, i);
    const char* fault = recordFault(bytes, record, offset);
    if (fault == nullptr) {
      const std::string_view key = bytes.substr(record.keyOffset, record.keyBytes);
      if (previous >= key) fault = "keys not in ascending order";
      previous = key;
    }
    if (fault != nullptr) return "entry " + std::to_string(i) + ": " + fault;
  }
  return offset == bytes.size() ? "" : "bytes after the last value";
}

}  // namespace

std::uint32_t snapshotCrc(std::string_view bytes) {
  constexpr std::string_view kZero("\0\0\0\0", sizeof(SnapshotFileHeader::crc));
  return crc32c(crc32c(crc32c(0, bytes.substr(0, kCrcOffset)), kZero), bytes.substr(kAfterCrc));
}

int KeyParts::compareTo(std::string_view key) const {
  for (const std::string_view part : {front, middle}) {
    const int order = key.compare(0, part.size(), part);
    if (order != 0) return order;
    key.remove_prefix(part.size());
  }
  return key.compare(back);
}

std::string snapshotFault(std::string_view bytes) {
  const std::string fault = headerFault(bytes);
  return fault.empty() ? entriesFault(bytes) : fault;
}

SnapshotView::SnapshotView(std::string_view bytes) : m_bytes(bytes), m_header(headerOf(bytes)) {}

std::size_t SnapshotView::lowerBound(const KeyParts& parts) const {
  std::size_t first = 0;
  std::size_t count = size();
  while (count > 0) {
    const std::size_t half = count / 2;
    const bool isLess = parts.compareTo(entry(first + half).key) < 0;
    if (isLess) first += half + 1;
    count = isLess ? count - half - 1 : half;
  }
  return first;
}

}  // namespace settingrest
