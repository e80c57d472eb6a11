// The completion of bash, zsh and fish: the subcommands with their options, what their values and
// operands are, and the names of the catalog.
#include <set>
#include <string_view>

#include "documents.h"
#include "settings/pages.h"

namespace {

constexpr const char* kMade = "# Made by commutil-documents.\n";

std::string quoted(std::string_view text) {
  std::string result = "'";
  for (const char c : text) c == '\'' ? result += "'\\''" : result += c;
  return result + "'";
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::string joined(const std::set<std::string>& words) {
  return joined(std::vector<std::string>(words.begin(), words.end()));
}

std::vector<std::string> namesOf(const Command& command) {
  std::vector<std::string> names;
  for (const Command& subcommand : command.subcommands) names.push_back(subcommand.name);
  return names;
}

/// The options that are offered, but for --help and --version.
std::vector<const Argument*> optionsOf(const Command& command) {
  std::vector<const Argument*> options;
  for (const auto* const arguments : {&command.alternatives, &command.arguments}) {
    for (const Argument& argument : *arguments)
      if (argument.isOption() && !argument.hidden) options.push_back(&argument);
  }
  return options;
}

std::vector<const Argument*> operandsOf(const Command& command) {
  std::vector<const Argument*> operands;
  for (const Argument& argument : command.arguments)
    if (!argument.isOption()) operands.push_back(&argument);
  return operands;
}

std::vector<std::string> groupsOf(const Command& root) {
  std::vector<std::string> groups;
  for (const Command& subcommand : root.subcommands)
    if (!subcommand.subcommands.empty()) groups.push_back(subcommand.name);
  return groups;
}

/// The first sentence or line of a subcommand's purpose, without its period.
std::string titleOf(const std::string& purpose) {
  const std::string line = purpose.substr(0, purpose.find('\n'));
  const bool isSentence = line.size() > 1 && line.back() == '.' && line[line.size() - 2] != '.';
  return line.substr(0, line.size() - (isSentence ? 1 : 0));
}

// --- bash

/// The arguments of compgen for a value.
std::string bashValue(const Argument& argument) {
  if (!argument.words.empty()) return "-W " + quoted(joined(argument.words));
  switch (argument.completion) {
    case Completion::file:
      return "-f";
    case Completion::directory:
      return "-d";
    case Completion::answer:
      return "-W " + quoted(joined(settings::answerNames()));
    case Completion::setting:
      return "-W " + quoted(joined(settings::settingNames()));
    case Completion::subcommand:
    case Completion::nothing:
      return "-W ''";
  }
  return {};
}

std::string bashWords(const Command& command, const std::string& path) {
  std::vector<std::string> words = namesOf(command);
  for (const Argument* const option : optionsOf(command)) words.push_back(option->name);
  words.emplace_back("--help");
  if (path.empty()) words.emplace_back("--version");
  if (command.taken != nullptr) words.emplace_back("--");
  return "    " + quoted(path) + ") echo " + joined(words) + " ;;\n";
}

std::string bashOperands(const Command& command, const std::string& path) {
  for (const Argument* const operand : operandsOf(command)) {
    if (operand->completion == Completion::nothing || operand->completion == Completion::subcommand)
      continue;
    return "    " + quoted(path) + ") set -- " + bashValue(*operand) + " ;;\n";
  }
  return {};
}

// --- zsh

/// Escapes what _arguments takes apart.
std::string zshText(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') result += '\\';
    result += c;
  }
  return result;
}

/// The action of _arguments for a value.
std::string zshValue(const Argument& argument) {
  if (!argument.words.empty()) return "(" + joined(argument.words) + ")";
  switch (argument.completion) {
    case Completion::file:
      return "_files";
    case Completion::directory:
      return "_files -/";
    case Completion::answer:
      return "(" + joined(settings::answerNames()) + ")";
    case Completion::setting:
      return "(" + joined(settings::settingNames()) + ")";
    case Completion::subcommand:
      return "_commutil_path";
    case Completion::nothing:
      return {};
  }
  return {};
}

std::string zshFunction(const std::string& path) {
  std::string name = path.empty() ? "_commutil" : "_commutil_";
  for (const char c : path) name += c == ' ' || c == '-' ? '_' : c;
  return name;
}

std::string zshName(const Argument& option) {
  return option.valueName.empty() ? option.name.substr(2) : option.valueName;
}

std::string zshLeaf(const Command& command) {
  std::string text = "  _arguments -S";
  const auto add = [&](const std::string& spec) { text += " \\\n    " + quoted(spec); };
  for (const Argument* const option : optionsOf(command)) {
    const std::string value =
        option->isFlag() ? "" : ":" + zshText(zshName(*option)) + ":" + zshValue(*option);
    add(option->name + (option->isFlag() ? "" : "=") + "[" + zshText(option->purpose) + "]" +
        value);
  }
  add("(- *)--help[print the help]");
  std::size_t position = 0;
  for (const Argument* const operand : operandsOf(command)) {
    const std::string place = operand->isList() ? "*" : std::to_string(++position);
    add(place + ":" + zshText(operand->name) + ":" + zshValue(*operand));
  }
  if (command.taken != nullptr) {
    add(std::to_string(position + 1) + ":command:_command_names -e");
    add("*::argument:_normal");
  }
  return text + "\n";
}

std::string zshGroup(const Command& command, const std::string& path) {
  std::string text = "  local curcontext=$curcontext state line\n  local -a names=(";
  for (const Command& subcommand : command.subcommands)
    text += "\n    " + quoted(zshText(subcommand.name) + ":" + titleOf(subcommand.purpose));
  text += "\n  )\n  _arguments -C '(- *)--help[print the help]' ";
  if (path.empty()) text += "'(- *)--version[print the version]' ";
  text +=
      "'1:subcommand:->name' '*::argument:->rest'\n"
      "  case $state in\n"
      "    name) _describe subcommand names ;;\n"
      "    rest)\n      case $words[1] in\n";
  for (const Command& subcommand : command.subcommands) {
    const std::string below = path + (path.empty() ? "" : " ") + subcommand.name;
    text += "        " + subcommand.name + ") " + zshFunction(below) + " ;;\n";
  }
  return text + "      esac ;;\n  esac\n";
}

// --- fish

std::string fishQuoted(std::string_view text) {
  std::string result = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') result += '\\';
    result += c;
  }
  return result + "'";
}

