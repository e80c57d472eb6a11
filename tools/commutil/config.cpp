// The subcommands ssl-conf and expand: the SSL option file and the three expanders of references to
// environment variables.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <json/value.h>

#include <map>
#include <stdexcept>
#include <string>

#include "output.h"
#include "tool.h"

namespace {

struct SslConfOptions {
  bool json = false;
  bool show = false;
};

constexpr const char* kTemplateName = "svc_ssl.conf";

/// Generates the file and returns its path; "" when it cannot, having said why.
std::string generate() {
  try {
    std::string path = VexaCommonUtils_i::get_svc_ssl_conf(kTemplateName);
    if (path.empty()) {
      complain("the SSL option file cannot be generated from " +
               VexaCommonUtils_i::getConfFile(kTemplateName) +
               "; can it be read, and is _APP_SHARE_DIR writable?");
    }
    return path;
  } catch (const std::out_of_range&) {
    complain("the template " + VexaCommonUtils_i::getConfFile(kTemplateName) +
             " needs a double quote behind -SSLCAfile");
    return {};
  }
}

int sslConf(const SslConfOptions& options) {
  const std::string path = generate();
  if (path.empty()) return kNo;
  std::string text;
  if (options.show && VexaCommonUtils::readFile(path, text) != 0) {
    complain("cannot read " + path);
    return kNo;
  }
  if (!options.json) {
    printText("path", options.show ? path + "\n" + text : path, false);
    return kOk;
  }
  Json::Value document;
  document["path"] = path;
  if (options.show) document["text"] = text;
  printDocument(document, true);
  return kOk;
}

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

void addConfig(Tool& tool) {
  tool.add<SslConfOptions>(
      tool.app, "ssl-conf", "Generate the SSL option file of this instance and print its path.",
      [](CLI::App& subcommand, SslConfOptions& options) {
        subcommand.add_flag("--show", options.show, "Print the file's text too");
        addJsonFlag(subcommand, options.json);
      },
      sslConf);
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
