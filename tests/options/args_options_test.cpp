#include "ArgsOptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <list>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "support/fixtures.h"
#include "support/locales.h"
#include "support/threads.h"

namespace {

using commutil_test::inThreads;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using Words = std::vector<std::string>;

/// A command line as `main` receives it. An argument may be null.
class CommandLine {
 public:
  explicit CommandLine(const Words& words) : m_words(words.begin(), words.end()) { point(); }
  explicit CommandLine(std::vector<std::optional<std::string>> words) : m_words(std::move(words)) {
    point();
  }

  ArgsOptions options() { return ArgsOptions(static_cast<int>(m_words.size()), m_argv.data()); }
  char** argv() { return m_argv.data(); }

 private:
  void point() {
    for (auto& word : m_words) m_argv.push_back(word ? word->data() : nullptr);
    m_argv.push_back(nullptr);
  }

  std::vector<std::optional<std::string>> m_words;
  std::vector<char*> m_argv;
};

TEST(ArgsOptions, ReadsAWholeCommandLine) {
  CommandLine line(Words{"prog", "-h", "host1", "host2", "-v", "--", "-x", "-h", "host3"});
  const ArgsOptions options = line.options();
  EXPECT_TRUE(options.hasOption("-h"));
  EXPECT_TRUE(options.hasOption("-v"));
  EXPECT_TRUE(options.hasOption("--"));
  EXPECT_TRUE(options.hasOption("-x"));
  EXPECT_TRUE(options.hasOption("prog"));
  EXPECT_TRUE(options.hasOption("host3"));
  EXPECT_FALSE(options.hasOption("h"));
  EXPECT_FALSE(options.hasOption("-H"));
  EXPECT_EQ("host1", options.getOption("-h"));
  EXPECT_EQ("-x", options.getOption("-v"));
  EXPECT_EQ("", options.getOption("host3"));
  EXPECT_EQ("", options.getOption("-n"));
  EXPECT_THAT(options.getOptions("-h"), ElementsAre("host1", "host2", "host3"));
  EXPECT_THAT(options.getOptions("-v"), ElementsAre("-x"));
  EXPECT_THAT(options.getOptions("-n"), IsEmpty());
  EXPECT_THAT(options.getFlags(), ElementsAre("-h", "-v", "--", "-x", "-h"));
  EXPECT_EQ(5, options.numberOfOptions());
  EXPECT_EQ(9, options.numberOfargs());
}

TEST(ArgsOptions, FindsOnlyWholeArguments) {
  CommandLine line(Words{"prog", "-port=80", "--Verbose", "", "a b", "-\xFF"});
  const ArgsOptions options = line.options();
  using namespace std::string_literals;
  EXPECT_TRUE(options.hasOption("-port=80"));
  EXPECT_TRUE(options.hasOption("--Verbose"));
  EXPECT_TRUE(options.hasOption(""));
  EXPECT_TRUE(options.hasOption("a b"));
  EXPECT_TRUE(options.hasOption("-\xFF"));
  for (const std::string& name :
       {"-port"s, "-port="s, "-port=8"s, "-port=800"s, "--verbose"s, "Verbose"s, "-Verbose"s, "a"s,
        "b"s, "pro"s, "progs"s, "-"s, "prog\0"s, "prog\0x"s, "\0"s, "-\xFE"s}) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(options.hasOption(name));
    EXPECT_EQ("", options.getOption(name));
    EXPECT_THAT(options.getOptions(name), IsEmpty());
  }
  EXPECT_EQ("", options.getOption("-port"));
  EXPECT_EQ("a b", options.getOption(""));
}

