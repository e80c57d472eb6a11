// The command line: how it is parsed, and the options that subcommands share. For one thread.
#include "tool.h"

#include <algorithm>
#include <string_view>

void Tool::parse(int argc, char** argv) {
  commandLine.assign(argv, argv + argc);
  const auto taker = argc > 1 ? m_takers.find(argv[1]) : m_takers.end();
  if (taker == m_takers.end()) return app.parse(argc, argv);
  char** const end = argv + argc;
  char** const mark = std::find(argv, end, std::string_view("--"));
  app.parse(static_cast<int>(mark - argv), argv);
  if (end - mark < 2) throw CLI::RequiredError("-- COMMAND");
  taker->second->assign(mark + 1, end);
}

void addJsonFlag(CLI::App& subcommand, bool& json) {
  subcommand.add_flag("--json", json,
                      "Print JSON; bytes that are not UTF-8 are written as \\u00XX");
}

void addOperand(CLI::App& subcommand, const char* name, std::string& value, const char* purpose) {
  subcommand.add_option(name, value, purpose)->required()->type_name("");
}
