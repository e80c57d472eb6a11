#include "arguments.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <sstream>
#include <string_view>

#include "settings/accepted.h"
#include "settings/edit_distance.h"

namespace {

using Words = std::vector<std::string>;

std::string joined(const Words& words, const char* separator) {
  std::string text;
  for (const std::string& word : words) text.append(text.empty() ? "" : separator).append(word);
  return text;
}

CLI::Option* addTo(CLI::App& app, const Argument& argument) {
  return std::visit(
      [&](auto* value) -> CLI::Option* {
        if constexpr (std::is_same_v<decltype(value), bool*>) {
          return app.add_flag(argument.name, *value, argument.purpose);
        } else {
          return app.add_option(argument.name, *value, argument.purpose);
        }
      },
      argument.value);
}

std::string whole(double number) { return std::to_string(static_cast<long>(number)); }

/// Returns why `text` is not a number that `argument` accepts, "" if it is.
std::string numberProblem(const Argument& argument, const std::string& text) {
  const bool isWhole = !std::holds_alternative<double*>(argument.value);
  const Range& range = *argument.range;
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
  const bool isNumber = error == std::errc() && rest == end;
  const bool isDigits = text.find_first_not_of("0123456789") == std::string::npos;
  if (isNumber && (isDigits || !isWhole) && number >= range.lowest && number <= range.highest)
    return {};
  std::ostringstream lowest;
  lowest << range.lowest;
  return "\"" + text + "\": takes a " + (isWhole ? "whole " : "") + "number from " + lowest.str() +
         " to " + whole(range.highest);
}

/// Returns why `text` is not a word that `argument` accepts, "" if it is.
std::string wordProblem(const Argument& argument, const std::string& text) {
  const settings::Verdict verdict = settings::checkValue(
      {settings::Form::word, {argument.words.begin(), argument.words.end()}}, text);
  return verdict.accepted() ? "" : "\"" + text + "\": " + verdict.message();
}

void describeArgument(CLI::App& app, const Argument& argument) {
  CLI::Option* const option = addTo(app, argument);
  if (argument.required) option->required();
  if (!argument.isOption()) option->type_name("");
  if (!argument.valueName.empty()) option->type_name(argument.valueName);
  if (argument.hidden) option->group("");
  const auto check = [&](std::function<std::string(const std::string&)> problemOf) {
    option->check(CLI::Validator(std::move(problemOf), ""));
  };
  if (argument.problemOf) check(argument.problemOf);
  if (argument.range)
    check([&argument](const std::string& text) { return numberProblem(argument, text); });
  if (argument.words.empty()) return;
  option->type_name(joined(argument.words, "|"));
  check([&argument](const std::string& text) { return wordProblem(argument, text); });
}

/// Appends the exit codes and the notes, in lines of at most 99 characters.
std::string footerOf(const Command& command, const std::string& notes) {
  constexpr std::size_t kWidth = 99;
  std::string text;
  std::string line = "Exit codes:";
  for (const ExitStatus& status : command.exitCodes) {
    const bool last = &status == &command.exitCodes.back();
    std::istringstream words(status.code + " " + status.meaning + (last ? "." : ";"));
    for (std::string word; words >> word;) {
      if (line.size() + 1 + word.size() > kWidth) {
        text += line + "\n";
        line = word;
      } else {
        line += " " + word;
      }
    }
  }
  return text + line + (notes.empty() ? "" : "\n") + notes;
}

/// Adds what `command` describes to the parser's `app`.
void describe(CLI::App& app, const Command& command, const std::string& inherited) {
  const std::string& notes = command.notes.empty() ? inherited : command.notes;
  if (!command.alternatives.empty()) {
    CLI::Option_group* const group = app.add_option_group("use");
    for (const Argument& argument : command.alternatives) describeArgument(*group, argument);
    group->require_option(1);
  }
  for (const Argument& argument : command.arguments) describeArgument(app, argument);
  // Subcommands without exit codes inherit this.
  if (!command.exitCodes.empty()) app.footer(footerOf(command, notes));
  if (!command.subcommands.empty()) app.require_subcommand(1);
  for (const Command& subcommand : command.subcommands)
    describe(*app.add_subcommand(subcommand.name, subcommand.purpose), subcommand, notes);
}

std::unique_ptr<CLI::App> parserOf(const Command& root, const std::string& version) {
  auto app = std::make_unique<CLI::App>(root.purpose, root.name);
  app->set_version_flag("--version", version);
  describe(*app, root, root.notes);
  return app;
}

/// Returns the subcommand that `path` names.
const Command& commandAt(const Command& root, const Words& path) {
  const Command* command = &root;
  std::string prefix;
  for (const std::string& word : path) {
    const Command* const next = command->find(word);
    if (next == nullptr) {
      std::vector<std::string_view> names;
      for (const Command& subcommand : command->subcommands) names.emplace_back(subcommand.name);
      const std::string_view meant = settings::nearest(word, names);
      std::string fault = "there is no subcommand \"";
      fault.append(prefix).append(word).append("\"");
      if (!meant.empty())
        fault.append("; did you mean \"").append(prefix).append(meant).append("\"?");
      throw WrongUse(fault);
    }
    command = next;
    prefix.append(word).append(" ");
  }
  return *command;
}

/// Returns the words at the front of a command line that choose a subcommand.
/// @throws WrongUse for a word that should be a subcommand and is not
Words pathOf(const Command& root, Words::const_iterator word, Words::const_iterator end) {
  Words path;
  const Command* command = &root;
  for (; word != end && word->rfind('-', 0) != 0 && !command->subcommands.empty(); ++word) {
    path.push_back(*word);
    command = &commandAt(root, path);
  }
  return path;
}

/// Returns the option of `command` that the first unknown one is probably meant to be.
std::string nearestOption(const Command& command, const Words& unknown) {
  const auto word = std::find_if(unknown.begin(), unknown.end(),
                                 [](const std::string& text) { return text.rfind("--", 0) == 0; });
  if (word == unknown.end()) return {};
  std::vector<std::string_view> names{"--help"};
  for (const auto* const arguments : {&command.alternatives, &command.arguments}) {
    for (const Argument& argument : *arguments)
      if (argument.isOption() && !argument.hidden) names.emplace_back(argument.name);
  }
  return std::string(settings::nearest(*word, names));
}

/// Returns the argument of `command` with which a message of the parser begins, null if none.
const Argument* argumentIn(const Command& command, const std::string& message) {
  for (const auto* const arguments : {&command.alternatives, &command.arguments}) {
    for (const Argument& argument : *arguments)
      if (message.rfind(argument.name + ": ", 0) == 0) return &argument;
  }
  return nullptr;
}

/// Returns why an option has too few or too many values.
std::string countProblem(const Command& command, const std::string& message) {
  const Argument* const argument = argumentIn(command, message);
  if (argument == nullptr) return message;
  if (message.find(" missing") == std::string::npos) return argument->name + " is given twice";
  const std::string value =
      argument->words.empty() ? argument->valueName : joined(argument->words, "|");
  return argument->name + " lacks its value: " + argument->name + " " + value;
}

/// Returns why a subcommand is missing.
std::string subcommandProblem(const Command& command) {
  std::vector<std::string> names;
  for (const Command& subcommand : command.subcommands) names.push_back(subcommand.name);
  return "a subcommand is required: " + joined(names, ", ");
}

std::string textOf(const CLI::App& app, const CLI::Success& request) {
  std::ostringstream text;
  app.exit(request, text, text);
  return text.str();
}

}  // namespace

