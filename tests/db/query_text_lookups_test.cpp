// How often database query text reads the database type: this program compiles the source with its
// own settings.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"

namespace {

std::vector<std::string> answers;  // one per lookup, the last one for all later ones
std::size_t lookUps = 0;

void answer(const std::vector<std::string>& types) {
  answers = types;
  lookUps = 0;
}

}  // namespace

std::string VexaCommonUtils::getDBType() {
  const std::size_t which = std::min(lookUps++, answers.size() - 1);
  return answers[which];
}

namespace {

TEST(QueryTextLookups, AreDoneOnEveryCall) {
  answer({"oracle"});
  VexaCommonUtils::transDBUpdateString("'");
  EXPECT_EQ(lookUps, 0U);
  VexaCommonUtils::transDBSearchString("");
  EXPECT_EQ(lookUps, 0U);
  VexaCommonUtils::transDBSearchString("plain");
  EXPECT_EQ(lookUps, 1U);
  VexaCommonUtils::getEscapeString();
  EXPECT_EQ(lookUps, 2U);
  VexaCommonUtils::TransferLikeSqlForSybAndMSSQL("");
  EXPECT_EQ(lookUps, 3U);
}

TEST(QueryTextLookups, FollowAChangeOfTheType) {
  answer({"sybase", "oracle"});
  EXPECT_EQ(VexaCommonUtils::transDBSearchString("%"), "[%]");
  EXPECT_EQ(VexaCommonUtils::transDBSearchString("%"), "\\%");
}

TEST(QueryTextLookups, OfAnOperandAreTwo) {
  answer({"sybase", "oracle"});
  EXPECT_EQ(VexaCommonUtils_i::TransferLikeSql("%", Vexacommon::FUZZY_QUERY_NONE),
            "'[%]' escape '\\' ");
  EXPECT_EQ(lookUps, 2U);
  answer({"oracle", "sybase"});
  EXPECT_EQ(VexaCommonUtils_i::TransferLikeSql("%", Vexacommon::FUZZY_QUERY_NONE), "'\\%'");
  answer({"oracle", "sybase"});
  EXPECT_EQ(VexaCommonUtils_i::TransferLikeSql("", Vexacommon::FUZZY_QUERY_NONE),
            "'' escape '\\' ");
  EXPECT_EQ(lookUps, 1U);
}

TEST(QueryTextLookups, TakeATypeOfAnyBytes) {
  for (const std::string type : {"", "\xFF\xFE", "oracle\n", "sybase'%"}) {
    answer({type});
    EXPECT_EQ(VexaCommonUtils_i::TransferLikeSql("[", Vexacommon::FUZZY_QUERY_NONE), "'[[]'");
  }
}

}  // namespace
