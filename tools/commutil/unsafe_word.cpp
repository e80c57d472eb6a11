// The subcommand unsafe-word: a text against the list of unsafe words in secure.cfg.
#include <VexaCommonUtils_i.h>

#include <json/value.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "output.h"
#include "settings/ini_document.h"
#include "settings_store/read_file.h"
#include "tool.h"

namespace {

struct UnsafeWordOptions {
  bool json = false;
  std::string text;
};

/// Returns the first word of the list at `path` that `text` has.
std::optional<settings::IniEntry> wordIn(const std::string& text, const std::string& path) {
  const settings::IniDocument list(settings::readRegularFile(path).value_or(""));
  for (const settings::IniEntry& entry : list.entries()) {
    const bool isWord = entry.section == "[UnsafeWord]" && !entry.value.empty();
    if (isWord && text.find(entry.value) != std::string::npos) return entry;
  }
  return std::nullopt;
}

void printJson(const std::string& path, const std::optional<settings::IniEntry>& word, bool safe) {
  Json::Value document;
  document["safe"] = safe;
  document["file"] = path;
  document["word"] = word ? Json::Value(word->value) : Json::Value();
  document["line"] = word ? Json::Value(Json::UInt64(word->place.line)) : Json::Value();
  printDocument(document, true);
}

int unsafeWord(const UnsafeWordOptions& options) {
  const bool safe = VexaCommonUtils_i::checkUnSafeStr(options.text);
  const std::string path = VexaCommonUtils_i::getConfFile("secure.cfg");
  const std::optional<settings::IniEntry> word = safe ? std::nullopt : wordIn(options.text, path);
  if (options.json) {
    printJson(path, word, safe);
  } else if (safe) {
    printBytes("no unsafe word\n");
  } else {
    printBytes("unsafe word \"" + printable(word ? word->value : "") + "\": " + path + ":" +
               std::to_string(word ? word->place.line : 0) + "\n");
  }
  return safe ? kOk : kNo;
}

}  // namespace

void addUnsafeWord(Tool& tool) {
  tool.add<UnsafeWordOptions>(
      tool.command, "unsafe-word",
      "Tell whether a text has one of the unsafe words of secure.cfg, and which.",
      [](Command& subcommand, UnsafeWordOptions& options) {
        subcommand.arguments = {operand("TEXT", options.text, "The text"), jsonFlag(options.json)};
      },
      unsafeWord);
}
