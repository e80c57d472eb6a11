#include "settingrest/snapshot_format.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "settingrest/crc32c.h"

namespace settingrest {
namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

constexpr std::size_t kCrcOffset = offsetof(SnapshotFileHeader, crc);
constexpr std::size_t kAfterCrc = kCrcOffset + sizeof(SnapshotFileHeader::crc);

void require(bool holds, const char* fault) {
  if (!holds) throw SnapshotFault(fault);
}

void requireEntry(bool holds, std::size_t index, const char* fault) {
  if (!holds) throw SnapshotFault("entry " + std::to_string(index) + ": " + fault);
}

}  // namespace

std::uint32_t snapshotCrc(std::string_view bytes) {
  constexpr std::string_view kZero("\0\0\0\0", sizeof(SnapshotFileHeader::crc));
  return crc32c(crc32c(crc32c(0, bytes.substr(0, kCrcOffset)), kZero), bytes.substr(kAfterCrc));
}

SnapshotView::SnapshotView(std::string_view bytes) : m_bytes(bytes) {
  require(bytes.size() >= sizeof m_header, "shorter than a snapshot's header");
  require(bytes.size() <= kMaxSnapshotBytes, "larger than 64 MiB");
  std::memcpy(&m_header, bytes.data(), sizeof m_header);
  checkHeader();
  checkEntries();
}

void SnapshotView::checkHeader() const {
  require(m_bytes.substr(0, kSnapshotMagic.size()) == kSnapshotMagic, "not a settings snapshot");
  if (m_header.version != kSnapshotVersion)
    throw SnapshotFault("format version " + std::to_string(m_header.version) + ", not " +
                        std::to_string(kSnapshotVersion));
  require(m_header.byteCount == m_bytes.size(), "truncated or extended: wrong byte count");
  require(m_header.crc == snapshotCrc(m_bytes), "wrong checksum");
  require(m_header.entryCount <= (m_bytes.size() - sizeof m_header) / sizeof(SnapshotFileEntry),
          "more entries than bytes");
}

void SnapshotView::checkEntries() const {
  std::uint64_t offset = sizeof m_header + m_header.entryCount * sizeof(SnapshotFileEntry);
  std::string_view previous;
  for (std::size_t i = 0; i < size(); ++i) {
    const SnapshotFileEntry at = record(i);
    requireEntry(at.keyBytes > 0 && at.keyBytes <= kMaxKeyBytes, i, "key length out of range");
    requireEntry(at.valueBytes <= kMaxValueBytes, i, "value length out of range");
    requireEntry(at.keyOffset == offset, i, "wrong key offset");
    requireEntry(at.valueOffset == offset + at.keyBytes, i, "wrong value offset");
    offset = std::uint64_t{at.valueOffset} + at.valueBytes;
    requireEntry(offset <= m_bytes.size(), i, "beyond the end of the file");
    const std::string_view key = m_bytes.substr(at.keyOffset, at.keyBytes);
    requireEntry(i == 0 || previous < key, i, "keys not in ascending order");
    previous = key;
  }
  require(offset == m_bytes.size(), "bytes after the last value");
}

SnapshotFileEntry SnapshotView::record(std::size_t index) const {
  SnapshotFileEntry at{};
  std::memcpy(&at, m_bytes.data() + sizeof m_header + index * sizeof at, sizeof at);
  return at;
}

SnapshotView::Entry SnapshotView::entry(std::size_t index) const {
  const SnapshotFileEntry at = record(index);
  return {{m_bytes.data() + at.keyOffset, at.keyBytes},
          {m_bytes.data() + at.valueOffset, at.valueBytes},
          at.revision};
}

std::size_t SnapshotView::lowerBound(std::string_view prefix, std::string_view rest) const {
  std::size_t first = 0;
  std::size_t count = size();
  while (count > 0) {
    const std::size_t half = count / 2;
    const std::string_view key = entry(first + half).key;
    const int order = key.compare(0, prefix.size(), prefix);
    const bool isLess =
        order < 0 || (order == 0 && key.substr(std::min(key.size(), prefix.size())) < rest);
    if (isLess) first += half + 1;
    count = isLess ? count - half - 1 : half;
  }
  return first;
}

}  // namespace settingrest
