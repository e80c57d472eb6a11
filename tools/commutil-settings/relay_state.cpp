#include "commutil-settings/relay_state.h"

#include <algorithm>

#include "commutil-settings/age_text.h"

namespace agent {

RelayState::RelayState(const RelayOptions& options, EndpointChooser sources, Random random)
    : m_options(options), m_sources(std::move(sources)), m_random(std::move(random)) {}

void RelayState::load(settings::Snapshot snapshot, std::optional<Pointer> pointer, Time verified) {
  m_snapshot = std::move(snapshot);
  m_accepted = std::move(pointer);
  // A snapshot of an agent that watched the cluster itself came with no pointer.
  if (!m_accepted) m_accepted = Pointer{m_snapshot.header.revision, 0, ""};
  m_verified = verified;
  m_hasSettings = true;
}

RelayActions RelayState::start(Time now) {
  m_due = now;
  fetchPointer();
  return taken();
}

void RelayState::fetchPointer() {
  m_phase = Phase::fetchingPointer;
  act(Fetch{"current", false});
}

void RelayState::fetchSnapshot() {
  m_phase = Phase::fetchingSnapshot;
  act(Fetch{publishedName(m_offered.revision), true});
}

Duration RelayState::upTo(Duration most) const {
  return Duration(static_cast<Duration::rep>(static_cast<double>(most.count()) * m_random()));
}

void RelayState::wait(Time now) {
  m_phase = Phase::waiting;
  m_due = now + m_options.poll * 4 / 5 + upTo(m_options.poll * 2 / 5);
}

void RelayState::setCurrent(Time now) {
  m_isCurrent = true;
  m_verified = now;
  m_refused.reset();
  wait(now);
}

RelayActions RelayState::onPointer(Time now, std::string_view text) {
  if (m_phase != Phase::fetchingPointer) return taken();
  const std::optional<Pointer> pointer = parsePointer(text);
  if (!pointer) return onFailure(now, {Failure::Kind::malformed, "\"current\" is malformed"});
  m_sources.succeed();
  if (m_hasSaidAway) act(Say{Level::info, "resumed from relay " + source()});
  m_hasSaidAway = false;
  m_problem.clear();
  m_offered = *pointer;
  const bool isSame = m_accepted && pointer->epoch == m_accepted->epoch &&
                      pointer->revision == m_accepted->revision;
  if (m_hasSettings && (isSame || pointer == m_known)) {
    setCurrent(now);
  } else if (pointer == m_refused) {
    m_sources.advance();
    wait(now);
  } else if (!m_hasSettings) {
    fetchSnapshot();
  } else {
    m_phase = Phase::spreading;
    m_due = now + upTo(m_options.spread);
  }
  return taken();
}

bool RelayState::hasSameSettings(const settings::Snapshot& other) const {
  return std::equal(m_snapshot.entries.begin(), m_snapshot.entries.end(), other.entries.begin(),
                    other.entries.end(), [](const auto& a, const auto& b) {
                      return a.key == b.key && a.value == b.value && a.revision == b.revision;
                    });
}

RelayActions RelayState::onSnapshot(Time now, settings::Snapshot snapshot,
                                    const std::string& sha256) {
  if (m_phase != Phase::fetchingSnapshot) return taken();
  if (sha256 != m_offered.sha256)  // replaced since the pointer was fetched, or damaged
    return onFailure(now, {Failure::Kind::malformed, "the snapshot has another checksum"});
  const bool isOther = m_hasSettings && snapshot.header.clusterId != m_snapshot.header.clusterId;
  const bool isNewer = !m_accepted || m_offered.isNewerThan(*m_accepted);
  const std::string offered = "revision " + std::to_string(m_offered.revision) + ", epoch " +
                              std::to_string(m_offered.epoch) + ", of " + source();
  if (snapshot.entries.empty() && !m_snapshot.entries.empty() && isOther && !m_options.allowEmpty) {
    refuse(now, offered + " is of another cluster and has no settings");
  } else if (isOther) {
    act(Say{Level::error, "the relay serves another cluster: took " + offered});
    accept(now, std::move(snapshot));
  } else if (isNewer) {
    accept(now, std::move(snapshot));
  } else if (hasSameSettings(snapshot)) {
    m_known = m_offered;
    setCurrent(now);
  } else {
    refuse(now, offered + " is older than revision " + std::to_string(m_accepted->revision) +
                    ", epoch " + std::to_string(m_accepted->epoch) +
                    "; after a restore, run raise-epoch on every relay");
  }
  return taken();
}

void RelayState::accept(Time now, settings::Snapshot&& snapshot) {
  m_snapshot = std::move(snapshot);
  m_accepted = m_offered;
  m_known.reset();
  m_hasSettings = true;
  act(Say{Level::info, "took revision " + std::to_string(m_offered.revision) + " with " +
                           std::to_string(m_snapshot.entries.size()) + " settings from " +
                           source()});
  act(WriteSettings{});
  setCurrent(now);
}

void RelayState::refuse(Time now, const std::string& why) {
  m_refused = m_offered;
  m_isCurrent = false;
  m_problem = why;
  act(Say{Level::error, "refused: " + why});
  m_sources.advance();
  wait(now);
}

RelayActions RelayState::onFailure(Time now, const Failure& failure) {
  m_problem = source() + ": " + failure.text;
  m_isCurrent = false;
  m_phase = Phase::waiting;
  m_due = now + m_sources.fail(m_random);
  if (m_sources.haveAllFailed() && !m_hasSaidAway) {
    m_hasSaidAway = true;
    const auto age = std::chrono::duration_cast<Duration>(now - m_verified);
    act(Say{Level::error,
            "relays away, " +
                (m_hasSettings ? "revision " + std::to_string(m_snapshot.header.revision) +
                                     ", age " + ageText(age) + ", stays in use"
                               : "there are no settings yet") +
                "; last: " + m_problem});
  }
  return taken();
}

Time RelayState::deadline() const {
  const bool isTimed = m_phase == Phase::waiting || m_phase == Phase::spreading;
  return isTimed ? m_due : Time::max();
}

RelayActions RelayState::onTime(Time now) {
  if (now < deadline()) return taken();
  if (m_phase == Phase::waiting) {
    fetchPointer();
  } else if (m_phase == Phase::spreading) {
    fetchSnapshot();
  }
  return taken();
}

}  // namespace agent
