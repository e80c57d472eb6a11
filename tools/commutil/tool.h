#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "arguments.h"

/// The exit codes. `Command::exitCodes` of each subcommand says what they mean, for the help and
/// the man page.
enum ExitCode : int {
  kOk = 0,
  kNo = 1,
  kWrongUse = 2,
  kBusy = 75,            ///< EX_TEMPFAIL of sysexits.h
  kNotExecutable = 126,  ///< as a shell's
  kNotFound = 127,       ///< as a shell's
};

/// The command with all its subcommands, and the command line that it was started with.
class Tool {
 public:
  explicit Tool(std::vector<std::string> words);
  Tool(const Tool&) = delete;
  Tool& operator=(const Tool&) = delete;

  /// Adds a subcommand below `parent`. Its values live in an `Options` whose members
  /// `describe(subcommand, options)` makes the destinations of its arguments, and which
  /// `run(options)` reads.
  template <class Options, class Describe, class Run>
  Command& add(Command& parent, const char* name, const char* purpose, Describe describe, Run run) {
    const auto options = std::make_shared<Options>();
    Command& subcommand = addGroup(parent, name, purpose);
    describe(subcommand, *options);
    subcommand.run = [options, run] { return run(*options); };
    return subcommand;
  }

  /// Adds a subcommand that only groups others.
  static Command& addGroup(Command& parent, const char* name, const char* purpose) {
    Command& group = parent.subcommands.emplace_back();
    group.name = name;
    group.purpose = purpose;
    return group;
  }

  /// Parses the command line and runs what it asks for. Returns the exit code.
  int runCommandLine();

  Command command;
  const std::vector<std::string> words;  ///< the command line, the command's name first
};

/// Returns the option that selects JSON instead of plain text.
Argument jsonFlag(bool& json);

/// Returns a required operand, a word of the command line that is not an option.
Argument operand(const char* name, std::string& value, const char* purpose);

// The families' subcommands, each defined in the source of its name.
void addBase64(Tool& tool);
void addCheck(Tool& tool);
void addCommand(Tool& tool);
void addExpand(Tool& tool);
void addExplain(Tool& tool);
void addIdentifiers(Tool& tool);
void addNetwork(Tool& tool);
void addPathSafety(Tool& tool);
void addProcessLock(Tool& tool);
void addQueryText(Tool& tool);
void addReport(Tool& tool);
void addSettings(Tool& tool);
void addSslConf(Tool& tool);
void addUnsafeWord(Tool& tool);
