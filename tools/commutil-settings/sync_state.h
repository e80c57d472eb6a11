#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "commutil-settings/endpoint_chooser.h"
#include "commutil-settings/gateway_messages.h"
#include "commutil-settings/log.h"
#include "settings_snapshot/snapshot.h"

// What the agent does next: events go in, actions come out. No input or output here, and no clock
// but the times that are passed in.

namespace agent {

using Time = std::chrono::steady_clock::time_point;
using Duration = std::chrono::milliseconds;

struct LogIn {};
struct FetchPage {
  std::string fromKey;
  std::int64_t revision;  ///< 0: the newest
};
struct FetchComparison {
  std::int64_t revision;  ///< 0: the newest
};
struct OpenWatch {
  std::int64_t startRevision;
};
/// Gives up all requests and the watch.
struct StopRequests {};
/// What services read is to be written.
struct WriteSettings {};
struct Say {
  Level level;
  std::string text;
};
/// Requests go to `SyncState::endpoint()` at the moment of the action.
using Action =
    std::variant<LogIn, FetchPage, FetchComparison, OpenWatch, StopRequests, WriteSettings, Say>;
using Actions = std::vector<Action>;

struct SyncOptions {
  std::string prefix = "/vexa/";
  Duration compareEvery{};    ///< 0: off
  Duration listEvery{};       ///< 0: off
  Duration silenceLimit{};    ///< of a watch
  Duration requestTimeout{};  ///< until a watch is created
  bool hasLogin = false;
  bool allowEmpty = false;  ///< an empty list replaces settings
  bool listAtStart = false;
};

class SyncState {
 public:
  /// @param random  spreads timers and waits
  SyncState(SyncOptions options, EndpointChooser endpoints, Random random);

  /// Takes over what services read so far. Before `start`.
  /// @param verified  when it was known to equal the cluster
  void load(const settings::Snapshot& snapshot, Time verified);

  Actions start(Time now);
  Actions onLogin(Time now);
  Actions onPage(Time now, Page page);
  Actions onComparison(Time now, const Page& page);
  Actions onWatchMessage(Time now, WatchMessage message);
  /// A request or the watch has failed.
  Actions onFailure(Time now, const Failure& failure);
  Actions onLoginFailure(Time now, const Failure& failure);
  Actions onComparisonFailure(Time now, const Failure& failure);
  Actions onTime(Time now);

  /// When `onTime` is to be called.
  Time deadline() const;

  const std::string& endpoint() const { return m_endpoints.current(); }
  bool isWatching() const { return m_phase == Phase::watching; }
  /// Whether settings are known: from a snapshot or a list.
  bool hasSettings() const { return m_hasSettings; }
  /// Whether the settings were listed completely since the start.
  bool hasListed() const { return m_hasListed; }
  /// Whether the last list was refused because it is empty.
  bool hasRefused() const { return m_hasRefused; }
  /// Whether every endpoint has failed since the last success.
  bool isAway() const { return m_endpoints.haveAllFailed(); }
  /// When the settings were last known to equal the cluster's.
  Time verified() const { return m_verified; }
  std::int64_t revision() const { return m_applied; }
  std::uint64_t clusterId() const { return m_clusterId; }
  const std::string& lastProblem() const { return m_problem; }
  /// The settings at `revision()`; the wall time is left to the caller.
  settings::Snapshot snapshot() const;

 private:
  enum class Phase { waiting, loggingIn, comparing, listing, opening, watching };
  enum class ListReason { none, first, compacted, differs, wentBack, otherCluster, periodic };
  struct Stored {
    std::string value;
    std::int64_t revision = 0;
    bool operator==(const Stored& other) const = default;
  };
  using Settings = std::map<std::string, Stored>;

  void say(Level level, std::string text) { act(Say{level, std::move(text)}); }
  template <class Next>
  void act(Next next) {
    m_actions.emplace_back(std::move(next));
  }
  Actions taken() { return std::exchange(m_actions, {}); }

  void attempt(Time now);
  void handleFailure(Time now, const Failure& failure);
  void fail(Time now, const Failure& failure);
  void sayFailure(const Failure& failure);
  void sayAway(Time now, const Failure& failure);
  void openWatch(Time now);
  void beginList(ListReason reason);
  void finishList(Time now);
  void refuseEmptyList(Time now);
  void sayListed(ListReason reason, bool isDifferent);
  void compare(std::int64_t revision);
  void endComparison(Time now, Duration next);
  void onCreated(Time now, const WatchMessage& message);
  void onCancel(Time now, const WatchMessage& message);
  void doubtMember(Time now, std::int64_t storeRevision);
  void collect(Time now, WatchMessage&& message);
  void apply(Time now);
  void put(Settings& settings, StoredSetting&& setting);
  std::int64_t newest() const;
  Duration jittered(Duration period) const;
  std::optional<Time> next(Time now, Duration period) const;

  SyncOptions m_options;
  EndpointChooser m_endpoints;
  Random m_random;
  Actions m_actions;

  Phase m_phase = Phase::waiting;
  Time m_retryAt{};
  Time m_lastHeard{};
  Time m_openedAt{};
  Time m_verified{};
  std::optional<Time> m_nextComparison;
  std::optional<Time> m_nextList;

  Settings m_settings;
  std::int64_t m_applied = 0;
  std::uint64_t m_clusterId = 0;
  bool m_hasSettings = false;
  bool m_hasListed = false;

  // The list in progress.
  ListReason m_listReason = ListReason::none;
  Settings m_listed;
  ReplyHeader m_listHeader;

  // The comparison in progress: what it is compared with.
  bool m_isComparing = false;
  bool m_isPinned = false;
  std::int64_t m_comparedRevision = 0;
  std::int64_t m_comparedCount = 0;
  std::int64_t m_comparedNewest = 0;

  std::vector<WatchEvent> m_fragments;
  std::size_t m_fragmentBytes = 0;

  bool m_needsLogin = false;
  bool m_isLoginFresh = false;  // no reply has accepted it yet
  bool m_hasCompared = false;
  bool m_hasRefused = false;
  bool m_hasWatched = false;
  bool m_hasSaidDenied = false;
  bool m_hasSaidGroupKey = false;
  std::int64_t m_lateRevision = -1;  // the cluster had more at the last comparison
  std::string m_doubtfulMember;      // its store is behind what was applied
  std::string m_problem;
  std::set<std::string> m_saidCauses;  // since the cluster is away
};

}  // namespace agent
