// The subcommand expand: the three expanders of references to environment variables.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <map>
#include <string>

#include "output.h"
#include "tool.h"

namespace {

using Expander = std::string (*)(const std::string&);

const std::map<std::string, Expander>& expanders() {
  static const std::map<std::string, Expander> all{{"paren", VexaCommonUtils::replaceEnvVar},
                                                   {"percent", VexaCommonUtils::replEnvVar},
                                                   {"brace", VexaCommonUtils_i::VexareplaceEnvVar}};
  return all;
}

struct ExpandOptions {
  bool json = false;
  std::string syntax;
  std::string text;
};

int expand(const ExpandOptions& options) {
  printText("text", expanders().at(options.syntax)(options.text), options.json);
  return kOk;
}

}  // namespace

void addExpand(Tool& tool) {
  tool.add<ExpandOptions>(
      tool.command, "expand", "Replace the references to environment variables in a string.",
      [](Command& subcommand, ExpandOptions& options) {
        subcommand.arguments = {
            {.name = "--syntax",
             .value = &options.syntax,
             .purpose = "How references are written: paren $(NAME), percent %NAME%, brace ${NAME}",
             .required = true,
             .words = {"paren", "percent", "brace"}},
            operand("TEXT", options.text, "The string"),
            jsonFlag(options.json)};
      },
      expand);
}
