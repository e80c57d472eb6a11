#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "backend.h"
#include "file_identity.h"
#include "key_index.h"
#include "mapping.h"
#include "published.h"
#include "settingrest/snapshot_format.h"

namespace settingrest {

/// Settings in a mapped snapshot. A lookup checks the file's status at most every 10 ms. A file
/// that cannot be used leaves the last good snapshot in use and is reported once.
class SnapshotBackend : public Backend {
 public:
  explicit SnapshotBackend(std::string path);

  Answer findValue(const std::string& key, std::string& value) override;
  Answer findGroup(const std::string& group, std::map<std::string, std::string>& params) override;

 private:
  struct Snapshot {
    explicit Snapshot(std::unique_ptr<const Mapping> bytes)
        : mapping(std::move(bytes)), view(mapping->bytes()), keys(view) {}

    std::unique_ptr<const Mapping> mapping;
    SnapshotView view;
    KeyIndex keys;
  };

  /// What was found in the file's place last.
  struct State {
    std::optional<FileIdentity> identity;      // of a file whose contents were checked
    std::string fault;                         // "" if none
    std::shared_ptr<const Snapshot> snapshot;  // the last good one
  };

  Published<State>::Pin current();
  bool isCheckDue();
  void check(const Published<State>::Pin& last);
  State examine() const;
  void report(const std::string& fault, bool hasSnapshot) const;

  const std::string m_path;
  std::atomic<std::int64_t> m_nextCheck{0};  // milliseconds of the coarse clock
  OwnedPublished<State> m_state;
};

}  // namespace settingrest
