// The subcommands check-path and filename, for untrusted paths and names.
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

void addMapping(Tool& tool, Command& parent, const char* name, const char* purpose,
                Mapping mapping) {
  tool.add<NameOptions>(
      parent, name, purpose,
      [](Command& subcommand, NameOptions& options) {
        subcommand.arguments = {operand("NAME", options.name, "The name"), jsonFlag(options.json)};
      },
      [mapping](const NameOptions& options) -> int {
        printText("name", mapping(options.name), options.json);
        return kOk;
      });
}

}  // namespace

void addPathSafety(Tool& tool) {
  tool.add<CheckPathOptions>(
      tool.command, "check-path",
      "Check that a path has no \".\" or \"..\" component and is below a base; reads no file.",
      [](Command& subcommand, CheckPathOptions& options) {
        Argument path = operand("PATH", options.path, "The path");
        path.completion = Completion::file;
        subcommand.arguments = {std::move(path),
                                {.name = "--base",
                                 .value = &options.base,
                                 .purpose = "The directory; \"\" accepts any path",
                                 .valueName = "DIR",
                                 .required = true,
                                 .completion = Completion::directory},
                                jsonFlag(options.json)};
      },
      checkPath);
  Command& filename =
      tool.addGroup(tool.command, "filename", "Convert any name to a file name, and back.");
  addMapping(tool, filename, "encode", "Escape what a file name cannot hold.",
             VexaCommonUtils::specialName2FileName);
  addMapping(tool, filename, "decode", "Decode the escapes.",
             VexaCommonUtils::fileName2SpecialName);
}
