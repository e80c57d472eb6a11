// Compares the command-line reader with a plain model, on any arguments.
#include <algorithm>
#include <iterator>
#include <list>
#include <string>
#include <vector>

#include "ArgsOptions.h"
#include "support/expect.h"
#include "support/input.h"

namespace {

using commutil_fuzz::expectEqual;
using Words = std::vector<std::string>;

bool isOption(const std::string& word) { return !word.empty() && word.front() == '-'; }

std::string modelGetOption(const Words& words, const std::string& name) {
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    if (words[i] != name) continue;
    if (words[i + 1] == "--" && i + 2 < words.size()) return words[i + 2];
    return isOption(words[i + 1]) ? "" : words[i + 1];
  }
  return "";
}

std::list<std::string> modelGetOptions(const Words& words, const std::string& name) {
  std::list<std::string> values;
  bool collecting = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (words[i] == name) {
      collecting = true;
    } else if (collecting && words[i] == "--" && i + 1 < words.size()) {
      values.push_back(words[++i]);
    } else if (isOption(words[i])) {
      collecting = false;
    } else if (collecting) {
      values.push_back(words[i]);
    }
  }
  return values;
}

void check(const ArgsOptions& options, const Words& words, const std::string& name) {
  expectEqual(options.hasOption(name), std::count(words.begin(), words.end(), name) > 0,
              "hasOption");
  expectEqual(options.getOption(name), modelGetOption(words, name), "getOption");
  expectEqual(options.getOptions(name), modelGetOptions(words, name), "getOptions");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::string name = input.field();
  Words words;
  while (!input.empty()) words.push_back(input.cText());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());

  const int argc = static_cast<int>(argv.size());
  const ArgsOptions options(argc, argv.data());
  check(options, words, name);
  for (const std::string& word : words) check(options, words, word);

  std::list<std::string> flags;
  std::copy_if(words.begin(), words.end(), std::back_inserter(flags), isOption);
  expectEqual(options.getFlags(), flags, "getFlags");
  expectEqual(options.numberOfOptions(), static_cast<int>(flags.size()), "numberOfOptions");
  expectEqual(options.numberOfargs(), argc, "numberOfargs");
}
