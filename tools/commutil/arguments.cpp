#include "arguments.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>
#include <string_view>

#include "settings/edit_distance.h"

namespace {

using Words = std::vector<std::string>;

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

void describeArgument(CLI::App& app, const Argument& argument) {
  CLI::Option* const option = addTo(app, argument);
  if (argument.required) option->required();
  if (!argument.isOption()) option->type_name("");
  if (!argument.valueName.empty()) option->type_name(argument.valueName);
  if (argument.hidden) option->group("");
  if (!argument.words.empty()) option->check(CLI::IsMember(argument.words));
  if (argument.problemOf) option->check(CLI::Validator(argument.problemOf, ""));
  if (argument.range)
    option->check(
        CLI::Range(argument.range->lowest, argument.range->highest, argument.range->label));
}

/// Fills the parser's `app` with what `command` describes.
void describe(CLI::App& app, const Command& command) {
  if (!command.alternatives.empty()) {
    CLI::Option_group* const group = app.add_option_group("use");
    for (const Argument& argument : command.alternatives) describeArgument(*group, argument);
    group->require_option(1);
  }
  for (const Argument& argument : command.arguments) describeArgument(app, argument);
  if (!command.footer.empty()) app.footer(command.footer);
  if (!command.subcommands.empty()) app.require_subcommand(1);
  for (const Command& subcommand : command.subcommands)
    describe(*app.add_subcommand(subcommand.name, subcommand.purpose), subcommand);
}

std::unique_ptr<CLI::App> parserOf(const Command& root, const std::string& version) {
  auto app = std::make_unique<CLI::App>(root.purpose, root.name);
  app->set_version_flag("--version", version);
  describe(*app, root);
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
      throw WrongUse(
          "there is no subcommand \"" + prefix + word + "\"" +
          (meant.empty() ? "" : "; did you mean \"" + prefix + std::string(meant) + "\"?"));
    }
    command = next;
    prefix += word + " ";
  }
  return *command;
}

/// Returns the words at the front of a command line that choose a subcommand.
/// @throws WrongUse for a word that is in the place of a subcommand and is not one
Words pathOf(const Command& root, Words::const_iterator word, Words::const_iterator end) {
  Words path;
  const Command* command = &root;
  for (; word != end && word->rfind('-', 0) != 0 && !command->subcommands.empty(); ++word) {
    path.push_back(*word);
    command = &commandAt(root, path);
  }
  return path;
}

/// Returns the option of `command` that the first unknown one may have been meant to be.
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
  // The words of a command never pass through the parser, which would take some of them apart.
  const auto mark = std::find(words.begin(), words.end(), "--");
  const Command& command =
      commandAt(root, pathOf(root, words.begin() + (words.empty() ? 0 : 1), mark));
  Words parsed(words.begin(), command.taken != nullptr ? mark : words.end());
  std::reverse(parsed.begin(), parsed.end());  // as the parser wants them, without its own name
  if (!parsed.empty()) parsed.pop_back();
  const std::unique_ptr<CLI::App> app = parserOf(root, version);
  try {
    app->parse(std::move(parsed));
  } catch (const CLI::Success& request) {
    return {nullptr, textOf(*app, request)};
  } catch (const CLI::ExtrasError& error) {
    const std::string meant = nearestOption(command, app->remaining(true));
    throw WrongUse(error.what() + (meant.empty() ? "" : "; did you mean " + meant + "?"));
  } catch (const CLI::ParseError& error) {
    throw WrongUse(error.what());
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
