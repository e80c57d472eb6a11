// The man page: its prose, with what is generated from the subcommands.
#include <cctype>
#include <set>
#include <sstream>
#include <stdexcept>

#include "documents.h"
#include "settings/catalog.h"
#include "settings/prose.h"

namespace {

using settings::manEscaped;

std::string bold(std::string_view text) { return "\\fB" + manEscaped(text) + "\\fR"; }

std::string italic(std::string_view text) { return "\\fI" + manEscaped(text) + "\\fR"; }

std::string joined(const std::vector<std::string>& words, const std::string& separator) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : separator) + word;
  return text;
}

/// "--wait N" or "--syntax paren|percent|brace", with fonts.
std::string optionText(const Argument& option) {
  std::string text = bold(option.name);
  if (option.isFlag()) return text;
  if (option.words.empty()) return text + " " + italic(option.valueName);
  std::vector<std::string> words;
  for (const std::string& word : option.words) words.push_back(bold(word));
  return text + " " + joined(words, "|");
}

std::string synopsisOf(const Command& command, const std::string& path) {
  std::string line = bold("commutil " + path);
  std::vector<std::string> alternatives;
  for (const Argument& option : command.alternatives) alternatives.push_back(optionText(option));
  if (!alternatives.empty()) line += " " + joined(alternatives, "|");
  std::string operands;
  for (const Argument& argument : command.arguments) {
    if (argument.hidden) continue;
    std::string& part = argument.isOption() ? line : operands;
    std::string text = argument.isOption() ? optionText(argument) : italic(argument.name);
    if (argument.isList()) text += "...";
    part += argument.required ? " " + text : " [" + text + "]";
  }
  line += operands;
  if (command.taken != nullptr) line += " " + bold("--") + " " + italic("COMMAND") + "...";
  return line + "\n";
}

std::string synopsis(const Command& root) {
  std::string text = ".nf\n";
  forEachCommand(root, [&](const Command& command, const std::string& path) {
    if (command.subcommands.empty()) text += synopsisOf(command, path);
  });
  return text + ".fi\n";
}

std::string optionsOf(const Command& command) {
  std::string text;
  for (const auto* const arguments : {&command.alternatives, &command.arguments}) {
    for (const Argument& option : *arguments) {
      if (!option.isOption() || option.hidden) continue;
      text += ".TP\n" + optionText(option) + "\n" + manEscaped(option.purpose) + ".\n";
      if (!option.details.empty()) text += manEscaped(option.details) + "\n";
      if (option.required) text += "Required.\n";
    }
  }
  return text;
}

std::string capitalized(std::string text) {
  text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
  return text;
}

/// The exit codes of all subcommands that list none.
std::string exitStatus(const Command& root) {
  std::string text;
  for (const ExitStatus& status : root.exitCodes)
    text += ".TP\n" + bold(status.code) + "\n" + manEscaped(capitalized(status.meaning)) + ".\n";
  return text + ".PP\nThe sections of subcommands list other exit codes.\n";
}

std::string exitCodesOf(const Command& command) {
  std::string list;
  for (const ExitStatus& status : command.exitCodes)
    list += (list.empty() ? "" : "; ") + status.code + " " + status.meaning;
  return list.empty() ? "" : ".PP\nExit codes: " + manEscaped(list) + ".\n";
}

std::string entriesOf(settings::Kind kind) {
  std::string text;
  for (const settings::Item* const item : settings::itemsOf(kind)) {
    text +=
        ".TP\n" + bold(item->name) + "\n" + capitalized(settings::manInline(item->meaning)) + ".\n";
  }
  return text;
}

/// The options of the subcommand `path`, which has a heading.
std::string takeOptions(const Command& root, const std::string& path, std::set<std::string>& left) {
  if (path.empty()) return {};
  if (left.erase(path) == 0) throw std::runtime_error("a heading names no subcommand: " + path);
  std::string text;
  forEachCommand(root, [&](const Command& command, const std::string& name) {
    if (name == path) text = optionsOf(command) + exitCodesOf(command);
  });
  return text;
}

}  // namespace

std::string manPage(const Command& root, std::string_view text) {
  std::set<std::string> left;
  forEachCommand(root, [&](const Command& command, const std::string& path) {
    if (command.subcommands.empty()) left.insert(path);
  });
  std::string page;
  std::string subcommand;
  std::istringstream lines{std::string(text)};
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(".S", 0) == 0) {
      page += takeOptions(root, subcommand, left);
      subcommand = line.rfind(".SS ", 0) == 0 ? line.substr(4) : "";
      page += subcommand.empty() ? line + "\n" : ".SS " + manEscaped(subcommand) + "\n";
    } else if (line == "@SYNOPSIS@") {
      page += synopsis(root);
    } else if (line == "@EXIT STATUS@") {
      page += exitStatus(root);
    } else if (line == "@ENVIRONMENT@") {
      page += entriesOf(settings::Kind::variable);
    } else if (line == "@FILES@") {
      page += entriesOf(settings::Kind::file) + entriesOf(settings::Kind::written);
    } else {
      page += line + "\n";
    }
  }
  if (!left.empty()) throw std::runtime_error("a subcommand has no heading: " + *left.begin());
  return page;
}
