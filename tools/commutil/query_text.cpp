// The subcommand escape: makes a string safe for queries of the configured database.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <json/value.h>

#include <map>
#include <string>

#include "output.h"
#include "tool.h"

namespace {

const std::map<std::string, Vexacommon::FuzzyQueryMode>& fuzzyModes() {
  static const std::map<std::string, Vexacommon::FuzzyQueryMode> modes{
      {"none", Vexacommon::FUZZY_QUERY_NONE},
      {"left", Vexacommon::FUZZY_QUERY_LEFT},
      {"right", Vexacommon::FUZZY_QUERY_RIGHT},
      {"both", Vexacommon::FUZZY_QUERY_BOTH}};
  return modes;
}

struct EscapeOptions {
  bool json = false;
  bool update = false;
  bool search = false;
  std::string like;
  std::string text;
};

std::string escaped(const EscapeOptions& options) {
  if (options.update) return VexaCommonUtils::transDBUpdateString(options.text);
  if (options.search) return VexaCommonUtils::transDBSearchString(options.text);
  return VexaCommonUtils_i::TransferLikeSql(options.text, fuzzyModes().at(options.like));
}

int escape(const EscapeOptions& options) {
  const std::string text = escaped(options);
  if (options.json) {
    Json::Value document;
    document["databaseType"] = VexaCommonUtils::getDBType();
    document["text"] = text;
    printDocument(document, true);
  } else {
    printText("text", text, false);
  }
  return kOk;
}

}  // namespace

void addQueryText(Tool& tool) {
  tool.add<EscapeOptions>(
      tool.command, "escape", "Make a string safe in SQL of the configured database.",
      [](Command& subcommand, EscapeOptions& options) {
        subcommand.alternatives = {
            {.name = "--update",
             .value = &options.update,
             .purpose = "Double the quotes, for a string literal"},
            {.name = "--search",
             .value = &options.search,
             .purpose = "Escape the wildcards, for a LIKE pattern"},
            {.name = "--like",
             .value = &options.like,
             .purpose = "Build a whole quoted LIKE operand with wildcards on this side",
             .words = {"none", "left", "right", "both"}}};
        subcommand.arguments = {operand("TEXT", options.text, "The string"),
                                jsonFlag(options.json)};
      },
      escape);
}
