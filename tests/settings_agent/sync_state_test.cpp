// The agent's state machine: what it does after each event.
#include "commutil-settings/sync_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using agent::Actions;
using agent::Failure;
using agent::Level;
using agent::Page;
using agent::SyncOptions;
using agent::SyncState;
using agent::Time;
using agent::WatchEvent;
using agent::WatchMessage;
using testing::HasSubstr;
using Kind = Failure::Kind;
using Texts = std::vector<std::string>;

constexpr std::uint64_t kCluster = 7;
constexpr const char* kKey = "/vexa/a";
const Time kStart{std::chrono::hours(1)};

std::string text(const agent::Action& action) {
  struct Printer {
    std::string operator()(const agent::LogIn&) const { return "login"; }
    std::string operator()(const agent::FetchPage& page) const {
      return "page " + page.fromKey + " " + std::to_string(page.revision);
    }
    std::string operator()(const agent::FetchComparison& comparison) const {
      return "compare " + std::to_string(comparison.revision);
    }
    std::string operator()(const agent::OpenWatch& watch) const {
      return "watch " + std::to_string(watch.startRevision);
    }
    std::string operator()(const agent::StopRequests&) const { return "stop"; }
    std::string operator()(const agent::WriteSettings&) const { return "write"; }
    std::string operator()(const agent::Say& line) const { return "say " + line.text; }
  };
  return std::visit(Printer(), action);
}

/// What is done, without what is said.
Texts done(const Actions& actions) {
  Texts texts;
  for (const agent::Action& action : actions)
    if (!std::holds_alternative<agent::Say>(action)) texts.push_back(text(action));
  return texts;
}

std::string said(const Actions& actions) {
  std::string texts;
  for (const agent::Action& action : actions)
    if (std::holds_alternative<agent::Say>(action)) texts += text(action) + "\n";
  return texts;
}

bool hasError(const Actions& actions) {
  for (const agent::Action& action : actions) {
    const auto* const line = std::get_if<agent::Say>(&action);
    if (line != nullptr && line->level == Level::error) return true;
  }
  return false;
}

SyncOptions options() {
  SyncOptions result;
  result.silenceLimit = 75s;
  result.requestTimeout = 7s;
  return result;
}

Page page(std::int64_t revision, std::vector<agent::StoredSetting> settings,
          std::uint64_t cluster = kCluster) {
  Page result;
  result.header = {cluster, revision};
  result.count = static_cast<std::int64_t>(settings.size());
  result.settings = std::move(settings);
  return result;
}

Page comparison(std::int64_t revision, std::int64_t count, std::int64_t newest) {
  Page result = page(revision, {{kKey, "", newest}});
  result.count = count;
  return result;
}

WatchMessage created(std::int64_t revision, std::uint64_t cluster = kCluster) {
  WatchMessage message;
  message.header = {cluster, revision};
  message.isCreated = true;
  return message;
}

WatchMessage progress(std::int64_t revision) {
  WatchMessage message;
  message.header = {kCluster, revision};
  return message;
}

WatchMessage events(std::vector<WatchEvent> list, bool isFragment = false) {
  WatchMessage message;
  message.header = {kCluster, 1'000'000};  // the store's revision says nothing about the events
  message.events = std::move(list);
  message.isFragment = isFragment;
  return message;
}

WatchMessage canceled(std::int64_t compactRevision, const std::string& reason) {
  WatchMessage message;
  message.isCreated = compactRevision == 0;
  message.isCanceled = true;
  message.compactRevision = compactRevision;
  message.cancelReason = reason;
  return message;
}

settings::Snapshot snapshotOf(std::int64_t revision, std::vector<settings::SnapshotEntry> entries) {
  return {{kCluster, revision, 0}, std::move(entries)};
}

/// A state machine whose times and waits are exact: every random number is 0.5, so that no period
/// is changed.
class SyncStateTest : public testing::Test {
 protected:
  SyncState make(const SyncOptions& options, std::size_t endpoints = 3) {
    std::vector<std::string> urls;
    for (std::size_t i = 0; i < endpoints; ++i) urls.push_back("https://e" + std::to_string(i));
    return SyncState(options, agent::EndpointChooser(urls, 1), [] { return 0.5; });
  }

