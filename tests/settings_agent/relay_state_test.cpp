// What a host that follows relays does after each event.
#include "commutil-settings/relay_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::chrono_literals;
using agent::Failure;
using agent::Pointer;
using agent::RelayActions;
using agent::RelayState;
using agent::Time;
using testing::HasSubstr;

const Time kStart{std::chrono::hours(1)};
constexpr std::uint64_t kCluster = 7;

std::string checksum(char digit) { return std::string(64, digit); }

std::string pointer(std::int64_t revision, std::int64_t epoch, char digit) {
  return agent::pointerText({revision, epoch, checksum(digit)});
}

settings::Snapshot snapshotOf(std::int64_t revision, const std::string& value,
                              std::uint64_t cluster = kCluster) {
  settings::Snapshot snapshot{{cluster, revision, 0}, {}};
  if (!value.empty()) snapshot.entries.push_back({"/vexa/a", value, 1});
  return snapshot;
}

/// What is fetched and written: "current", "settings-5.snap", "write".
std::string done(const RelayActions& actions) {
  std::string text;
  for (const agent::RelayAction& action : actions) {
    if (const auto* const fetch = std::get_if<agent::Fetch>(&action)) text += fetch->name + " ";
    if (std::holds_alternative<agent::WriteSettings>(action)) text += "write ";
  }
  return text;
}

std::string said(const RelayActions& actions) {
  std::string text;
  for (const agent::RelayAction& action : actions)
    if (const auto* const line = std::get_if<agent::Say>(&action)) text += line->text + "\n";
  return text;
}

class RelayStateTest : public testing::Test {
 protected:
  RelayStateTest()
      : state({5s, 4s, false}, agent::EndpointChooser({"https://r1/", "https://r2/"}, 1),
              [] { return 0.5; }) {}

  /// Starts with revision 10, epoch 0, taken from a relay.
  void startWithSettings() {
    state.load(snapshotOf(10, "1"), Pointer{10, 0, checksum('a')}, kStart);
    EXPECT_EQ("current ", done(state.start(kStart)));
  }

  /// Lets the state reach the snapshot of a pointer.
  RelayActions offer(const std::string& text, settings::Snapshot snapshot, char digit) {
    state.onPointer(kStart, text);
    state.onTime(kStart + 4s);
    return state.onSnapshot(kStart, std::move(snapshot), checksum(digit));
  }

  RelayState state;
};

TEST_F(RelayStateTest, FetchesTheFirstSnapshotAtOnce) {
  EXPECT_EQ("current ", done(state.start(kStart)));
  EXPECT_EQ("settings-5.snap ", done(state.onPointer(kStart, pointer(5, 0, 'a'))));
  EXPECT_FALSE(state.isCurrent());
  EXPECT_EQ("write ", done(state.onSnapshot(kStart, snapshotOf(5, "1"), checksum('a'))));
  EXPECT_TRUE(state.isCurrent());
  EXPECT_EQ((Pointer{5, 0, checksum('a')}), state.pointer());
  EXPECT_EQ(kStart + 5s, state.deadline());
}

TEST_F(RelayStateTest, PollsAndSpreadsTheFetchOfANewSnapshot) {
  startWithSettings();
  EXPECT_EQ("", done(state.onPointer(kStart, pointer(10, 0, 'a'))));
  EXPECT_EQ("", done(state.onTime(kStart + 4s)));
  EXPECT_EQ("current ", done(state.onTime(kStart + 5s)));
  EXPECT_EQ("", done(state.onPointer(kStart + 5s, pointer(11, 0, 'b'))));
  EXPECT_EQ(kStart + 7s, state.deadline());
  EXPECT_EQ("settings-11.snap ", done(state.onTime(kStart + 7s)));
  EXPECT_EQ("write ", done(state.onSnapshot(kStart + 7s, snapshotOf(11, "2"), checksum('b'))));
}