/// The options of complete for a value.
std::string fishValue(const Argument& argument) {
  if (!argument.words.empty()) return " -x -a " + fishQuoted(joined(argument.words));
  switch (argument.completion) {
    case Completion::file:
      return " -r -F";
    case Completion::directory:
      return " -x -a '(__fish_complete_directories)'";
    case Completion::answer:
      return " -x -a " + fishQuoted(joined(settings::answerNames()));
    case Completion::setting:
      return " -x -a " + fishQuoted(joined(settings::settingNames()));
    case Completion::subcommand:
      return " -x -a '(__commutil_names)'";
    case Completion::nothing:
      return " -x";
  }
  return {};
}

std::string fishCommand(const Command& command, const std::string& path) {
  const std::string at = "complete -c commutil -n " + fishQuoted("__commutil_at " + quoted(path));
  std::string text;
  for (const Command& subcommand : command.subcommands)
    text += at + " -a " + subcommand.name + " -d " + fishQuoted(titleOf(subcommand.purpose)) + "\n";
  for (const Argument* const option : optionsOf(command)) {
    text += at + " -l " + option->name.substr(2) + " -d " + fishQuoted(option->purpose) +
            (option->isFlag() ? "" : fishValue(*option)) + "\n";
  }
  for (const Argument* const operand : operandsOf(command))
    if (operand->completion != Completion::nothing) text += at + fishValue(*operand) + "\n";
  return text;
}

/// The script, with @NAME@ where a part made from the parser belongs.
constexpr std::string_view kBash = R"bash(# shellcheck shell=bash

# Prints what may follow the words of a subcommand, its operands left out.
_commutil_words() {
  case $1 in
@WORDS@  esac
}

# Prints the words of the subcommand that the cursor follows.
_commutil_subcommand() {
  [ "$COMP_CWORD" -gt 1 ] || return 0
  case ${COMP_WORDS[1]},$COMP_CWORD in
    *,2) echo "${COMP_WORDS[1]}" ;;
    @GROUPS@) echo "${COMP_WORDS[*]:1:2}" ;;
    *) echo "${COMP_WORDS[1]}" ;;
  esac
}

# Prints what follows the mark "--": -c for a command's name, -f for its operands.
_commutil_after_mark() {
  local i
  for ((i = 2; i < COMP_CWORD; ++i)); do
    [ "${COMP_WORDS[i]}" = -- ] || continue
    [ "$i" = $((COMP_CWORD - 1)) ] && echo -c || echo -f
    return
  done
}

