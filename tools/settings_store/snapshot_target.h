#pragma once

#include <string>
#include <vector>

#include "settings_store/target.h"

namespace settings {

/// The snapshot of a host without a cluster. Replaced by rename; "<snapshot>.lock" beside it keeps
/// out other writers. A snapshot that is written here belongs to no cluster, so that an agent which
/// finds it lists its cluster instead of going on where the snapshot is.
class SnapshotTarget : public Target {
 public:
  /// @param path  of the snapshot, which need not exist; links are followed
  explicit SnapshotTarget(const std::string& path);

  std::string name() const override { return m_path; }
  Values read() override;
  std::vector<Effect> write(const Plan& plan, const WriteOptions& options) override;

 private:
  std::string m_path;  // without links in its last component
};

}  // namespace settings
