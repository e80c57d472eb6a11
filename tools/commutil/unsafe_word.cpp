// The subcommand unsafe-word: checks a string against the list of unsafe words in secure.cfg.
#include <VexaCommonUtils_i.h>

#include <json/value.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "output.h"
#include "settings/facts.h"
#include "settings/file_state.h"
#include "settings/ini_document.h"
#include "settings_store/read_file.h"
#include "tool.h"

namespace {

struct UnsafeWordOptions {
  bool json = false;
  std::string text;
};

/// Returns the first word of the list at `path` that `text` contains.
std::optional<settings::IniEntry> wordIn(const std::string& text, const std::string& path) {
  const settings::IniDocument list(settings::readRegularFile(path).value_or(""));
  for (const settings::IniEntry& entry : list.entries()) {
    const bool isWord = entry.section == "[UnsafeWord]" && !entry.value.empty();
    if (isWord && text.find(entry.value) != std::string::npos) return entry;
  }
  return std::nullopt;
}

/// The list of unsafe words.
struct List {
  std::string path;
  std::string state;  ///< "readable", or why the library cannot read it
};

List listOfWords() {
  List list;
  list.path = VexaCommonUtils_i::getConfFile("secure.cfg");
  list.state = settings::stateOf(settings::examine(list.path), settings::currentUser()).text;
  return list;
}

void printJson(const List& list, const std::optional<settings::IniEntry>& word, bool safe) {
  Json::Value document;
  document["safe"] = safe;
  document["file"] = list.path;
  document["state"] = list.state;
  document["word"] = word ? Json::Value(word->value) : Json::Value();
  document["line"] = word ? Json::Value(Json::UInt64(word->place.line)) : Json::Value();
  printDocument(document, true);
}

void printSafe(const List& list) {
  const std::string reason = list.state == "readable"
                                 ? ""
                                 : ": " + printable(list.path) + ": " + list.state +
                                       "; without the list every string is safe";
  printBytes("no unsafe word" + reason + "\n");
}

int unsafeWord(const UnsafeWordOptions& options) {
  const List list = listOfWords();
  const bool safe = VexaCommonUtils_i::checkUnSafeStr(options.text);
  const std::optional<settings::IniEntry> word =
      safe ? std::nullopt : wordIn(options.text, list.path);
  if (options.json) {
    printJson(list, word, safe);
  } else if (safe) {
    printSafe(list);
  } else {
    printBytes("unsafe word \"" + printable(word ? word->value : "") + "\": " +
               printable(list.path) + ":" + std::to_string(word ? word->place.line : 0) + "\n");
  }
  return safe ? kOk : kNo;
}

}  // namespace

void addUnsafeWord(Tool& tool) {
  tool.add<UnsafeWordOptions>(
      tool.command, "unsafe-word",
      "Check a string for the unsafe words of secure.cfg, and print the first one found.",
      [](Command& subcommand, UnsafeWordOptions& options) {
        subcommand.arguments = {operand("TEXT", options.text, "The string"),
                                jsonFlag(options.json)};
      },
      unsafeWord);
}
