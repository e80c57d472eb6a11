// The subcommands check-path and filename: paths and names that come from outside.
#include <VexaCommonUtils.h>

#include <json/value.h>

#include <string>

#include "output.h"
#include "tool.h"

namespace {

struct CheckPathOptions {
  bool json = false;
  std::string path;
  std::string base;
};

int checkPath(const CheckPathOptions& options) {
  const bool accepted = VexaCommonUtils::checkPath(options.path, options.base);
  Json::Value document;
  document["accepted"] = accepted;
  printDocument(document, options.json);
  return accepted ? kOk : kNo;
}

struct NameOptions {
  bool json = false;
  std::string name;
};

using Mapping = std::string (*)(const std::string&);

void addMapping(Tool& tool, CLI::App& parent, const char* name, const char* purpose,
                Mapping mapping) {
  tool.add<NameOptions>(
      parent, name, purpose,
      [](CLI::App& subcommand, NameOptions& options) {
        addOperand(subcommand, "NAME", options.name, "The name");
        addJsonFlag(subcommand, options.json);
      },
      [mapping](const NameOptions& options) -> int {
        printText("name", mapping(options.name), options.json);
        return kOk;
      });
}

}  // namespace

void addPathSafety(Tool& tool) {
  tool.add<CheckPathOptions>(
      tool.app, "check-path",
      "Tell whether a path has no \".\" or \"..\" piece and lies under a base, by text alone.",
      [](CLI::App& subcommand, CheckPathOptions& options) {
        addOperand(subcommand, "PATH", options.path, "The path");
        subcommand.add_option("--base", options.base, "The directory; an empty one is above all")
            ->required()
            ->type_name("DIR");
        addJsonFlag(subcommand, options.json);
      },
      checkPath);
  CLI::App* const filename =
      tool.app.add_subcommand("filename", "Map any name to a file name, and back.");
  filename->require_subcommand(1);
  addMapping(tool, *filename, "encode", "Escape what a file name cannot hold.",
             VexaCommonUtils::specialName2FileName);
  addMapping(tool, *filename, "decode", "Turn the escapes back.",
             VexaCommonUtils::fileName2SpecialName);
}
