#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "commutil-settings/endpoint_chooser.h"
#include "commutil-settings/gateway_messages.h"
#include "commutil-settings/log.h"
#include "commutil-settings/pointer.h"
#include "commutil-settings/sync_state.h"
#include "settings_snapshot/snapshot.h"

// What a host that follows relays does next: events go in, actions come out.

namespace agent {

/// Below `RelayState::source()`.
struct Fetch {
  std::string name;
  bool isSnapshot;
};
using RelayAction = std::variant<Fetch, WriteSettings, Say>;
using RelayActions = std::vector<RelayAction>;

struct RelayOptions {
  Duration poll{};
  Duration spread{};
  bool allowEmpty = false;
};

class RelayState {
 public:
  RelayState(const RelayOptions& options, EndpointChooser sources, Random random);

  /// Takes over what services read so far, and the pointer that it came with. Before `start`.
  void load(settings::Snapshot snapshot, std::optional<Pointer> pointer, Time verified);

  RelayActions start(Time now);
  RelayActions onPointer(Time now, std::string_view text);
  /// @param snapshot  the content of the file, whose checksum is `sha256`
  RelayActions onSnapshot(Time now, settings::Snapshot snapshot, const std::string& sha256);
  RelayActions onFailure(Time now, const Failure& failure);
  RelayActions onTime(Time now);

  Time deadline() const;

  const std::string& source() const { return m_sources.current(); }
  bool hasSettings() const { return m_hasSettings; }
  /// Whether the settings equal those of a relay.
  bool isCurrent() const { return m_isCurrent; }
  bool isAway() const { return m_sources.haveAllFailed(); }
  bool hasRefused() const { return m_refused.has_value(); }
  Time verified() const { return m_verified; }
  const settings::Snapshot& snapshot() const { return m_snapshot; }
  /// The pointer that the settings came with.
  const std::optional<Pointer>& pointer() const { return m_accepted; }
  const std::string& lastProblem() const { return m_problem; }

 private:
  enum class Phase { waiting, fetchingPointer, spreading, fetchingSnapshot };

  template <class Next>
  void act(Next next) {
    m_actions.emplace_back(std::move(next));
  }
  RelayActions taken() { return std::exchange(m_actions, {}); }

  void fetchPointer();
  void fetchSnapshot();
  void wait(Time now);
  void setCurrent(Time now);
  void refuse(Time now, const std::string& why);
  void accept(Time now, settings::Snapshot&& snapshot);
  bool hasSameSettings(const settings::Snapshot& other) const;
  Duration upTo(Duration most) const;

  RelayOptions m_options;
  EndpointChooser m_sources;
  Random m_random;
  RelayActions m_actions;
  Phase m_phase = Phase::waiting;
  Time m_due{};
  Time m_verified{};
  settings::Snapshot m_snapshot{};
  bool m_hasSettings = false;
  bool m_isCurrent = false;
  bool m_hasSaidAway = false;
  std::optional<Pointer> m_accepted;
  Pointer m_offered;
  std::optional<Pointer> m_known;    // to an older snapshot with the settings that are in use
  std::optional<Pointer> m_refused;  // the last one
  std::string m_problem;
};

}  // namespace agent
