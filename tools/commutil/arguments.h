#pragma once

#include <functional>
#include <limits>
#include <list>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

// The command line as data: the subcommands with their options and operands. Help, completion and
// the man page are generated from it. Only arguments.cpp includes the parser, which compiles
// slowly.

/// The destination of a value. Its type decides which strings are accepted; a bool is a flag.
using Destination =
    std::variant<bool*, int*, unsigned*, long*, double*, std::string*, std::optional<int>*,
                 std::optional<std::string>*, std::vector<std::string>*>;

/// The numbers that are accepted.
struct Range {
  double lowest = 0;
  double highest = std::numeric_limits<int>::max();
};

/// What a shell completes a value with.
enum class Completion { nothing, file, directory, answer, setting, subcommand };

/// An option ("--wait") or an operand ("KEY").
struct Argument {
  std::string name;
  Destination value;
  std::string purpose;
  std::string valueName{};  ///< "N"
  std::string details{};    ///< further sentences for the man page
  bool required = false;
  bool hidden = false;               ///< from help and completion
  std::vector<std::string> words{};  ///< if not empty: the only values that are accepted
  std::optional<Range> range{};
  std::function<std::string(const std::string&)> problemOf{};  ///< returns "" for a good value
  Completion completion = Completion::nothing;

  bool isOption() const { return name.front() == '-'; }
  bool isList() const { return std::holds_alternative<std::vector<std::string>*>(value); }
  bool isFlag() const { return std::holds_alternative<bool*>(value); }
};

/// An exit code and what it means.
struct ExitStatus {
  std::string code;
  std::string meaning;
};

/// The command itself or a subcommand.
struct Command {
  std::string name;
  std::string purpose;
  std::vector<ExitStatus> exitCodes{};   ///< if empty: the command's
  std::string notes{};                   ///< ends the help of the command and its subcommands
  std::vector<Argument> arguments{};     ///< in the order of the help
  std::vector<Argument> alternatives{};  ///< options of which exactly one is given
  std::list<Command> subcommands{};      ///< if not empty: one of them is chosen
  std::vector<std::string>* taken{};     ///< takes the command that follows "--"
  std::function<int()> run{};            ///< returns the exit code

  /// Returns the subcommand `word`, null if there is none.
  const Command* find(const std::string& word) const;
};

/// A command line that no subcommand accepts; what() says why.
class WrongUse : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a command line requests.
struct Invocation {
  const Command* command;  ///< to run, its values are set; null for help and the version
  std::string text;        ///< to print instead
};

/// Parses `words`, the first of which is the command's name.
/// @throws WrongUse
Invocation parse(const Command& root, const std::string& version,
                 const std::vector<std::string>& words);

/// Returns the help of the subcommand of `root` that `path` names.
/// @throws WrongUse if there is none
std::string helpOf(const Command& root, const std::vector<std::string>& path);
