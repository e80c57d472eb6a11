#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// The exit codes of every subcommand that does not document more.
enum ExitCode : int { kOk = 0, kNo = 1, kWrongUse = 2 };

/// The command line, and what the chosen subcommand does once the whole of it is understood.
struct Tool {
  CLI::App app{"Shows on a live host what a service gets from the common utility library.",
               "commutil"};
  std::function<int()> action;
  std::vector<std::string> commandLine;  ///< the whole command line, the command's name first

  /// Adds a subcommand below `parent`. Its values live in an `Options` that `configure(subcommand,
  /// options)` binds to its options and that `run(options)`, which returns the exit code, reads.
  template <class Options, class Configure, class Run>
  CLI::App* add(CLI::App& parent, const char* name, const char* purpose, Configure configure,
                Run run) {
    const auto options = std::make_shared<Options>();
    CLI::App* const subcommand = parent.add_subcommand(name, purpose);
    configure(*subcommand, *options);
    subcommand->callback([this, options, run] { action = [=] { return run(*options); }; });
    return subcommand;
  }

  /// Lets `subcommand` be followed by "--" and the words of a command, which go to `words`.
  void takeCommand(CLI::App& subcommand, std::vector<std::string>& words) {
    m_takers[subcommand.get_name()] = &words;
  }

  /// Parses the command line. The words of a command never pass through the parser, which would
  /// take some of them apart.
  /// @throws CLI::ParseError for wrong use, help and version
  void parse(int argc, char** argv);

  /// Prints the help of the subcommand that `words` name. Returns the exit code.
  int printHelp(const std::vector<std::string>& words) const;

 private:
  std::map<std::string, std::vector<std::string>*> m_takers;
};

/// Adds the option that chooses between plain text and JSON.
void addJsonFlag(CLI::App& subcommand, bool& json);

/// Adds a required operand: a word of the command line that is no option.
void addOperand(CLI::App& subcommand, const char* name, std::string& value, const char* purpose);

// The families' subcommands, each from the source of its name.
void addBase64(Tool& tool);
void addCheck(Tool& tool);
void addCommand(Tool& tool);
void addExpand(Tool& tool);
void addExplain(Tool& tool);
void addHelp(Tool& tool);
void addIdentifiers(Tool& tool);
void addNetwork(Tool& tool);
void addPathSafety(Tool& tool);
void addProcessLock(Tool& tool);
void addQueryText(Tool& tool);
void addReport(Tool& tool);
void addSettings(Tool& tool);
void addSslConf(Tool& tool);
void addUnsafeWord(Tool& tool);