TEST(ArgsOptions, ReturnsTheValueOfTheFirstOccurrence) {
  struct Case {
    Words words;
    const char* name;
    const char* value;
  };
  const Case cases[] = {
      {{"prog", "-h", "a"}, "-h", "a"},
      {{"-h", "a"}, "-h", "a"},
      {{"prog", "a"}, "prog", "a"},
      {{"prog", "a", "b"}, "a", "b"},
      {{"prog", "-h", "a", "-h", "b"}, "-h", "a"},
      {{"prog", "-h", "", "b"}, "-h", ""},
      // No value: the last argument, or one followed by an option, even if a later occurrence has a
      // value.
      {{"prog", "-h"}, "-h", ""},
      {{"-h"}, "-h", ""},
      {{"prog", "-h", "-v"}, "-h", ""},
      {{"prog", "-h", "-"}, "-h", ""},
      {{"prog", "-h", "-5"}, "-h", ""},
      {{"prog", "-h", "---", "a"}, "-h", ""},
      {{"prog", "-h", "--v", "a"}, "-h", ""},
      {{"prog", "-h", "-v", "-h", "b"}, "-h", ""},
      {{"prog", "-h", "-h", "b"}, "-h", ""},
      // The escape.
      {{"prog", "-h", "--", "-v"}, "-h", "-v"},
      {{"prog", "-h", "--", "v"}, "-h", "v"},
      {{"prog", "-h", "--", ""}, "-h", ""},
      {{"prog", "-h", "--", "--"}, "-h", "--"},
      {{"prog", "-h", "--", "--", "b"}, "-h", "--"},
      {{"prog", "-h", "--", "-h", "b"}, "-h", "-h"},
      {{"prog", "-h", "--"}, "-h", ""},
      // It does not hide the argument after it from the search for the name.
      {{"prog", "--", "-h", "b"}, "-h", "b"},
      {{"prog", "-v", "--", "-h", "b"}, "-h", "b"},
      // The escape as the name itself.
      {{"prog", "--", "a"}, "--", "a"},
      {{"prog", "--", "-a"}, "--", ""},
      {{"prog", "--", "--", "-a"}, "--", "-a"},
      {{"prog", "--", "--"}, "--", ""},
      {{"prog", "a", "--"}, "--", ""},
      {{"prog", "-", "a"}, "-", "a"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(::testing::PrintToString(row.words) + " " + row.name);
    CommandLine line(row.words);
    EXPECT_EQ(row.value, line.options().getOption(row.name));
  }
}

TEST(ArgsOptions, CollectsTheValuesOfEveryOccurrence) {
  struct Case {
    Words words;
    const char* name;
    Words values;
  };
  const Case cases[] = {
      {{"prog", "-h", "a", "b"}, "-h", {"a", "b"}},
      {{"-h", "a"}, "-h", {"a"}},
      {{"prog", "a", "b"}, "prog", {"a", "b"}},
      {{"prog", "a", "b", "a", "c"}, "a", {"b", "c"}},
      {{"prog", "-h", "a", "-v", "x", "-h", "a", "b"}, "-h", {"a", "a", "b"}},
      {{"prog", "-h", "a", "-h", "b"}, "-h", {"a", "b"}},
      {{"prog", "-h", "-h", "b"}, "-h", {"b"}},
      {{"prog", "-h", "-v", "b"}, "-h", {}},
      {{"prog", "-h", ""}, "-h", {""}},
      {{"prog", "-h", "a", "", "b"}, "-h", {"a", "", "b"}},
      {{"prog", "x", "-h"}, "-h", {}},
      // The end of a run.
      {{"prog", "-h", "a", "-", "b"}, "-h", {"a"}},
      {{"prog", "-h", "a", "-5", "b"}, "-h", {"a"}},
      {{"prog", "-h", "a", "---", "b"}, "-h", {"a"}},
      // The escape.
      {{"prog", "-h", "--", "-v", "b"}, "-h", {"-v", "b"}},
      {{"prog", "-h", "a", "--", "-v", "--", "-w", "-x", "c"}, "-h", {"a", "-v", "-w"}},
      {{"prog", "-h", "--", "-h", "b"}, "-h", {"-h", "b"}},
      {{"prog", "-h", "--", "--", "b"}, "-h", {"--", "b"}},
      {{"prog", "-h", "a", "--"}, "-h", {"a"}},
      {{"prog", "-h", "--"}, "-h", {}},
      {{"prog", "-h", "--", "--"}, "-h", {"--"}},
      // Outside a run it escapes nothing.
      {{"prog", "--", "-h", "b"}, "-h", {"b"}},
      {{"prog", "-h", "a", "-v", "--", "-h", "b"}, "-h", {"a", "b"}},
      {{"prog", "-h", "-v", "--", "b"}, "-h", {}},
      // The escape as the name itself opens a run and escapes nothing.
      {{"prog", "--", "a", "--", "b", "-x", "c"}, "--", {"a", "b"}},
      {{"prog", "--", "--", "-x", "c"}, "--", {}},
      {{"prog", "a", "--"}, "--", {}},
      {{"prog", "-", "a", "-", "b"}, "-", {"a", "b"}},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(::testing::PrintToString(row.words) + " " + row.name);
    CommandLine line(row.words);
    EXPECT_THAT(line.options().getOptions(row.name), ElementsAreArray(row.values));
  }
}

TEST(ArgsOptions, CountsEveryOption) {
  CommandLine line(Words{"-prog", "-", "--", "-5", "-v", "-v", "a", "", "a-b", " -c", "--long=x"});
  const ArgsOptions options = line.options();
  EXPECT_THAT(options.getFlags(), ElementsAre("-prog", "-", "--", "-5", "-v", "-v", "--long=x"));
  EXPECT_EQ(7, options.numberOfOptions());
  EXPECT_EQ(11, options.numberOfargs());
}

TEST(ArgsOptions, FindsNothingWithoutArguments) {
  char word[] = "-h";
  char* argv[] = {word, word, nullptr};
  for (const int count : {0, -1, INT_MIN}) {
    for (char** const given : {argv, static_cast<char**>(nullptr)}) {
      SCOPED_TRACE(count);
      const ArgsOptions options(count, given);
      EXPECT_FALSE(options.hasOption("-h"));
      EXPECT_FALSE(options.hasOption(""));
      EXPECT_EQ("", options.getOption("-h"));
      EXPECT_THAT(options.getOptions("-h"), IsEmpty());
      EXPECT_THAT(options.getFlags(), IsEmpty());
      EXPECT_EQ(0, options.numberOfOptions());
      EXPECT_EQ(count, options.numberOfargs());
    }
  }
}

TEST(ArgsOptions, ReadsOnlyTheProgramsName) {
  CommandLine line(Words{"prog"});
  const ArgsOptions options = line.options();
  EXPECT_TRUE(options.hasOption("prog"));
  EXPECT_EQ("", options.getOption("prog"));
  EXPECT_THAT(options.getOptions("prog"), IsEmpty());
  EXPECT_THAT(options.getFlags(), IsEmpty());
  EXPECT_EQ(0, options.numberOfOptions());
  EXPECT_EQ(1, options.numberOfargs());
}

TEST(ArgsOptions, ReadsNoArgumentAfterTheCount) {
  CommandLine line(Words{"prog", "-h", "--", "a", "-x"});
  const ArgsOptions options(3, line.argv());
  EXPECT_FALSE(options.hasOption("a"));
  EXPECT_EQ("", options.getOption("-h"));
  EXPECT_THAT(options.getOptions("-h"), IsEmpty());
  EXPECT_THAT(options.getFlags(), ElementsAre("-h", "--"));
  EXPECT_EQ(2, options.numberOfOptions());
  const ArgsOptions shorter(2, line.argv());
  EXPECT_EQ("", shorter.getOption("-h"));
}

using Query = std::function<void(const ArgsOptions&)>;

void expectLogicError(CommandLine& line, const Query& query) {
  try {
    query(line.options());
    ADD_FAILURE() << "nothing thrown";
  } catch (const std::exception& error) {
    EXPECT_EQ(typeid(std::logic_error), typeid(error));
    EXPECT_STREQ("basic_string::_M_construct null not valid", error.what());
  }
}

const Query kHas = [](const ArgsOptions& options) { options.hasOption("-h"); };
const Query kOption = [](const ArgsOptions& options) { options.getOption("-h"); };
const Query kOptions = [](const ArgsOptions& options) { options.getOptions("-h"); };
const Query kFlags = [](const ArgsOptions& options) { options.getFlags(); };
const Query kNumber = [](const ArgsOptions& options) { options.numberOfOptions(); };

struct NullCase {
  std::vector<std::optional<std::string>> words;
  std::vector<Query> queries;
};

TEST(ArgsOptions, ThrowsForANullArgumentThatItReads) {
  const NullCase cases[] = {
      {{std::nullopt}, {kHas, kOptions, kFlags, kNumber}},
      {{std::nullopt, "-h"}, {kHas, kOption, kOptions, kFlags, kNumber}},
      {{"prog", std::nullopt, "-h", "a"}, {kHas, kOption, kOptions, kFlags, kNumber}},
      {{"prog", "a", std::nullopt}, {kHas, kOptions, kFlags, kNumber}},
      {{"prog", "-h", std::nullopt, "a"}, {kOption, kOptions, kFlags, kNumber}},
      {{"prog", "-h", std::nullopt}, {kOption, kOptions}},
      {{"prog", "-h", "--", std::nullopt}, {kOption, kOptions}},
      {{"prog", "-h", "a", std::nullopt}, {kOptions, kFlags, kNumber}},
  };
  for (const NullCase& row : cases) {
    SCOPED_TRACE(::testing::PrintToString(row.words.size()));
    for (const Query& query : row.queries) {
      CommandLine line(row.words);
      expectLogicError(line, query);
    }
  }
}

TEST(ArgsOptions, NeverReadsANullArgumentAfterItsResult) {
  const NullCase cases[] = {
      {{std::nullopt}, {kOption}},               // a single argument has no value
      {{"prog", "a", std::nullopt}, {kOption}},  // the last argument is not an option
      {{"prog", "-h", "a", std::nullopt}, {kHas, kOption}},
      {{"prog", "-h", "-v", std::nullopt}, {kHas, kOption}},
      {{"prog", "-h", "--", "a", std::nullopt}, {kHas, kOption}},
      {{"prog", "-h", std::nullopt}, {kHas}},
  };
  for (const NullCase& row : cases) {
    SCOPED_TRACE(row.words.size());
    CommandLine line(row.words);
    for (const Query& query : row.queries) EXPECT_NO_THROW(query(line.options()));
  }
}

TEST(ArgsOptions, HoldsTheCountThenTheCallersArray) {
  CommandLine line(Words{"prog", "-h"});
  const ArgsOptions options(-7, line.argv());
  int count = 0;
  char** argv = nullptr;
  static_assert(std::is_trivially_copyable_v<ArgsOptions>);
  static_assert(sizeof(ArgsOptions) == 2 * sizeof(char**));
  const auto* const bytes = reinterpret_cast<const char*>(&options);
  std::memcpy(&count, bytes, sizeof count);
  std::memcpy(&argv, bytes + sizeof(char**), sizeof argv);
  EXPECT_EQ(-7, count);
  EXPECT_EQ(line.argv(), argv);
}

TEST(ArgsOptions, ReadsTheArrayOnEachQuery) {
  CommandLine line(Words{"prog", "-h", "a"});
  const ArgsOptions options = line.options();
  EXPECT_EQ("a", options.getOption("-h"));
  char other[] = "-x";
  line.argv()[2] = other;
  EXPECT_EQ("", options.getOption("-h"));
  EXPECT_TRUE(options.hasOption("-x"));
  EXPECT_EQ(2, options.numberOfOptions());
}

TEST(ArgsOptions, HandlesLongArgumentsAndMany) {
  const std::string longWord(std::size_t{100} << 20, 'x');
  CommandLine line(Words{"prog", "-h", longWord, longWord + "y"});
  EXPECT_TRUE(line.options().hasOption(longWord + "y"));
  EXPECT_FALSE(line.options().hasOption(longWord + "z"));
  EXPECT_EQ(longWord, line.options().getOption("-h"));

  Words many(100000, "value");
  many[0] = "-h";
  CommandLine longLine(many);
  EXPECT_EQ(99999U, longLine.options().getOptions("-h").size());
  EXPECT_EQ(1, longLine.options().numberOfOptions());
}

TEST(ArgsOptions, ComparesBytesInAnyLocale) {
  const commutil_test::Latin1Locale latin1;
  commutil_test::runInChild([&latin1] {
    latin1.set();
    CommandLine line(Words{"prog", "-\xE4", "\xE4", "-\xC4", "\xC4"});
    EXPECT_EQ("\xE4", line.options().getOption("-\xE4"));
    EXPECT_EQ("\xC4", line.options().getOption("-\xC4"));
    EXPECT_FALSE(line.options().hasOption("-a"));
    EXPECT_EQ(2, line.options().numberOfOptions());
  });
}

TEST(ArgsOptions, WorksInSeveralThreadsAtOnce) {
  CommandLine line(Words{"prog", "-h", "a", "b", "-v"});
  const ArgsOptions options = line.options();
  inThreads(4, [&options](int) {
    for (int turn = 0; turn < 100; ++turn) {
      EXPECT_TRUE(options.hasOption("-v"));
      EXPECT_EQ("a", options.getOption("-h"));
      EXPECT_THAT(options.getOptions("-h"), ElementsAre("a", "b"));
      EXPECT_EQ(2, options.numberOfOptions());
    }
  });
}

// The documented steps, with a string for each argument.
std::string modelOption(const Words& words, const std::string& name) {
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    if (words[i] != name) continue;
    const std::string& next = words[i + 1];
    if (next == "--" && i + 2 < words.size()) return words[i + 2];
    return next.rfind('-', 0) == 0 ? "" : next;
  }
  return "";
}

Words modelOptions(const Words& words, const std::string& name) {
  Words values;
  bool collecting = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (words[i] == name) {
      collecting = true;
      continue;
    }
    if (!collecting) continue;
    if (words[i] == "--" && i + 1 < words.size()) {
      values.push_back(words[++i]);
      continue;
    }
    if (words[i].rfind('-', 0) == 0) {
      collecting = false;
      continue;
    }
    values.push_back(words[i]);
  }
  return values;
}

TEST(ArgsOptions, AgreesWithItsDescription) {
  const Words vocabulary = {"-h", "-v", "--", "-", "a", "b", ""};
  std::mt19937 random(81);
  for (int round = 0; round < 5000; ++round) {
    Words words(random() % 8);
    for (std::string& word : words) word = vocabulary[random() % vocabulary.size()];
    CommandLine line(words);
    for (const std::string& name : vocabulary) {
      ASSERT_EQ(modelOption(words, name), line.options().getOption(name))
          << ::testing::PrintToString(words) << " " << name;
      const std::list<std::string> values = line.options().getOptions(name);
      ASSERT_EQ(modelOptions(words, name), Words(values.begin(), values.end()))
          << ::testing::PrintToString(words) << " " << name;
    }
  }
}

}  // namespace