  /// One that has taken over settings of revision 10 and watches.
  SyncState watching(const SyncOptions& options, std::size_t endpoints = 3) {
    SyncState state = make(options, endpoints);
    state.load(snapshotOf(10, {{kKey, "1", 9}}), kStart);
    state.start(kStart);
    state.onWatchMessage(kStart, created(10));
    return state;
  }

  SyncState watching() { return watching(options()); }

  std::map<std::string, std::string> valuesOf(const SyncState& state) {
    std::map<std::string, std::string> values;
    for (const settings::SnapshotEntry& entry : state.snapshot().entries)
      values[entry.key] = entry.value;
    return values;
  }
};

using Values = std::map<std::string, std::string>;

TEST_F(SyncStateTest, ListsInPagesPinnedToTheFirstRevisionIfThereIsNoSnapshot) {
  SyncState state = make(options());
  EXPECT_EQ((Texts{"page /vexa/ 0"}), done(state.start(kStart)));
  Page first = page(20, {{"/vexa/a", "1", 5}, {"/vexa/b", "2", 6}});
  first.hasMore = true;
  const Actions more = state.onPage(kStart, first);
  ASSERT_EQ(1U, more.size());
  EXPECT_EQ(std::string("/vexa/b\0", 8), std::get<agent::FetchPage>(more[0]).fromKey);
  EXPECT_EQ(20, std::get<agent::FetchPage>(more[0]).revision);
  EXPECT_FALSE(state.hasSettings());
  EXPECT_EQ((Texts{"write", "watch 21"}),
            done(state.onPage(kStart, page(25, {{"/vexa/c", "3", 7}}))));
  EXPECT_EQ(20, state.revision());
  EXPECT_EQ((Values{{"/vexa/a", "1"}, {"/vexa/b", "2"}, {"/vexa/c", "3"}}), valuesOf(state));
}

TEST_F(SyncStateTest, ResumesAtTheRevisionOfTheSnapshotWithoutAList) {
  SyncState state = make(options());
  state.load(snapshotOf(10, {{kKey, "1", 9}}), kStart);
  EXPECT_EQ((Texts{"watch 11"}), done(state.start(kStart)));
  EXPECT_THAT(said(state.onWatchMessage(kStart, created(12))), HasSubstr("watching from"));
  EXPECT_TRUE(state.isWatching());
}

TEST_F(SyncStateTest, OnlyEventsAndProgressAdvanceTheRevision) {
  SyncState state = watching();
  state.onWatchMessage(kStart, created(50));
  EXPECT_EQ(10, state.revision());
  state.onWatchMessage(kStart, progress(14));
  EXPECT_EQ(14, state.revision());
  state.onWatchMessage(kStart, progress(12));
  EXPECT_EQ(14, state.revision());
  state.onWatchMessage(kStart, events({{false, {kKey, "2", 16}}}));
  EXPECT_EQ(16, state.revision()) << "not the revision in the header";
  state.onTime(kStart + 10s);
  EXPECT_EQ(16, state.revision());
}

TEST_F(SyncStateTest, SkipsEventsThatWereAppliedBefore) {
  SyncState state = watching();
  EXPECT_EQ(Texts(), done(state.onWatchMessage(kStart, events({{false, {kKey, "old", 10}}}))));
  EXPECT_EQ((Values{{kKey, "1"}}), valuesOf(state));
  EXPECT_EQ((Texts{"write"}), done(state.onWatchMessage(kStart, events({{true, {kKey, "", 11}}}))));
  EXPECT_EQ(Values(), valuesOf(state)) << "a watched deletion may remove the last setting";
}

TEST_F(SyncStateTest, ShowsAFragmentedChangeOnlyWhenItIsWhole) {
  SyncState state = watching();
  EXPECT_EQ(Texts(), done(state.onWatchMessage(kStart, events({{false, {kKey, "2", 12}}}, true))));
  EXPECT_EQ((Values{{kKey, "1"}}), valuesOf(state));
  EXPECT_EQ(10, state.revision());
  state.onWatchMessage(kStart, progress(30));
  EXPECT_EQ(10, state.revision()) << "progress between fragments";
  EXPECT_EQ((Texts{"write"}),
            done(state.onWatchMessage(kStart, events({{false, {"/vexa/b", "3", 12}}}))));
  EXPECT_EQ((Values{{kKey, "2"}, {"/vexa/b", "3"}}), valuesOf(state));
}

