// What the checks of a snapshot let pass: nothing but what its writer writes.
#include "settingrest/snapshot_format.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "settingrest/crc32c.h"
#include "settings_snapshot/snapshot.h"

namespace {

using settingrest::crc32c;
using settingrest::snapshotFault;
using settingrest::SnapshotFileEntry;
using settingrest::SnapshotFileHeader;
using settingrest::SnapshotView;

constexpr std::size_t kHeaderBytes = sizeof(SnapshotFileHeader);
constexpr std::size_t kEntryBytes = sizeof(SnapshotFileEntry);

std::string sample() {
  return settings::encodeSnapshot(
      {{7, 42, 1'700'000'000}, {{"/a", "1", 40}, {"/b", "22", 41}, {"/c", "", 42}}});
}

template <class Number>
void plant(std::string& bytes, std::size_t offset, Number number) {
  std::memcpy(bytes.data() + offset, &number, sizeof number);
}

/// Makes the checksum right, so that the other checks have to find what was planted.
std::string signedAgain(std::string bytes) {
  plant(bytes, offsetof(SnapshotFileHeader, crc), settingrest::snapshotCrc(bytes));
  return bytes;
}

TEST(Crc32c, HasTheStandardsValues) {
  EXPECT_EQ(0U, crc32c(0, ""));
  EXPECT_EQ(0xE3069283U, crc32c(0, "123456789"));
  EXPECT_EQ(0x8A9136AAU, crc32c(0, std::string(32, '\0')));
  EXPECT_EQ(0x62A8AB43U, crc32c(0, std::string(32, '\xff')));
}

TEST(Crc32c, GoesOnAtAnyByte) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += static_cast<char>(i * 37);
  for (std::size_t i = 0; i <= text.size(); ++i)
    EXPECT_EQ(crc32c(0, text), crc32c(crc32c(0, text.substr(0, i)), text.substr(i))) << i;
}

TEST(SnapshotFormat, IsWhatItsPageSays) {
  const std::string bytes = sample();
  ASSERT_EQ(kHeaderBytes + 3 * kEntryBytes + 9, bytes.size());
  EXPECT_EQ("CUSNAP\r\n", bytes.substr(0, 8));
  EXPECT_EQ(std::string("\1\0\0\0", 4), bytes.substr(8, 4));
  EXPECT_EQ(static_cast<char>(bytes.size()), bytes[16]);
  EXPECT_EQ('\3', bytes[24]);
  EXPECT_EQ('\7', bytes[32]);
  EXPECT_EQ('\x2a', bytes[40]);
  EXPECT_EQ("/a1/b22/c", bytes.substr(kHeaderBytes + 3 * kEntryBytes));
  EXPECT_EQ("", snapshotFault(bytes));
}

TEST(SnapshotFormat, FindsAnyFlippedBit) {
  const std::string bytes = sample();
  for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
    std::string flipped = bytes;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    EXPECT_NE("", snapshotFault(flipped)) << bit;
  }
}

TEST(SnapshotFormat, FindsTruncationAtEveryByte) {
  const std::string bytes = sample();
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_NE("", snapshotFault(std::string_view(bytes).substr(0, size))) << size;
  EXPECT_EQ("wrong number of bytes", snapshotFault(bytes + "x"));
}

TEST(SnapshotFormat, FindsWhatIsPlantedUnderARightChecksum) {
  const std::size_t first = kHeaderBytes;
  const std::size_t second = first + kEntryBytes;
  const std::size_t third = second + kEntryBytes;
  const std::size_t blob = third + kEntryBytes;
  const struct {
    std::size_t offset;
    std::uint32_t number;
    std::string fault;
  } rows[] = {
      {0, 0, "not a settings snapshot"},
      {offsetof(SnapshotFileHeader, version), 0, "format version 0, not 1"},
      {offsetof(SnapshotFileHeader, version), 2, "format version 2, not 1"},
      {offsetof(SnapshotFileHeader, byteCount), 1, "wrong number of bytes"},
      {offsetof(SnapshotFileHeader, byteCount) + 4, 1, "wrong number of bytes"},
      {offsetof(SnapshotFileHeader, entryCount), 0, "bytes after the last value"},
      {offsetof(SnapshotFileHeader, entryCount), 2, "entry 0: wrong offset of the key"},
      {offsetof(SnapshotFileHeader, entryCount), 4, "more entries than bytes"},
      {offsetof(SnapshotFileHeader, entryCount), 0xFFFFFFFF, "more entries than bytes"},
      {offsetof(SnapshotFileHeader, entryCount) + 4, 0xFFFFFFFF, "more entries than bytes"},
      {first, 0, "entry 0: wrong offset of the key"},
      {first, 0xFFFFFFFF, "entry 0: wrong offset of the key"},
      {second, static_cast<std::uint32_t>(blob), "entry 1: wrong offset of the key"},
      {first + 4, 0, "entry 0: wrong length of the key"},
      {first + 4, 1, "entry 0: wrong offset of the value"},
      {first + 4, 4097, "entry 0: wrong length of the key"},
      {first + 4, 0xFFFFFFFF, "entry 0: wrong length of the key"},
      {first + 8, 0, "entry 0: wrong offset of the value"},
      {first + 8, 0xFFFFFFFF, "entry 0: wrong offset of the value"},
      {first + 12, 2, "entry 1: wrong offset of the key"},
      {first + 12, 1000, "entry 0: beyond the end of the file"},
      {first + 12, (1U << 20) + 1, "entry 0: wrong length of the value"},
      {third + 12, 1, "entry 2: beyond the end of the file"},
      {blob, 0x2F31632F, "entry 1: keys not in ascending order"},
      {blob, 0x2F31622F, "entry 1: keys not in ascending order"},
  };
  for (const auto& row : rows) {
    std::string bytes = sample();
    plant(bytes, row.offset, row.number);
    EXPECT_EQ(row.fault, snapshotFault(signedAgain(bytes))) << row.offset << " " << row.number;
  }
}

TEST(SnapshotFormat, FindsUnsortedAndDuplicateKeys) {
  for (const std::string blob : {"/a1/a22/c", "/b1/a22/c", "/a1/c22/b", "/a1/c22/c"}) {
    std::string bytes = sample();
    bytes.replace(bytes.size() - blob.size(), blob.size(), blob);
    EXPECT_NE(std::string::npos, snapshotFault(signedAgain(bytes)).find("ascending")) << blob;
  }
}

TEST(SnapshotFormat, FindsEveryKeyAndTheGapsBetween) {
  settings::Snapshot snapshot{};
  for (int i = 0; i < 100; ++i)
    snapshot.entries.push_back({"/" + std::to_string(1000 + 2 * i), "", i});
  const std::string bytes = settings::encodeSnapshot(snapshot);
  const SnapshotView view(bytes);
  EXPECT_EQ(0U, view.lowerBound({"", "", ""}));
  EXPECT_EQ(0U, view.lowerBound({"/", "1", ""}));
  for (int i = 0; i <= 200; ++i) {
    const std::string key = std::to_string(1000 + i);
    const auto expected = static_cast<std::size_t>((i + 1) / 2);
    EXPECT_EQ(expected, view.lowerBound({"/", key, ""})) << key;
    EXPECT_EQ(expected, view.lowerBound({"", "/" + key, ""})) << key;
    EXPECT_EQ(expected, view.lowerBound({"/", key.substr(0, 2), key.substr(2)})) << key;
  }
}

}  // namespace
