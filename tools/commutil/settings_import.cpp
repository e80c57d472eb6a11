// The subcommands settings import and export.
#include <stdexcept>
#include <string>
#include <vector>

#include "output.h"
#include "settings.h"
#include "settings_changes.h"
#include "settings_check.h"

namespace {

struct ImportOptions : ChangeOptions {
  bool prune = false;
  std::string path;
};

void requireAccepted(const settings::DocumentText& document, const std::string& path) {
  const std::vector<SettingProblem> problems = checkDocument(document);
  if (problems.empty()) return;
  std::string message;
  for (const SettingProblem& problem : problems) message += path + ":" + problem.message() + "\n";
  throw std::runtime_error(message + "nothing was written (--force writes it)");
}

std::vector<settings::Change> planOf(const settings::Values& wanted, bool prune,
                                     const settings::Values& current) {
  std::vector<settings::Change> changes;
  for (const auto& [key, value] : wanted) changes.push_back({key, value});
  if (!prune) return changes;
  for (const auto& [key, value] : current)
    if (wanted.count(key) == 0) changes.push_back({key, std::nullopt});
  return changes;
}

int importFile(const ImportOptions& options) {
  const settings::DocumentText document = readDocument(options.path);
  const settings::Values wanted = document.values();
  if (!options.force) requireAccepted(document, options.path);
  if (wanted.empty() && options.prune && !options.force)
    return fail(options.path + " has no settings: --prune would delete all (--force does)");
  const auto plan = [&](const settings::Values& current) {
    return planOf(wanted, options.prune, current);
  };
  return changeSettings(plan, options);
}

struct NoOptions {};

int exportAll(const NoOptions& /*options*/) {
  printBytes(settings::flatDocument(settings::openTarget()->read()));
  return kOk;
}

}  // namespace

void addSettingsImport(Tool& tool, Command& settings) {
  tool.add<ImportOptions>(
      settings, "import", "Set every setting of a document in the reference store's document.",
      [](Command& subcommand, ImportOptions& options) {
        subcommand.arguments = {
            documentOperand(options.path),
            {.name = "--prune",
             .value = &options.prune,
             .purpose = "Remove the settings that FILE lacks"},
            {.name = "--dry-run",
             .value = &options.dryRun,
             .purpose = "Only print what would change"},
            {.name = "--force",
             .value = &options.force,
             .purpose = "Write names and values that the library does not know"}};
        addChangeOptions(subcommand, options);
      },
      importFile);
  tool.add<NoOptions>(
      settings, "export", "Print the reference store's settings as the document that import takes.",
      [](Command&, NoOptions&) {}, exportAll);
}