TEST_F(SyncStateTest, ForgetsAFragmentWhoseStreamEnds) {
  SyncState state = watching();
  state.onWatchMessage(kStart, events({{false, {kKey, "2", 12}}}, true));
  state.onFailure(kStart, {Kind::other, "closed"});
  EXPECT_EQ((Texts{"watch 11"}), done(state.onTime(kStart + 1s)));
  EXPECT_EQ((Values{{kKey, "1"}}), valuesOf(state));
}

TEST_F(SyncStateTest, ListsAfterACompaction) {
  SyncState state = watching();
  EXPECT_EQ((Texts{"stop", "page /vexa/ 0"}), done(state.onWatchMessage(kStart, canceled(40, ""))));
  const Actions actions = state.onPage(kStart, page(50, {{kKey, "9", 45}}));
  EXPECT_THAT(said(actions), HasSubstr("revision 10 was compacted, listed 1 settings"));
  EXPECT_EQ((Texts{"write", "watch 51"}), done(actions));
}

TEST_F(SyncStateTest, WritesNothingIfAListEqualsTheSnapshot) {
  SyncState state = watching();
  state.onWatchMessage(kStart, canceled(40, ""));
  EXPECT_EQ((Texts{"watch 51"}), done(state.onPage(kStart, page(50, {{kKey, "1", 9}}))));
  EXPECT_EQ(50, state.revision());
}

TEST_F(SyncStateTest, RefusesAnEmptyListAndTriesAgain) {
  SyncState state = watching();
  state.onWatchMessage(kStart, canceled(40, ""));
  const Actions refused = state.onPage(kStart, page(50, {}));
  EXPECT_TRUE(hasError(refused));
  EXPECT_EQ(Texts(), done(refused));
  EXPECT_TRUE(state.hasRefused());
  EXPECT_EQ((Values{{kKey, "1"}}), valuesOf(state));
  EXPECT_EQ((Texts{"page /vexa/ 0"}), done(state.onTime(kStart + 10s)));
  EXPECT_EQ("", said(state.onPage(kStart, page(51, {})))) << "said once";
  state.onTime(kStart + 20s);
  EXPECT_EQ((Texts{"write", "watch 53"}), done(state.onPage(kStart, page(52, {{kKey, "2", 52}}))));
  EXPECT_FALSE(state.hasRefused());
}

TEST_F(SyncStateTest, TakesAnEmptyListOnRequestOrWithoutSettings) {
  SyncOptions allowing = options();
  allowing.allowEmpty = true;
  SyncState state = watching(allowing);
  state.onWatchMessage(kStart, canceled(40, ""));
  EXPECT_EQ((Texts{"write", "watch 51"}), done(state.onPage(kStart, page(50, {}))));
  SyncState fresh = make(options());
  fresh.start(kStart);
  EXPECT_EQ((Texts{"write", "watch 2"}), done(fresh.onPage(kStart, page(1, {}))));
}

TEST_F(SyncStateTest, AsksAnotherMemberBeforeItBelievesThatTheStoreWentBack) {
  SyncState state = watching();
  state.onFailure(kStart, {Kind::other, "closed"});
  state.onTime(kStart + 1s);
  const std::string doubtful = state.endpoint();
  const Actions first = state.onWatchMessage(kStart, created(5));
  EXPECT_EQ((Texts{"stop", "watch 11"}), done(first));
  EXPECT_FALSE(hasError(first));
  EXPECT_NE(doubtful, state.endpoint());
  EXPECT_EQ((Texts{"stop", "page /vexa/ 0"}), done(state.onWatchMessage(kStart, created(5))));
  const Actions listed = state.onPage(kStart, page(6, {{kKey, "old", 3}}));
  EXPECT_THAT(said(listed), HasSubstr("store went back from 10 to 6"));
  EXPECT_TRUE(hasError(listed));
  EXPECT_EQ((Texts{"write", "watch 7"}), done(listed));
}

TEST_F(SyncStateTest, TakesAMemberThatIsLateForWhatItIs) {
  SyncState state = watching();
  state.onFailure(kStart, {Kind::other, "closed"});
  state.onTime(kStart + 1s);
  state.onWatchMessage(kStart, created(5));
  EXPECT_FALSE(hasError(state.onWatchMessage(kStart, created(10))));
  EXPECT_TRUE(state.isWatching());
}