TEST_F(RelayStateTest, RefusesALowerRevisionOnce) {
  startWithSettings();
  const std::string first = state.source();
  const RelayActions refused = offer(pointer(9, 0, 'b'), snapshotOf(9, "0"), 'b');
  EXPECT_EQ("", done(refused));
  EXPECT_THAT(said(refused), HasSubstr("older than revision 10, epoch 0"));
  EXPECT_TRUE(state.hasRefused());
  EXPECT_NE(first, state.source()) << "another relay may be further";
  EXPECT_EQ(10, state.snapshot().header.revision);
  state.onTime(kStart + 10s);
  EXPECT_EQ("", said(state.onPointer(kStart + 10s, pointer(9, 0, 'b'))));
  EXPECT_EQ("current ", done(state.onTime(kStart + 20s))) << "not fetched a second time";
}

TEST_F(RelayStateTest, TakesALowerRevisionOfAHigherEpochAndNothingOfALowerOne) {
  startWithSettings();
  EXPECT_EQ("write ", done(offer(pointer(6, 1, 'b'), snapshotOf(6, "0"), 'b')));
  state.onTime(kStart + 10s);
  EXPECT_THAT(said(offer(pointer(12, 0, 'c'), snapshotOf(12, "9"), 'c')), HasSubstr("refused"))
      << "a relay that was not told";
  EXPECT_EQ(6, state.snapshot().header.revision);
}

TEST_F(RelayStateTest, TakesWhatItRefusedWhenTheEpochIsRaised) {
  startWithSettings();
  offer(pointer(6, 0, 'b'), snapshotOf(6, "0"), 'b');
  state.onTime(kStart + 10s);
  EXPECT_EQ("write ", done(offer(pointer(6, 1, 'b'), snapshotOf(6, "0"), 'b')));
}

TEST_F(RelayStateTest, IsContentWithAnOlderSnapshotOfTheSameSettings) {
  startWithSettings();
  EXPECT_EQ("", said(offer(pointer(9, 0, 'b'), snapshotOf(9, "1"), 'b')));
  EXPECT_TRUE(state.isCurrent());
  state.onTime(kStart + 10s);
  state.onPointer(kStart + 10s, pointer(9, 0, 'b'));
  EXPECT_TRUE(state.isCurrent());
  EXPECT_EQ("current ", done(state.onTime(kStart + 20s))) << "not fetched a second time";
}

TEST_F(RelayStateTest, AdoptsAnotherClusterUnlessItIsEmpty) {
  startWithSettings();
  EXPECT_THAT(said(offer(pointer(3, 0, 'b'), snapshotOf(3, "", kCluster + 1), 'b')),
              HasSubstr("another cluster and has no settings"));
  state.onTime(kStart + 10s);
  const RelayActions adopted = offer(pointer(4, 0, 'c'), snapshotOf(4, "x", kCluster + 1), 'c');
  EXPECT_EQ("write ", done(adopted));
  EXPECT_THAT(said(adopted), HasSubstr("another cluster"));
}

TEST_F(RelayStateTest, TakesAnEmptySnapshotOfItsCluster) {
  startWithSettings();
  EXPECT_EQ("write ", done(offer(pointer(11, 0, 'b'), snapshotOf(11, ""), 'b')));
}

TEST_F(RelayStateTest, RefusesASnapshotWithAnotherChecksum) {
  startWithSettings();
  EXPECT_EQ("", done(offer(pointer(11, 0, 'b'), snapshotOf(11, "2"), 'c')));
  EXPECT_EQ(10, state.snapshot().header.revision);
}

TEST_F(RelayStateTest, SaysOnceThatAllRelaysAreAway) {
  startWithSettings();
  std::string all;
  for (int failure = 0; failure < 6; ++failure) {
    all += said(state.onFailure(kStart + 3s, {Failure::Kind::unreachable, "refused"}));
    state.onTime(kStart + 60s);
  }
  EXPECT_THAT(all, HasSubstr("relays away, revision 10, age 3 s, stays in use"));
  EXPECT_EQ(all.find("away"), all.rfind("away"));
  EXPECT_TRUE(state.isAway());
  EXPECT_THAT(said(state.onPointer(kStart + 60s, pointer(10, 0, 'a'))), HasSubstr("resumed"));
}

TEST_F(RelayStateTest, TakesTheOtherRelayAfterAMalformedPointer) {
  startWithSettings();
  const std::string first = state.source();
  state.onPointer(kStart, "<html>");
  EXPECT_NE(first, state.source());
}

}  // namespace
