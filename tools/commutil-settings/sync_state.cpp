#include "commutil-settings/sync_state.h"

#include <algorithm>

#include "commutil-settings/age_text.h"

namespace agent {
namespace {

using Kind = Failure::Kind;

constexpr Duration kSlowRetry{10'000};
constexpr Duration kInconclusiveRetry{1000};
constexpr std::size_t kMostFragmentBytes = std::size_t{128} << 20;

std::string revisionText(std::int64_t revision) { return "revision " + std::to_string(revision); }

/// A group's own key, which no service can look up.
bool isGroupKey(const std::string& key) { return !key.empty() && key.back() == '/'; }

bool isDenied(const Failure& failure) {
  return failure.kind == Kind::permission || failure.kind == Kind::authentication;
}

/// What distinguishes failures: the texts of most have times and ports.
std::string causeOf(const Failure& failure) {
  if (failure.kind == Kind::unreachable) return "unreachable";
  if (failure.kind == Kind::timeout) return "timeout";
  return failure.text;
}

Duration since(Time begin, Time now) { return std::chrono::duration_cast<Duration>(now - begin); }

}  // namespace

SyncState::SyncState(SyncOptions options, EndpointChooser endpoints, Random random)
    : m_options(std::move(options)),
      m_endpoints(std::move(endpoints)),
      m_random(std::move(random)),
      m_needsLogin(m_options.hasLogin) {}

void SyncState::load(const settings::Snapshot& snapshot, Time verified) {
  m_settings.clear();
  for (const settings::SnapshotEntry& entry : snapshot.entries)
    m_settings[entry.key] = {entry.value, entry.revision};
  m_applied = snapshot.header.revision;
  m_clusterId = snapshot.header.clusterId;
  m_verified = verified;
  m_hasSettings = true;
}

Actions SyncState::start(Time now) {
  if (m_options.listAtStart) m_listReason = ListReason::periodic;
  m_nextComparison = next(now, m_options.compareEvery);
  m_nextList = next(now, m_options.listEvery);
  attempt(now);
  return taken();
}

Actions SyncState::onLogin(Time now) {
  m_needsLogin = false;
  m_isLoginFresh = true;
  say(Level::info, "logged in on " + endpoint());
  if (m_phase == Phase::watching) {
    compare(0);
  } else {
    attempt(now);
  }
  return taken();
}

/// Takes the next step towards a watch.
void SyncState::attempt(Time now) {
  if (m_needsLogin) {
    m_phase = Phase::loggingIn;
    act(LogIn{});
  } else if (!m_hasSettings) {
    beginList(ListReason::first);
  } else if (m_listReason != ListReason::none) {
    beginList(m_listReason);
  } else if (m_options.compareEvery.count() > 0 && !m_hasCompared) {
    m_phase = Phase::comparing;
    compare(0);
  } else {
    openWatch(now);
  }
}

void SyncState::openWatch(Time now) {
  m_phase = Phase::opening;
  m_openedAt = now;
  m_fragments.clear();
  m_fragmentBytes = 0;
  act(OpenWatch{m_applied + 1});
}

// Failures

Actions SyncState::onFailure(Time now, const Failure& failure) {
  handleFailure(now, failure);
  return taken();
}

void SyncState::handleFailure(Time now, const Failure& failure) {
  const bool mayLogIn = m_options.hasLogin && !m_isLoginFresh && m_phase != Phase::loggingIn;
  if (failure.kind != Kind::authentication || !mayLogIn) return fail(now, failure);
  act(StopRequests{});
  m_isComparing = false;
  m_needsLogin = true;
  attempt(now);
}

Actions SyncState::onLoginFailure(Time now, const Failure& failure) {
  m_isLoginFresh = true;  // one attempt is enough
  return m_phase == Phase::watching ? onComparisonFailure(now, failure) : onFailure(now, failure);
}

/// Gives up the current member and waits before the next one is tried.
void SyncState::fail(Time now, const Failure& failure) {
  act(StopRequests{});
  m_isComparing = false;
  sayFailure(failure);
  Duration wait = m_endpoints.fail(m_random);
  if (failure.kind == Kind::permission) wait = jittered(kSlowRetry);
  // A member whose store was restored waits forever for the log position in an old token.
  const bool maySuspectToken = failure.kind == Kind::authentication ||
                               (failure.kind == Kind::timeout && m_endpoints.haveAllFailed());
  if (maySuspectToken) m_needsLogin = m_options.hasLogin;
  m_isLoginFresh = false;
  m_phase = Phase::waiting;
  m_retryAt = now + wait;
  if (m_endpoints.haveAllFailed() && !isDenied(failure)) sayAway(now, failure);
}

void SyncState::sayFailure(const Failure& failure) {
  m_problem = endpoint() + ": " + failure.text;
  if (m_phase == Phase::watching) {
    say(Level::warning, "the watch of " + endpoint() + " ended at " + revisionText(m_applied) +
                            ": " + failure.text);
  }
  if (!isDenied(failure) || m_hasSaidDenied) return;
  m_hasSaidDenied = true;
  const std::string remedy =
      failure.kind == Kind::permission
          ? "grant the user read permission on " + m_options.prefix
          : "check user, password_file and that the certificate has no common name";
  say(Level::error, m_problem + "; " + remedy);
}

/// Says it once, and once more for each further cause.
void SyncState::sayAway(Time now, const Failure& failure) {
  const bool isFirst = m_saidCauses.empty();
  if (!m_saidCauses.insert(causeOf(failure)).second) return;
  const std::string state = m_hasSettings ? revisionText(m_applied) + ", age " +
                                                ageText(since(m_verified, now)) + ", stays in use"
                                          : "there are no settings yet";
  say(isFirst ? Level::error : Level::warning, "cluster away, " + state + "; last: " + m_problem);
}

// Lists

void SyncState::beginList(ListReason reason) {
  m_phase = Phase::listing;
  m_listReason = reason;
  m_isComparing = false;
  m_listed.clear();
  m_listHeader = {};
  act(FetchPage{m_options.prefix, 0});
}

Actions SyncState::onPage(Time now, Page page) {
  if (m_phase != Phase::listing) return taken();
  m_isLoginFresh = false;
  if (m_listHeader.revision == 0) m_listHeader = page.header;
  if (page.header.clusterId != m_listHeader.clusterId) {
    fail(now, {Kind::other, "the pages of a list came from two clusters"});
    return taken();
  }
  const std::string last = page.settings.empty() ? "" : page.settings.back().key;
  for (StoredSetting& setting : page.settings) put(m_listed, std::move(setting));
  if (page.hasMore && !last.empty()) {
    act(FetchPage{last + '\0', m_listHeader.revision});
  } else {
    finishList(now);
  }
  return taken();
}

void SyncState::finishList(Time now) {
  const bool isOther = m_hasSettings && m_listHeader.clusterId != m_clusterId;
  const bool wentBack = m_hasSettings && !isOther && m_listHeader.revision < m_applied;
  if (isOther) m_listReason = ListReason::otherCluster;
  if (wentBack) m_listReason = ListReason::wentBack;
  if (m_listReason == ListReason::wentBack && !wentBack) m_listReason = ListReason::periodic;
  if (m_listed.empty() && !m_settings.empty() && !m_options.allowEmpty) return refuseEmptyList(now);

  const bool isDifferent = m_listed != m_settings;
  sayListed(m_listReason, isDifferent);
  m_settings.swap(m_listed);
  m_listed.clear();
  m_applied = m_listHeader.revision;
  m_clusterId = m_listHeader.clusterId;
  m_verified = now;
  if (!m_hasSettings || isDifferent || isOther || wentBack) act(WriteSettings{});
  m_hasSettings = m_hasListed = m_hasCompared = true;
  m_hasRefused = false;
  m_listReason = ListReason::none;
  m_nextList = next(now, m_options.listEvery);
  openWatch(now);
}

void SyncState::sayListed(ListReason reason, bool isDifferent) {
  const std::string listed = "listed " + std::to_string(m_listed.size()) + " settings at " +
                             revisionText(m_listHeader.revision) + " of " + endpoint();
  switch (reason) {
    case ListReason::compacted:
      return say(Level::info, revisionText(m_applied) + " was compacted, " + listed);
    case ListReason::differs:
      if (!isDifferent) break;
      return say(Level::error, "count or newest differ at " + revisionText(m_applied) +
                                   ": the store was restored and went on; " + listed);
    case ListReason::wentBack:
      return say(Level::error, "store went back from " + std::to_string(m_applied) + " to " +
                                   std::to_string(m_listHeader.revision) + "; " + listed);
    case ListReason::otherCluster:
      return say(Level::error, "another cluster serves the endpoints; " + listed);
    default:
      break;
  }
  say(Level::info, listed);
}

void SyncState::refuseEmptyList(Time now) {
  if (!m_hasRefused) {
    const bool isOther = m_listReason == ListReason::otherCluster;
    say(Level::error, std::string(isOther ? "another cluster serves the endpoints, and it has"
                                          : "the cluster has") +
                          " no settings: the " + std::to_string(m_settings.size()) +
                          " settings of " + revisionText(m_applied) +
                          " stay in use; to drop them, run sync --once --allow-empty");
  }
  m_hasRefused = true;
  m_phase = Phase::waiting;
  m_retryAt = now + jittered(kSlowRetry);
}

/// Group keys are kept, so that counts agree with the cluster's, but left out of snapshots.
void SyncState::put(Settings& settings, StoredSetting&& setting) {
  if (isGroupKey(setting.key) && !m_hasSaidGroupKey) {
    m_hasSaidGroupKey = true;
    say(Level::warning,
        "key " + setting.key + " ends in \"/\": it is dropped, as every such key; delete it");
  }
  settings[std::move(setting.key)] = {std::move(setting.value), setting.revision};
}

settings::Snapshot SyncState::snapshot() const {
  settings::Snapshot result{{m_clusterId, m_applied, 0}, {}};
  result.entries.reserve(m_settings.size());
  for (const auto& [key, stored] : m_settings)
    if (!isGroupKey(key)) result.entries.push_back({key, stored.value, stored.revision});
  return result;
}

// Comparisons

std::int64_t SyncState::newest() const {
  std::int64_t result = 0;
  for (const auto& [key, stored] : m_settings) result = std::max(result, stored.revision);
  return result;
}

void SyncState::compare(std::int64_t revision) {
  m_isComparing = true;
  m_isPinned = revision != 0;
  m_comparedRevision = m_applied;
  m_comparedCount = static_cast<std::int64_t>(m_settings.size());
  m_comparedNewest = newest();
  act(FetchComparison{revision});
}

Actions SyncState::onComparison(Time now, const Page& page) {
  if (!m_isComparing) return taken();
  m_isLoginFresh = false;
  const std::int64_t newestThere = page.settings.empty() ? 0 : page.settings.front().revision;
  const bool isEqual = page.count == m_comparedCount && newestThere == m_comparedNewest;
  if (page.header.clusterId != m_clusterId) {
    act(StopRequests{});
    beginList(ListReason::otherCluster);
  } else if (page.header.revision < m_comparedRevision) {
    act(StopRequests{});
    beginList(ListReason::wentBack);
  } else if (isEqual) {
    if (m_isPinned) m_lateRevision = m_comparedRevision;
    endComparison(now, m_options.compareEvery);
  } else if (m_isPinned || page.header.revision == m_comparedRevision) {
    act(StopRequests{});
    beginList(ListReason::differs);
  } else if (m_phase == Phase::watching && m_lateRevision == m_comparedRevision) {
    fail(now, {Kind::other, "the watch does not bring changes that the cluster has"});
  } else {
    // Changes may be on their way: what was applied is compared with the store of that moment.
    compare(m_applied);
  }
  return taken();
}

void SyncState::endComparison(Time now, Duration nextComparison) {
  m_isComparing = false;
  m_nextComparison = next(now, nextComparison);
  if (m_phase != Phase::comparing) return;
  m_hasCompared = true;
  if (!m_isPinned) m_verified = now;
  openWatch(now);
}

Actions SyncState::onComparisonFailure(Time now, const Failure& failure) {
  if (!m_isComparing) return taken();
  if (failure.kind == Kind::futureRevision) {
    act(StopRequests{});
    beginList(ListReason::wentBack);
  } else if (failure.kind == Kind::compacted) {
    endComparison(now, kInconclusiveRetry);  // a watch from there is canceled and listed
  } else if (m_phase != Phase::watching) {
    handleFailure(now, failure);
  } else if (failure.kind == Kind::authentication && m_options.hasLogin && !m_isLoginFresh) {
    act(LogIn{});
  } else {
    if (isDenied(failure) && !m_hasSaidDenied) {
      m_hasSaidDenied = true;
      say(Level::error, endpoint() + ": " + failure.text + "; the watch goes on until it ends");
    }
    m_isLoginFresh = false;
    endComparison(now, std::min(m_options.compareEvery, kSlowRetry));
  }
  return taken();
}

// The watch

Actions SyncState::onWatchMessage(Time now, WatchMessage message) {
  if (m_phase != Phase::opening && m_phase != Phase::watching) return taken();
  m_lastHeard = now;
  if (message.error) {
    handleFailure(now, *message.error);
  } else if (message.isCanceled) {
    onCancel(now, message);
  } else if (message.isCreated) {
    onCreated(now, message);
  } else if (m_phase == Phase::watching) {
    collect(now, std::move(message));
  }
  return taken();
}

void SyncState::onCancel(Time now, const WatchMessage& message) {
  const Failure failure = cancelFailure(message.cancelReason);
  if (message.compactRevision == 0 && failure.kind != Kind::compacted)
    return handleFailure(now, failure);
  act(StopRequests{});  // the stream would stay open
  beginList(ListReason::compacted);
}

void SyncState::onCreated(Time now, const WatchMessage& message) {
  if (message.header.clusterId != m_clusterId) {
    act(StopRequests{});
    return beginList(ListReason::otherCluster);
  }
  if (message.header.revision < m_applied) return doubtMember(now, message.header.revision);
  m_phase = Phase::watching;
  m_endpoints.succeed();
  m_isLoginFresh = m_hasSaidDenied = false;
  m_saidCauses.clear();
  m_doubtfulMember.clear();
  m_problem.clear();
  say(Level::info, (m_hasWatched ? "resumed at " : "watching from ") + revisionText(m_applied) +
                       " on " + endpoint());
  m_hasWatched = true;
}

/// A member that is behind may only be late; the store of two members, or a list, has gone back.
void SyncState::doubtMember(Time now, std::int64_t storeRevision) {
  act(StopRequests{});
  if (m_endpoints.size() == 1 || !m_doubtfulMember.empty()) return beginList(ListReason::wentBack);
  m_doubtfulMember = endpoint();
  say(Level::warning, endpoint() + " is at " + revisionText(storeRevision) + ", before " +
                          revisionText(m_applied) + ": trying another member");
  m_endpoints.advance();
  attempt(now);
}

void SyncState::collect(Time now, WatchMessage&& message) {
  if (message.isProgress()) {
    if (!m_fragments.empty()) return;
    m_applied = std::max(m_applied, message.header.revision);
    m_verified = now;
    return;
  }
  for (WatchEvent& event : message.events) {
    m_fragmentBytes += event.setting.key.size() + event.setting.value.size();
    m_fragments.push_back(std::move(event));
  }
  if (m_fragmentBytes > kMostFragmentBytes)
    return fail(now, {Kind::malformed, "a change of more than 128 MiB"});
  if (!message.isFragment) apply(now);
}

/// Applies one whole change.
void SyncState::apply(Time now) {
  const std::int64_t before = m_applied;
  bool isVisible = false;
  for (WatchEvent& event : m_fragments) {
    const std::int64_t revision = event.setting.revision;
    if (revision <= before) continue;
    m_applied = std::max(m_applied, revision);
    isVisible |= !isGroupKey(event.setting.key);
    if (event.isDeletion) {
      m_settings.erase(event.setting.key);
    } else {
      put(m_settings, std::move(event.setting));
    }
  }
  m_fragments.clear();
  m_fragmentBytes = 0;
  m_verified = now;
  if (isVisible) act(WriteSettings{});
}

// Time

Duration SyncState::jittered(Duration period) const {
  return Duration(
      static_cast<Duration::rep>(static_cast<double>(period.count()) * (0.8 + 0.4 * m_random())));
}

std::optional<Time> SyncState::next(Time now, Duration period) const {
  return period.count() == 0 ? std::nullopt : std::optional(now + jittered(period));
}

Time SyncState::deadline() const {
  if (m_phase == Phase::waiting) return m_retryAt;
  if (m_phase == Phase::opening) return m_openedAt + m_options.requestTimeout;
  if (m_phase != Phase::watching) return Time::max();
  Time result = m_lastHeard + m_options.silenceLimit;
  if (m_nextComparison && !m_isComparing) result = std::min(result, *m_nextComparison);
  return m_nextList ? std::min(result, *m_nextList) : result;
}

Actions SyncState::onTime(Time now) {
  if (now < deadline()) return taken();
  if (m_phase == Phase::waiting) {
    attempt(now);
  } else if (m_phase == Phase::opening) {
    fail(now, {Kind::timeout, "no reply to the request for a watch"});
  } else if (m_phase != Phase::watching) {
    return taken();
  } else if (now >= m_lastHeard + m_options.silenceLimit) {
    fail(now, {Kind::timeout, "silent for " + ageText(since(m_lastHeard, now))});
  } else if (m_nextList && now >= *m_nextList) {
    act(StopRequests{});
    beginList(ListReason::periodic);
  } else {
    compare(0);
  }
  return taken();
}

}  // namespace agent