TEST_F(SyncStateTest, WritesTheLowerRevisionEvenIfTheSettingsAreTheSame) {
  SyncState state = watching(options(), 1);
  state.onFailure(kStart, {Kind::other, "closed"});
  state.onTime(kStart + 1s);
  state.onWatchMessage(kStart, created(5));
  EXPECT_EQ((Texts{"write", "watch 10"}), done(state.onPage(kStart, page(9, {{kKey, "1", 9}}))));
}

TEST_F(SyncStateTest, AdoptsAnotherClusterWithSettings) {
  SyncState state = watching();
  state.onFailure(kStart, {Kind::other, "closed"});
  state.onTime(kStart + 1s);
  EXPECT_EQ((Texts{"stop", "page /vexa/ 0"}),
            done(state.onWatchMessage(kStart, created(99, kCluster + 1))));
  const Actions listed = state.onPage(kStart, page(99, {{kKey, "1", 9}}, kCluster + 1));
  EXPECT_TRUE(hasError(listed));
  EXPECT_EQ((Texts{"write", "watch 100"}), done(listed));
  EXPECT_EQ(kCluster + 1, state.clusterId());
}

TEST_F(SyncStateTest, NoticesAWatchThatIsSilent) {
  SyncState state = watching();
  EXPECT_EQ(Texts(), done(state.onTime(kStart + 74s)));
  state.onWatchMessage(kStart + 74s, progress(10));
  EXPECT_EQ(Texts(), done(state.onTime(kStart + 148s)));
  EXPECT_EQ(kStart + 149s, state.deadline());
  const std::string silent = state.endpoint();
  const Actions actions = state.onTime(kStart + 149s);
  EXPECT_EQ((Texts{"stop"}), done(actions));
  EXPECT_THAT(said(actions), HasSubstr("ended at revision 10: silent for 75 s"));
  EXPECT_NE(silent, state.endpoint());
}

TEST_F(SyncStateTest, GivesUpAWatchThatIsNotCreatedInTime) {
  SyncState state = make(options());
  state.load(snapshotOf(10, {{kKey, "1", 9}}), kStart);
  state.start(kStart);
  EXPECT_EQ(Texts(), done(state.onTime(kStart + 6s)));
  EXPECT_EQ((Texts{"stop"}), done(state.onTime(kStart + 7s)));
}

TEST_F(SyncStateTest, WaitsLongerWithEachFailureInARow) {
  SyncState state = make(options());
  state.load(snapshotOf(10, {{kKey, "1", 9}}), kStart);
  state.start(kStart);
  for (const auto wait : {125ms, 250ms, 500ms, 1000ms, 2000ms, 4000ms, 5000ms, 5000ms}) {
    state.onFailure(kStart, {Kind::unreachable, "refused"});
    EXPECT_EQ(kStart + wait, state.deadline());
    EXPECT_EQ(Texts(), done(state.onTime(kStart + wait - 1ms)));
    EXPECT_EQ((Texts{"watch 11"}), done(state.onTime(kStart + wait)));
  }
}

TEST_F(SyncStateTest, SaysOnceThatTheClusterIsAway) {
  SyncState state = watching();
  std::string all;
  for (int failure = 0; failure < 9; ++failure) {
    all += said(state.onFailure(kStart + 30s, {Kind::unreachable, "refused"}));
    state.onTime(kStart + 60s);
  }
  EXPECT_THAT(all, HasSubstr("ended at revision 10: refused"));
  EXPECT_THAT(all, HasSubstr("cluster away, revision 10, age 30 s, stays in use"));
  EXPECT_EQ(all.find("away"), all.rfind("away"));
  EXPECT_TRUE(state.isAway());
  EXPECT_THAT(said(state.onFailure(kStart + 31s, {Kind::noLeader, "no leader"})),
              HasSubstr("no leader"))
      << "another cause";
  state.onTime(kStart + 60s);
  EXPECT_THAT(said(state.onWatchMessage(kStart + 60s, created(10))), HasSubstr("resumed at"));
  EXPECT_FALSE(state.isAway());
}

