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

/// Returns the faults of a document's settings, each as a line; nothing if there are none.
std::vector<std::string> problemsOf(const settings::DocumentText& document,
                                    const std::string& path) {
  std::vector<std::string> lines;
  for (const SettingProblem& problem : checkDocument(document))
    lines.push_back(path + ":" + problem.message());
  if (!lines.empty()) lines.emplace_back("nothing was written (--force writes it)");
  return lines;
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
  const std::vector<std::string> problems = problemsOf(document, options.path);
  if (!options.force && !problems.empty()) return fail(problems);
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
             .purpose = "Write names and values that the library does not know",
             .details = "With --prune: remove all settings even if FILE has none."}};
        addChangeOptions(subcommand, options);
      },
      importFile);
  tool.add<NoOptions>(
      settings, "export", "Print the reference store's settings as the document that import takes.",
      [](Command&, NoOptions&) {}, exportAll);
}
