// The subcommand expand: the three expanders of references to environment variables.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <map>
#include <string>

#include "output.h"
#include "tool.h"

namespace {

using Expander = std::string (*)(const std::string&);

struct ExpandOptions {
  bool json = false;
  Expander expander = nullptr;
  std::string text;
};

int expand(const ExpandOptions& options) {
  printText("text", options.expander(options.text), options.json);
  return kOk;
}

}  // namespace

void addExpand(Tool& tool) {
  tool.add<ExpandOptions>(
      tool.app, "expand", "Replace the references to environment variables in a text.",
      [](CLI::App& subcommand, ExpandOptions& options) {
        const std::map<std::string, Expander> syntaxes{
            {"paren", VexaCommonUtils::replaceEnvVar},
            {"percent", VexaCommonUtils::replEnvVar},
            {"brace", VexaCommonUtils_i::VexareplaceEnvVar}};
        subcommand
            .add_option_function<std::string>(
                "--syntax",
                [syntaxes, &options](const std::string& name) {
                  options.expander = syntaxes.at(name);
                },
                "How references are written: paren $(NAME), percent %NAME%, brace ${NAME}")
            ->required()
            ->check(CLI::IsMember({"paren", "percent", "brace"}));
        addOperand(subcommand, "TEXT", options.text, "The text");
        addJsonFlag(subcommand, options.json);
      },
      expand);
}