TEST_F(SyncStateTest, LogsInFirstAndAgainWhenTheTokenIsRefused) {
  SyncOptions withLogin = options();
  withLogin.hasLogin = true;
  SyncState state = make(withLogin);
  state.load(snapshotOf(10, {{kKey, "1", 9}}), kStart);
  EXPECT_EQ((Texts{"login"}), done(state.start(kStart)));
  EXPECT_EQ((Texts{"watch 11"}), done(state.onLogin(kStart)));
  state.onWatchMessage(kStart, created(10));
  const std::string member = state.endpoint();
  const auto refused = canceled(0,
                                "rpc error: code = Unauthenticated desc = etcdserver: invalid "
                                "auth token");
  EXPECT_EQ((Texts{"stop", "login"}), done(state.onWatchMessage(kStart, refused)));
  EXPECT_EQ(member, state.endpoint());
  EXPECT_EQ((Texts{"watch 11"}), done(state.onLogin(kStart)));
  const Actions again = state.onWatchMessage(kStart, refused);
  EXPECT_EQ((Texts{"stop"}), done(again)) << "a fresh token that is refused is a failure";
  EXPECT_TRUE(hasError(again));
}

TEST_F(SyncStateTest, DoesNotLogInAgainWhenPermissionIsDenied) {
  SyncOptions withLogin = options();
  withLogin.hasLogin = true;
  SyncState state = make(withLogin);
  state.load(snapshotOf(10, {{kKey, "1", 9}}), kStart);
  state.start(kStart);
  state.onLogin(kStart);
  const auto denied = canceled(0,
                               "rpc error: code = PermissionDenied desc = etcdserver: "
                               "permission denied");
  const Actions actions = state.onWatchMessage(kStart, denied);
  EXPECT_EQ((Texts{"stop"}), done(actions));
  EXPECT_THAT(said(actions), HasSubstr("grant the user read permission on /vexa/"));
  EXPECT_EQ(kStart + 10s, state.deadline());
  EXPECT_EQ((Texts{"watch 11"}), done(state.onTime(kStart + 10s)));
  EXPECT_EQ("", said(state.onWatchMessage(kStart + 10s, denied))) << "said once";
}

TEST_F(SyncStateTest, LogsInAgainWhenEveryMemberLetsItWait) {
  SyncOptions withLogin = options();
  withLogin.hasLogin = true;
  SyncState state = make(withLogin, 1);
  state.load(snapshotOf(10, {{kKey, "1", 9}}), kStart);
  state.start(kStart);
  state.onLogin(kStart);
  state.onTime(kStart + 7s);
  EXPECT_EQ((Texts{"login"}), done(state.onTime(kStart + 20s)));
}

// Comparisons

class ComparisonTest : public SyncStateTest {
 protected:
  ComparisonTest() {
    SyncOptions comparing = options();
    comparing.compareEvery = 10min;
    comparing.silenceLimit = 24h;
    state = std::make_unique<SyncState>(make(comparing));
    state->load(snapshotOf(10, {{kKey, "1", 9}}), kStart);
    EXPECT_EQ((Texts{"compare 0"}), done(state->start(kStart)));
  }

  void reachWatch() {
    state->onComparison(kStart, comparison(10, 1, 9));
    state->onWatchMessage(kStart, created(10));
    EXPECT_EQ((Texts{"compare 0"}), done(state->onTime(kStart + 10min)));
  }

  std::unique_ptr<SyncState> state;
};

TEST_F(ComparisonTest, PrecedesTheFirstWatch) {
  EXPECT_EQ((Texts{"watch 11"}), done(state->onComparison(kStart, comparison(10, 1, 9))));
}

TEST_F(ComparisonTest, ListsIfTheCountOrTheNewestDiffer) {
  reachWatch();
  EXPECT_EQ((Texts{"stop", "page /vexa/ 0"}),
            done(state->onComparison(kStart, comparison(10, 2, 9))));
  const Actions listed = state->onPage(kStart, page(10, {{kKey, "1", 9}, {"/vexa/b", "", 8}}));
  EXPECT_THAT(said(listed), HasSubstr("count or newest differ at revision 10"));
  EXPECT_TRUE(hasError(listed));
}

TEST_F(ComparisonTest, FindsAnotherNewestSetting) {
  reachWatch();
  EXPECT_EQ((Texts{"stop", "page /vexa/ 0"}),
            done(state->onComparison(kStart, comparison(10, 1, 8))));
}