const Command* Command::find(const std::string& word) const {
  const auto found =
      std::find_if(subcommands.begin(), subcommands.end(),
                   [&](const Command& subcommand) { return subcommand.name == word; });
  return found == subcommands.end() ? nullptr : &*found;
}

Invocation parse(const Command& root, const std::string& version, const Words& words) {
  // The words of a command to run bypass the parser, which would split some of them.
  const auto mark = std::find(words.begin(), words.end(), "--");
  const Command& command =
      commandAt(root, pathOf(root, words.begin() + (words.empty() ? 0 : 1), mark));
  Words parsed(words.begin(), command.taken != nullptr ? mark : words.end());
  std::reverse(parsed.begin(), parsed.end());  // the order that the parser expects
  if (!parsed.empty()) parsed.pop_back();
  const std::unique_ptr<CLI::App> app = parserOf(root, version);
  try {
    app->parse(std::move(parsed));
  } catch (const CLI::Success& request) {
    return {nullptr, textOf(*app, request)};
  } catch (const CLI::ExtrasError& error) {
    if (&command == &root)
      throw WrongUse(error.what() + std::string("; options follow the subcommand"));
    const std::string meant = nearestOption(command, app->remaining(true));
    throw WrongUse(error.what() + (meant.empty() ? "" : "; did you mean " + meant + "?"));
  } catch (const CLI::ArgumentMismatch& error) {
    throw WrongUse(countProblem(command, error.what()));
  } catch (const CLI::ParseError& error) {
    throw WrongUse(command.subcommands.empty() ? error.what() : subcommandProblem(command));
  }
  if (command.taken == nullptr) return {&command, ""};
  if (words.end() - mark < 2) throw WrongUse(CLI::RequiredError("-- COMMAND").what());
  command.taken->assign(mark + 1, words.end());
  return {&command, ""};
}

std::string helpOf(const Command& root, const Words& path) {
  commandAt(root, path);
  const std::unique_ptr<CLI::App> app = parserOf(root, "");
  const CLI::App* asked = app.get();
  std::string name = root.name;
  for (const std::string& word : path) {
    asked = asked->get_subcommand(word);
    name += " " + word;
  }
  return app->get_formatter()->make_help(asked, name, CLI::AppFormatMode::Normal);
}
