// The catalog's tables are consistent.
#include "settings/catalog.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using settings::Item;
using settings::Kind;

TEST(Catalog, NamesEverythingOnce) {
  std::set<std::string> names;
  for (const Item& item : settings::items()) {
    const std::string name = std::to_string(static_cast<int>(item.kind)) + " " +
                             std::string(item.parent) + std::string(item.section) +
                             std::string(item.name);
    EXPECT_TRUE(names.insert(name).second) << name;
    EXPECT_EQ(&item, settings::findItem(item.kind, item.name, item.parent, item.section));
  }
}

TEST(Catalog, DescribesEveryItem) {
  for (const Item& item : settings::items()) {
    SCOPED_TRACE(std::string(item.name));
    EXPECT_FALSE(item.meaning.empty());
    EXPECT_FALSE(item.when.empty());
    EXPECT_FALSE(item.readers.empty());
    EXPECT_EQ(item.kind == Kind::written, item.missing.empty());
    const bool words = item.accepted.form == settings::Form::word ||
                       item.accepted.form == settings::Form::wordList;
    EXPECT_EQ(words, !item.accepted.words.empty());
  }
}

TEST(Catalog, PlacesKeysInItsFilesAndTrees) {
  for (const Item& item : settings::items()) {
    SCOPED_TRACE(std::string(item.name));
    if (item.kind == Kind::iniKey || item.kind == Kind::jsonMember || item.kind == Kind::line) {
      const Item* const file = settings::findItem(Kind::file, item.parent);
      ASSERT_NE(nullptr, file);
      EXPECT_EQ(item.kind == Kind::iniKey, file->format == settings::Format::ini);
    }
    if (item.kind != Kind::storeKey) continue;
    const std::string key = settings::storeKey(item.parent, "app", item.name);
    const auto split = settings::splitStoreKey(key.substr(1));
    ASSERT_TRUE(split);
    EXPECT_EQ(item.parent, split->tree);
    EXPECT_EQ("app", split->branch);
    EXPECT_EQ(item.name, split->parameter);
  }
}

TEST(Catalog, ResolvesTheSourcesOfEveryAnswer) {
  for (const settings::Answer& answer : settings::answers()) {
    SCOPED_TRACE(std::string(answer.name));
    EXPECT_EQ(&answer, settings::findAnswer(answer.name));
    if (!answer.parameter.empty()) {
      EXPECT_EQ(&answer, settings::findAnswer(answer.parameter));
    }
    for (const settings::SourceRef& source : answer.sources)
      EXPECT_NE(nullptr, settings::findItem(source)) << source.name;
  }
}

TEST(Catalog, FindsNoAnswerForOtherNames) {
  EXPECT_EQ(nullptr, settings::findAnswer(""));
  EXPECT_EQ(nullptr, settings::findAnswer("isListenAllIP"));
  EXPECT_EQ("isListenAllIp", settings::suggestAnswer("isListenAllIP"));
  EXPECT_EQ("ts_mode", settings::suggestAnswer("tsmode"));
  EXPECT_EQ("", settings::suggestAnswer("something else entirely"));
}

TEST(Catalog, SplitsOnlyKeysOfItsTrees) {
  EXPECT_FALSE(settings::splitStoreKey("/vexa/common/setting_cfg/ListenAllIp"));
  EXPECT_FALSE(settings::splitStoreKey("/vexa/common/setting_cfg/a/b/ListenAllIp"));
  EXPECT_FALSE(settings::splitStoreKey("/vexa/common/other/a/b"));
  EXPECT_FALSE(settings::splitStoreKey(""));
}

}  // namespace
