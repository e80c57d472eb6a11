// Four queries of a command line (presence of an option, its value, its values, the flags) against
// getopt_long and GOption, which parse the line once. The limit compares every argument four times.
#include <benchmark/benchmark.h>
#include <getopt.h>
#include <glib.h>

#include <cstring>
#include <list>
#include <string>
#include <vector>

#include "ArgsOptions.h"
#include "support/cells.h"

namespace {

/// A command line: "prog", then options each with a value, then "--target" with its two.
class CommandLine {
 public:
  explicit CommandLine(std::size_t words) {
    m_words.emplace_back("prog");
    while (m_words.size() + 5 < words) {
      m_words.emplace_back("--other");
      m_words.emplace_back("value");
    }
    for (const char* const word : {"--verbose", "--target", "host1", "host2"}) {
      m_words.emplace_back(word);
    }
    while (m_words.size() < words) m_words.emplace_back("host3");
    for (std::string& word : m_words) m_argv.push_back(word.data());
    m_argv.push_back(nullptr);
  }

  int argc() const { return static_cast<int>(m_words.size()); }
  /// Parsers reorder the arguments, so each parse takes a copy.
  std::vector<char*> argv() const { return m_argv; }

 private:
  std::vector<std::string> m_words;
  std::vector<char*> m_argv;
};

void queryOurs(benchmark::State& state, std::size_t words) {
  const CommandLine line(words);
  std::vector<char*> argv = line.argv();
  const ArgsOptions options(line.argc(), argv.data());
  const std::string verbose = "--verbose";
  const std::string target = "--target";
  for (auto _ : state) {
    benchmark::DoNotOptimize(options.hasOption(verbose));
    benchmark::DoNotOptimize(options.getOption(target));
    benchmark::DoNotOptimize(options.getOptions(target));
    benchmark::DoNotOptimize(options.numberOfOptions());
  }
}

void parseGetopt(benchmark::State& state, std::size_t words) {
  const CommandLine line(words);
  const option known[] = {{"verbose", no_argument, nullptr, 'v'},
                          {"target", required_argument, nullptr, 't'},
                          {"other", required_argument, nullptr, 'o'},
                          {nullptr, 0, nullptr, 0}};
  for (auto _ : state) {
    std::vector<char*> argv = line.argv();
    bool verbose = false;
    int flags = 0;
    std::string target;
    std::list<std::string> targets;
    optind = 0;
    for (int found = 0; (found = ::getopt_long(line.argc(), argv.data(), "", known, nullptr)) != -1;
         ++flags) {
      if (found == 'v') verbose = true;
      if (found == 't') targets.emplace_back(target = optarg);
    }
    for (int i = optind; i < line.argc(); ++i) {
      targets.emplace_back(argv[static_cast<std::size_t>(i)]);
    }
    benchmark::DoNotOptimize(verbose);
    benchmark::DoNotOptimize(flags);
    benchmark::DoNotOptimize(target);
    benchmark::DoNotOptimize(targets);
  }
}

void parseGoption(benchmark::State& state, std::size_t words) {
  const CommandLine line(words);
  for (auto _ : state) {
    std::vector<char*> argv = line.argv();
    gboolean verbose = FALSE;
    gchar* target = nullptr;
    gchar* other = nullptr;
    const GOptionEntry known[] = {
        {"verbose", 'v', 0, G_OPTION_ARG_NONE, &verbose, nullptr, nullptr},
        {"target", 't', 0, G_OPTION_ARG_STRING, &target, nullptr, nullptr},
        {"other", 'o', 0, G_OPTION_ARG_STRING, &other, nullptr, nullptr},
        {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
    GOptionContext* const context = g_option_context_new(nullptr);
    g_option_context_add_main_entries(context, known, nullptr);
    int argc = line.argc();
    char** words_left = argv.data();
    g_option_context_parse(context, &argc, &words_left, nullptr);
    g_option_context_free(context);
    g_free(target);
    g_free(other);
    benchmark::DoNotOptimize(verbose);
  }
}

void compareWords(benchmark::State& state, std::size_t words) {
  const CommandLine line(words);
  std::vector<char*> argv = line.argv();
  for (auto _ : state) {
    int equal = 0;
    for (const char* const name : {"--verbose", "--target", "--target", "--"}) {
      for (int i = 0; i < line.argc(); ++i) {
        equal += std::strcmp(argv[static_cast<std::size_t>(i)], name) == 0 ? 1 : 0;
      }
    }
    benchmark::DoNotOptimize(equal);
  }
}

// All arguments after the first two are values of the one option.
void collectOurs(benchmark::State& state, std::size_t words) {
  std::vector<std::string> texts(words, "value");
  texts[0] = "-v";
  std::vector<char*> argv;
  argv.reserve(texts.size());
  for (std::string& text : texts) argv.push_back(text.data());
  const ArgsOptions options(static_cast<int>(argv.size()), argv.data());
  const std::string name = "-v";
  for (auto _ : state) benchmark::DoNotOptimize(options.getOptions(name));
}

void buildList(benchmark::State& state, std::size_t words) {
  const std::vector<std::string> texts(words - 1, "value");
  for (auto _ : state) {
    std::list<std::string> values;
    for (const std::string& text : texts) values.emplace_back(text.c_str());
    benchmark::DoNotOptimize(values);
  }
}

void add(const std::string& name, void (*run)(benchmark::State&, std::size_t), std::size_t words) {
  commutil_bench::add(name, [=](benchmark::State& state) { run(state, words); });
}

const bool kRegistered = [] {
  for (const std::size_t words : {std::size_t{10}, std::size_t{100}, std::size_t{10000}}) {
    const std::string name = "args-queries/" + std::to_string(words) + "-words/";
    add(name + "ours", queryOurs, words);
    add(name + "getopt_long", parseGetopt, words);
    add(name + "goption", parseGoption, words);
    add(name + "limit:strcmp", compareWords, words);
  }
  add("args-values/10000-words/ours", collectOurs, 10000);
  add("args-values/10000-words/calls:list", buildList, 10000);
  return true;
}();

}  // namespace