TEST_F(ComparisonTest, ComparesWithTheStoreOfTheAppliedRevisionIfChangesAreOnTheirWay) {
  reachWatch();
  EXPECT_EQ((Texts{"compare 10"}), done(state->onComparison(kStart, comparison(12, 2, 12))));
  state->onWatchMessage(kStart, events({{false, {"/vexa/b", "", 12}}}));
  EXPECT_EQ(Texts(), done(state->onComparison(kStart, comparison(12, 1, 9))))
      << "what was applied since does not matter";
  EXPECT_TRUE(state->isWatching());
}

TEST_F(ComparisonTest, FindsAGhostOfAStoreThatWasOvertaken) {
  reachWatch();
  EXPECT_EQ((Texts{"compare 10"}), done(state->onComparison(kStart, comparison(12, 1, 12))));
  EXPECT_EQ((Texts{"stop", "page /vexa/ 0"}),
            done(state->onComparison(kStart, comparison(12, 3, 9))));
}

TEST_F(ComparisonTest, TakesNoDeletionOnItsWayForADifference) {
  reachWatch();
  Page without = page(11, {});
  EXPECT_EQ((Texts{"compare 10"}), done(state->onComparison(kStart, without)));
}

TEST_F(ComparisonTest, GivesUpAWatchThatStaysBehind) {
  reachWatch();
  state->onComparison(kStart + 10min, comparison(12, 2, 12));
  state->onComparison(kStart + 10min, comparison(12, 1, 9));
  EXPECT_EQ((Texts{"compare 0"}), done(state->onTime(kStart + 20min)));
  const Actions actions = state->onComparison(kStart + 20min, comparison(12, 2, 12));
  EXPECT_EQ((Texts{"stop"}), done(actions));
  EXPECT_THAT(said(actions), HasSubstr("does not bring changes"));
}

TEST_F(ComparisonTest, FindsAStoreThatWentBack) {
  reachWatch();
  EXPECT_EQ((Texts{"stop", "page /vexa/ 0"}),
            done(state->onComparison(kStart, comparison(8, 1, 8))));
  EXPECT_THAT(said(state->onPage(kStart, page(8, {{kKey, "0", 8}}))),
              HasSubstr("store went back from 10 to 8"));
}

TEST_F(ComparisonTest, KeepsTheWatchIfItFails) {
  reachWatch();
  const Actions failed =
      state->onComparisonFailure(kStart + 10min, {Kind::permission, "permission denied"});
  EXPECT_TRUE(hasError(failed));
  EXPECT_TRUE(state->isWatching());
  EXPECT_EQ(kStart + 10min + 10s, state->deadline());
}

TEST_F(ComparisonTest, CountsGroupKeysButKeepsThemOutOfTheSnapshot) {
  state->onComparison(kStart, comparison(10, 1, 9));
  state->onWatchMessage(kStart, created(10));
  const Actions put = state->onWatchMessage(kStart, events({{false, {"/vexa/g/", "x", 11}}}));
  EXPECT_THAT(said(put), HasSubstr("/vexa/g/ ends in \"/\""));
  EXPECT_EQ(Texts(), done(put));
  EXPECT_EQ("", said(state->onWatchMessage(kStart, events({{false, {"/vexa/h/", "x", 12}}}))));
  EXPECT_EQ((Values{{kKey, "1"}}), valuesOf(*state));
  state->onTime(kStart + 10min);
  EXPECT_EQ(Texts(), done(state->onComparison(kStart, comparison(12, 3, 12))));
  EXPECT_TRUE(state->isWatching());
}

TEST_F(SyncStateTest, ListsAgainAfterTheListPeriod) {
  SyncOptions listing = options();
  listing.listEvery = 24h;
  listing.silenceLimit = 100h;
  SyncState state = make(listing);
  state.load(snapshotOf(10, {{kKey, "1", 9}}), kStart);
  state.start(kStart);
  state.onWatchMessage(kStart, created(10));
  EXPECT_EQ((Texts{"stop", "page /vexa/ 0"}), done(state.onTime(kStart + 24h)));
  const Actions listed = state.onPage(kStart + 24h, page(30, {{kKey, "2", 20}}));
  EXPECT_FALSE(hasError(listed)) << "events may have been on their way";
  EXPECT_EQ((Texts{"write", "watch 31"}), done(listed));
}

}  // namespace
