// The command line: how it is parsed, and the options that subcommands share. For one thread.
#include "tool.h"

#include <algorithm>
#include <string_view>

#include "output.h"
#include "subcommands.h"

namespace {

/// Throws for a word that is in the place of a subcommand and is not one.
void requireSubcommands(const CLI::App& app, char** word, char** end) {
  std::vector<std::string> words;
  for (; word != end && **word != '-'; ++word) {
    words.emplace_back(*word);
    const Subcommand found = findSubcommand(app, words);
    if (!found.problem.empty()) throw CLI::ParseError(found.problem, CLI::ExitCodes::ExtrasError);
    if (subcommandNames(*found.app).empty()) return;
  }
}

void parseOptions(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ExtrasError& error) {
    const std::string suggestion = suggestOption(app);
    if (suggestion.empty()) throw;
    throw CLI::ParseError(error.what() + ("; did you mean " + suggestion + "?"),
                          CLI::ExitCodes::ExtrasError);
  }
}

}  // namespace

void Tool::parse(int argc, char** argv) {
  commandLine.assign(argv, argv + argc);
  char** const end = argv + argc;
  char** const mark = std::find(argv, end, std::string_view("--"));
  setJson(std::find(argv, mark, std::string_view("--json")) != mark);
  requireSubcommands(app, std::min(argv + 1, mark), mark);
  const auto taker = argc > 1 ? m_takers.find(argv[1]) : m_takers.end();
  if (taker == m_takers.end()) return parseOptions(app, argc, argv);
  parseOptions(app, static_cast<int>(mark - argv), argv);
  if (end - mark < 2) throw CLI::RequiredError("-- COMMAND");
  taker->second->assign(mark + 1, end);
}

int Tool::printHelp(const std::vector<std::string>& words) const {
  const Subcommand found = findSubcommand(app, words);
  if (!found.problem.empty()) return fail(found.problem, kWrongUse);
  const std::string name = app.get_name() + (found.path.empty() ? "" : " ") + found.path;
  printBytes(app.get_formatter()->make_help(found.app, name, CLI::AppFormatMode::Normal));
  return kOk;
}

void addHelp(Tool& tool) {
  struct HelpOptions {
    std::vector<std::string> words;
  };
  tool.add<HelpOptions>(
      tool.app, "help", "Print the help of the command or of a subcommand: help ip check",
      [](CLI::App& subcommand, HelpOptions& options) {
        subcommand.add_option("SUBCOMMAND", options.words, "The subcommand's words")->type_name("");
      },
      [&tool](const HelpOptions& options) { return tool.printHelp(options.words); });
}

void addJsonFlag(CLI::App& subcommand, bool& json) {
  subcommand.add_flag("--json", json,
                      "Print JSON; bytes that are not UTF-8 are written as \\u00XX");
}

void addOperand(CLI::App& subcommand, const char* name, std::string& value, const char* purpose) {
  subcommand.add_option(name, value, purpose)->required()->type_name("");
}