_commutil() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local subcommand mark options=
  subcommand=$(_commutil_subcommand)
  mark=$(_commutil_after_mark)
  # bash takes "--like=both" for three words.
  if [ "$word" = = ]; then
    word=
  elif [ "$previous" = = ]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  set --
  [ -z "$mark" ] || set -- "$mark"
  [ $# != 0 ] || case "$subcommand $previous" in
@VALUES@  esac
  if [ $# = 0 ]; then
    if [ "$subcommand" = help ]; then
      options=$(_commutil_words "${COMP_WORDS[*]:2:COMP_CWORD-2}")
    else
      options=$(_commutil_words "$subcommand")
    fi
    [[ $word == -* ]] || case $subcommand in
@OPERANDS@    esac
  fi
  case ${1-} in -[df]) compopt -o filenames 2>/dev/null ;; esac
  mapfile -t COMPREPLY < <(
    [ $# = 0 ] || compgen "$@" -- "$word"
    compgen -W "$options" -- "$word"
  )
}

complete -F _commutil commutil
)bash";

/// Replaces the one `mark` in `text` by `part`.
void fill(std::string& text, std::string_view mark, std::string_view part) {
  text.replace(text.find(mark), mark.size(), part);
}

}  // namespace

std::string bashCompletion(const Command& root) {
  std::string words;
  std::string values;
  std::string operands;
  forEachCommand(root, [&](const Command& command, const std::string& path) {
    words += bashWords(command, path);
    operands += bashOperands(command, path);
    for (const Argument* const option : optionsOf(command)) {
      if (option->isFlag()) continue;
      values +=
          "    " + quoted(path + " " + option->name) + ") set -- " + bashValue(*option) + " ;;\n";
    }
  });
  std::string groups;
  for (const std::string& group : groupsOf(root)) {
    groups += (groups.empty() ? "" : " | ") + group + ",*";
  }
  std::string text = std::string("# Completion of commutil(1) in bash.\n") + kMade;
  text += kBash;
  fill(text, "@WORDS@", words);
  fill(text, "@GROUPS@", groups);
  fill(text, "@VALUES@", values);
  fill(text, "@OPERANDS@", operands);
  return text;
}

std::string zshCompletion(const Command& root) {
  std::string functions;
  std::string paths;
  forEachCommand(root, [&](const Command& command, const std::string& path) {
    const bool isGroup = !command.subcommands.empty();
    functions += zshFunction(path) + "() {\n" +
                 (isGroup ? zshGroup(command, path) : zshLeaf(command)) + "}\n\n";
    if (isGroup) paths += "    " + quoted(path) + ") compadd " + joined(namesOf(command)) + " ;;\n";
  });
  return std::string("#compdef commutil\n# Completion of commutil(1) in zsh.\n") + kMade + "\n" +
         "# The subcommands below the words before the cursor.\n"
         "_commutil_path() {\n  case ${(j: :)words[2,CURRENT-1]} in\n" +
         paths + "  esac\n}\n\n" + functions + "_commutil \"$@\"\n";
}

std::string fishCompletion(const Command& root) {
  std::string rules;
  std::string names;
  forEachCommand(root, [&](const Command& command, const std::string& path) {
    rules += fishCommand(command, path);
    if (command.subcommands.empty()) return;
    names += "        case " + fishQuoted(path) + "\n            string join \\n";
    for (const std::string& name : namesOf(command)) names += " " + name;
    names += "\n";
  });
  return std::string("# Completion of commutil(1) in fish.\n") + kMade +
         "\n"
         "# The words of the subcommand before the cursor.\n"
         "function __commutil_path\n"
         "    set -l words (commandline -opc)\n"
         "    set -l path\n"
         "    for word in $words[2..-1]\n"
         "        string match -q -- '-*' $word; and break\n"
         "        set path $path $word\n"
         "        contains -- \"$path\" " +
         joined(groupsOf(root)) +
         "; or break\n"
         "    end\n"
         "    echo \"$path\"\n"
         "end\n\n"
         "function __commutil_at\n"
         "    contains -- -- (commandline -opc); and return 1\n"
         "    test (__commutil_path) = \"$argv[1]\"\n"
         "end\n\n"
         "# The subcommands below the words that follow \"help\".\n"
         "function __commutil_names\n"
         "    set -l words (commandline -opc)\n"
         "    switch \"$words[3..-1]\"\n" +
         names +
         "    end\n"
         "end\n\n"
         "# What completes the command that follows \"--\".\n"
         "function __commutil_command\n"
         "    set -l words (commandline -opc) (commandline -ct)\n"
         "    set -l mark (contains -i -- -- $words)\n"
         "    __fish_complete_subcommand --commandline $words[(math $mark + 1)..-1]\n"
         "end\n\n"
         "complete -c commutil -f\n"
         "complete -c commutil -n 'not contains -- -- (commandline -opc)' -s h -l help"
         " -d 'print the help'\n"
         "complete -c commutil -n \"__commutil_at ''\" -l version -d 'print the version'\n"
         "complete -c commutil -n 'contains -- -- (commandline -opc)'"
         " -a '(__commutil_command)'\n" +
         rules;
}
