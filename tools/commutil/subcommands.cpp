#include "subcommands.h"

#include <algorithm>

#include "settings/edit_distance.h"

std::vector<std::string_view> subcommandNames(const CLI::App& app) {
  std::vector<std::string_view> names;
  for (const CLI::App* const subcommand : app.get_subcommands(nullptr))
    if (!subcommand->get_name().empty()) names.emplace_back(subcommand->get_name());
  return names;
}

Subcommand findSubcommand(const CLI::App& app, const std::vector<std::string>& words) {
  Subcommand result{&app, "", ""};
  for (const std::string& word : words) {
    const std::vector<std::string_view> names = subcommandNames(*result.app);
    const std::string prefix = result.path.empty() ? "" : result.path + " ";
    if (std::find(names.begin(), names.end(), word) == names.end()) {
      result.problem.append("there is no subcommand \"").append(prefix).append(word).append("\"");
      const std::string meant(settings::nearest(word, names));
      if (!meant.empty())
        result.problem.append("; did you mean \"").append(prefix).append(meant).append("\"?");
      return result;
    }
    result.app = result.app->get_subcommand(word);
    result.path = prefix + word;
  }
  return result;
}

std::string suggestOption(const CLI::App& app) {
  const std::vector<std::string> unknown = app.remaining(true);
  const auto word = std::find_if(unknown.begin(), unknown.end(),
                                 [](const std::string& text) { return text.rfind("--", 0) == 0; });
  if (word == unknown.end()) return {};
  const CLI::App* leaf = &app;
  for (auto parsed = app.get_subcommands(); !parsed.empty(); parsed = leaf->get_subcommands())
    leaf = parsed.back();
  std::vector<std::string> options;
  for (const CLI::Option* const option : leaf->get_options())
    for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
  return std::string(settings::nearest(*word, {options.begin(), options.end()}));
}
