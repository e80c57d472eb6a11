#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

// The file format of a settings snapshot, for its reader and its writer. All numbers are
// little-endian.

namespace settingrest {

inline constexpr std::size_t kMaxSnapshotBytes = std::size_t{64} << 20;
inline constexpr std::size_t kMaxKeyBytes = std::size_t{4} << 10;
inline constexpr std::size_t kMaxValueBytes = std::size_t{1} << 20;

inline constexpr std::string_view kSnapshotMagic{"CUSNAP\r\n", 8};
inline constexpr std::uint32_t kSnapshotVersion = 1;

/// The first bytes of a file. `crc` is the CRC-32C of the whole file with `crc` as zero.
struct SnapshotFileHeader {
  char magic[8];
  std::uint32_t version;
  std::uint32_t crc;
  std::uint64_t byteCount;
  std::uint64_t entryCount;
  std::uint64_t clusterId;
  std::int64_t revision;
  std::int64_t writtenAt;
};
static_assert(sizeof(SnapshotFileHeader) == 56);

/// A setting. Offsets count from the start of the file. Entries follow the header, sorted by key;
/// then each entry's key and value follow in the same order without gaps.
struct SnapshotFileEntry {
  std::uint32_t keyOffset;
  std::uint32_t keyBytes;
  std::uint32_t valueOffset;
  std::uint32_t valueBytes;
  std::int64_t revision;
};
static_assert(sizeof(SnapshotFileEntry) == 24);

/// Returns the CRC-32C that belongs into the header of the snapshot `bytes`.
std::uint32_t snapshotCrc(std::string_view bytes);

/// A key in pieces, so that nobody has to join them.
struct KeyParts {
  std::string_view front;
  std::string_view middle;
  std::string_view back;

  std::size_t size() const { return front.size() + middle.size() + back.size(); }

  /// Compares the bytes of `key` with those of the joined pieces.
  int compareTo(std::string_view key) const;

  /// Returns whether `key` begins with the joined pieces.
  bool isPrefixOf(std::string_view key) const {
    return key.size() >= size() && compareTo(key.substr(0, size())) == 0;
  }
};

/// Checks every byte of a snapshot. Returns what is wrong, "" if nothing.
std::string snapshotFault(std::string_view bytes);

/// The settings in the bytes of a snapshot, which it does not own.
class SnapshotView {
 public:
  struct Entry {
    std::string_view key;
    std::string_view value;
    std::int64_t revision;
  };

  /// @param bytes  in which `snapshotFault` finds nothing wrong
  explicit SnapshotView(std::string_view bytes);

  const SnapshotFileHeader& header() const { return m_header; }
  std::size_t size() const { return static_cast<std::size_t>(m_header.entryCount); }

  Entry entry(std::size_t index) const {
    SnapshotFileEntry record{};
    std::memcpy(&record, m_bytes.data() + sizeof(SnapshotFileHeader) + index * sizeof record,
                sizeof record);
    return {{m_bytes.data() + record.keyOffset, record.keyBytes},
            {m_bytes.data() + record.valueOffset, record.valueBytes},
            record.revision};
  }

  /// Returns the index of the first entry whose key is not less than the `parts` of a key.
  std::size_t lowerBound(const KeyParts& parts) const;

 private:
  std::string_view m_bytes;
  SnapshotFileHeader m_header{};
};

}  // namespace settingrest
