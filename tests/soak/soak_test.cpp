// The table of operations, and the verdict on a run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "soak/operations.h"
#include "soak/plan.h"
#include "support/exported.h"

namespace commutil_soak {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(SoakOperations, AreAllThatTheLibraryExports) {
  std::set<std::string> called;
  for (const Operations& operations : {threadOperations(), childOperations()}) {
    for (const Operation& operation : operations) {
      for (const std::string& name : operation.names)
        called.insert(name.substr(0, name.find(" [")));
    }
  }
  EXPECT_EQ(commutil_test::exportedOperations(EXPORTED_SYMBOLS), called);
}

/// A run of ten minutes in which nothing grows.
class Verdict : public testing::Test {
 protected:
  Verdict() {
    for (int round = 1; round <= plan.rounds; ++round) {
      const auto rounds = static_cast<std::uint64_t>(round);
      Moment moment;
      moment.seconds = round * 5.0;
      moment.calls = rounds * 1000;
      moment.handOvers = rounds * 8 * 16 * 660;
      moment.kills = rounds * 85;
      moment.liveBytes = 1000000;
      moment.residentBytes = 100000000;
      moment.descriptors = 80;
      record.moments.push_back(moment);
    }
  }

  std::vector<std::string> failures() const { return failuresOf(plan, record); }

  const Plan plan = planOf(1, 10);
  Record record;
};

TEST_F(Verdict, IsGoodIfNothingGrows) { EXPECT_THAT(failures(), IsEmpty()); }

TEST_F(Verdict, AsksForAThousandKillsAndAMillionHandOversAMinute) {
  EXPECT_GE(record.moments.back().handOvers, 10 * kHandOversPerMinute);
  EXPECT_GE(record.moments.back().kills, 10 * kKillsPerMinute);
  --record.moments.back().handOvers;
  --record.moments.back().kills;
  EXPECT_THAT(failures(),
              ElementsAre("only 10137599 of 10137600 hand-overs", "only 10199 of 10200 kills"));
}

TEST_F(Verdict, NamesWhatIsWrong) {
  record.ends = {"worker 1 hung"};
  record.outOfOrder = 1;
  record.doubleHolders = 2;
  record.lockFailures = 3;
  record.children = 4;
  record.wrongCalls = {"operation, 1 times"};
  record.neverCalled = {"another"};
  EXPECT_THAT(failures(),
              ElementsAre("worker 1 hung", "1 hand-overs out of order", "2 locks with two holders",
                          "3 failures of the lock", "4 children left behind",
                          "wrong results: operation, 1 times", "never called: another"));
}

TEST_F(Verdict, NamesARunThatWasCutOff) {
  record.moments.pop_back();
  EXPECT_THAT(failures(), Contains("only 119 of 120 rounds"));
}

TEST_F(Verdict, NamesARunWithoutARound) {
  record.moments.clear();
  EXPECT_THAT(failures(), Contains("only 0 of 120 rounds"));
}

TEST_F(Verdict, AllowsAKibibyteAMinute) {
  record.moments.back().liveBytes += 8 * 1024;
  EXPECT_THAT(failures(), IsEmpty());
  ++record.moments.back().liveBytes;
  EXPECT_THAT(failures(), ElementsAre(HasSubstr("allocated memory grew by 8193 bytes in 8.0")));
}

TEST_F(Verdict, LeavesOutWhatIsAllocatedInTheFirstTwoMinutes) {
  for (std::size_t i = 0; i < 23; ++i) record.moments[i].liveBytes = 0;
  EXPECT_THAT(failures(), IsEmpty());
  record.moments[23].liveBytes = 0;
  EXPECT_THAT(failures(), ElementsAre(HasSubstr("allocated memory grew")));
}

TEST_F(Verdict, AllowsTwoPercentOfResidentMemory) {
  for (std::size_t i = 108; i < 120; ++i) record.moments[i].residentBytes = 101999000;
  EXPECT_THAT(failures(), IsEmpty());
  for (std::size_t i = 108; i < 120; ++i) record.moments[i].residentBytes = 102001000;
  EXPECT_THAT(failures(), ElementsAre(HasSubstr("resident memory grew")));
}

TEST_F(Verdict, NamesDescriptorsThatStayOpen) {
  ++record.moments.back().descriptors;
  EXPECT_THAT(failures(), ElementsAre("descriptors grew from 80 to 81"));
}

TEST_F(Verdict, JudgesMemoryFromThreeMinutesOn) {
  record.moments.resize(35);
  EXPECT_FALSE(judgesMemory(record));
  record.moments.emplace_back().seconds = 180;
  EXPECT_TRUE(judgesMemory(record));
}

}  // namespace
}  // namespace commutil_soak
