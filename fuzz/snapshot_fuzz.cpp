// A settings snapshot: the checks pass only what the writer writes, nothing is read outside of the
// file, and what was written is found again.
#include "settings_snapshot/snapshot.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>

#include "settingrest/key_index.h"
#include "settingrest/snapshot_format.h"
#include "support/expect.h"
#include "support/input.h"
#include "support/scratch.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;
using commutil_fuzz::Input;
using commutil_fuzz::Scratch;
using settingrest::KeyIndex;
using settingrest::snapshotFault;
using settingrest::SnapshotFileHeader;
using settingrest::SnapshotView;

void findEveryKey(const std::string& bytes) {
  const SnapshotView view(bytes);
  const KeyIndex keys(view);
  for (std::size_t i = 0; i < view.size(); ++i) {
    const std::string_view key = view.entry(i).key;
    expectEqual(view.lowerBound({"", key, ""}), i, "a search by halves finds each key");
    if (key.front() == '/') expectEqual(keys.find(key.substr(1)), i, "the table finds each key");
  }
}

/// Any file: it is read exactly if nothing is wrong with it, and is then what the writer writes.
void checkFile(const std::string& bytes) {
  static const Scratch scratch;
  const std::string fault = snapshotFault(bytes);
  const std::string path = scratch.write("settings.snap", bytes);
  try {
    const settings::Snapshot snapshot = settings::readSnapshot(path);
    expectEqual(fault, "", "a snapshot that is read has no fault");
    expect(settings::encodeSnapshot(snapshot) == bytes, "a snapshot has one form");
    findEveryKey(bytes);
  } catch (const settings::SnapshotError& error) {
    expect(!fault.empty(), "a snapshot without a fault is read");
    expect(std::string(error.what()).find(fault) != std::string::npos, "the error says the fault");
  }
}

/// A file whose header's checks pass, so that those of its entries have to find what is wrong.
void checkEntries(std::string bytes) {
  SnapshotFileHeader header{};
  if (bytes.size() < sizeof header) return;
  std::memcpy(&header, bytes.data(), sizeof header);
  std::memcpy(header.magic, settingrest::kSnapshotMagic.data(), sizeof header.magic);
  header.version = settingrest::kSnapshotVersion;
  header.byteCount = bytes.size();
  std::memcpy(bytes.data(), &header, sizeof header);
  header.crc = settingrest::snapshotCrc(bytes);
  std::memcpy(bytes.data(), &header, sizeof header);
  checkFile(bytes);
}

/// Settings as composed, some of them with the key of another one.
void checkSettings(Input& input) {
  settings::Snapshot snapshot{{1, 2, 3}, {}};
  std::map<std::string, std::string> model;
  bool isSound = true;
  while (!input.empty()) {
    const std::string key = input.field();
    const std::string value = input.field();
    isSound = isSound && !key.empty() && model.emplace(key, value).second;
    snapshot.entries.push_back({key, value, 1});
  }
  try {
    const std::string bytes = settings::encodeSnapshot(snapshot);
    expect(isSound, "only sound settings are written");
    expectEqual(snapshotFault(bytes), "", "what is written has no fault");
    const SnapshotView view(bytes);
    expectEqual(view.size(), model.size(), "all settings are written");
    std::size_t i = 0;
    for (const auto& [key, value] : model) {
      expectEqual(view.entry(i).key, key, "keys are sorted");
      expectEqual(view.entry(i++).value, value, "values are kept");
    }
    findEveryKey(bytes);
  } catch (const settings::SnapshotError&) {
    const bool isTooLong = std::any_of(model.begin(), model.end(), [](const auto& setting) {
      return setting.first.size() > settingrest::kMaxKeyBytes ||
             setting.second.size() > settingrest::kMaxValueBytes;
    });
    expect(!isSound || isTooLong, "sound settings are written");
  }
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  switch (input.choice(3)) {
    case 0:
      return checkFile(input.rest());
    case 1:
      return checkEntries(input.rest());
    default:
      return checkSettings(input);
  }
}
