#pragma once

#include "commutil-settings/http_client.h"
#include "commutil-settings/snapshot_keeper.h"
#include "commutil-settings/sync_state.h"

namespace agent {

struct RunOptions {
  bool once = false;
  bool allowEmpty = false;
};

/// Keeps the settings of this host equal to those of a source.
class Synchronizer {
 public:
  Synchronizer() = default;
  Synchronizer(const Synchronizer&) = delete;
  Synchronizer& operator=(const Synchronizer&) = delete;
  virtual ~Synchronizer() = default;

  virtual void start(Time now) = 0;
  virtual void onHttp(Time now, HttpEvent&& event) = 0;
  virtual void onTime(Time now) = 0;
  virtual Time deadline() const = 0;
  virtual settings::Snapshot snapshot() const = 0;
  virtual Report report() const = 0;
  /// Whether the settings were equal to the source's since the start.
  virtual bool isComplete() const = 0;
  /// Whether no source can be used at the moment.
  virtual bool isStuck() const = 0;
};

std::unique_ptr<Synchronizer> makeClusterSynchronizer(const Configuration& configuration,
                                                      const RunOptions& options, HttpClient& client,
                                                      SnapshotKeeper& keeper);
std::unique_ptr<Synchronizer> makeRelaySynchronizer(const Configuration& configuration,
                                                    const RunOptions& options, HttpClient& client,
                                                    SnapshotKeeper& keeper);

/// Returns numbers that differ between processes.
Random processRandom();

}  // namespace agent
