#include "settings_keys.h"

#include <VexaCommonUtils.h>

#include <stdexcept>
#include <string_view>

#include "settings/accepted.h"
#include "settings/catalog.h"
#include "settings/edit_distance.h"

namespace {

void requireBranch(const std::string& app) {
  const settings::Verdict verdict = settings::checkValue({settings::Form::segment, {}}, app);
  if (!verdict.accepted()) throw std::runtime_error("--app \"" + app + "\": " + verdict.message());
}

const settings::Item& parameter(const std::string& name) {
  std::vector<std::string_view> names;
  for (const settings::Item* const item : settings::itemsOf(settings::Kind::storeKey)) {
    if (item->name == name) return *item;
    names.push_back(item->name);
  }
  const std::string_view meant = settings::nearest(name, names);
  throw std::runtime_error(
      "\"" + name + "\" is not a setting of the library; " +
      (meant.empty() ? "other keys begin with \"/\"" : "did you mean " + std::string(meant) + "?"));
}

}  // namespace

std::string settingKey(const std::string& name, const std::optional<std::string>& app) {
  if (name.find('/') != std::string::npos) {
    if (app) throw std::runtime_error("--app takes a parameter, such as ListenAllIp, not a key");
    return name.front() == '/' ? name : "/" + name;
  }
  if (app) requireBranch(*app);
  return settings::storeKey(parameter(name).parent,
                            app ? std::string_view(*app) : settings::kGlobalBranch, name);
}

std::vector<std::string> allSettingKeys(const std::optional<std::string>& app) {
  if (app) requireBranch(*app);
  std::vector<std::string> branches{app ? *app : VexaCommonUtils::Vexagetenv("APP_NAME")};
  if (branches.front().empty()) branches.clear();
  branches.emplace_back(settings::kGlobalBranch);
  std::vector<std::string> keys;
  for (const settings::Item* const item : settings::itemsOf(settings::Kind::storeKey)) {
    for (const std::string& branch : branches)
      keys.push_back(settings::storeKey(item->parent, branch, item->name));
  }
  return keys;
}

Argument appOption(std::optional<std::string>& app) {
  return {.name = "--app",
          .value = &app,
          .purpose = "The application's branch, not the shared one",
          .valueName = "NAME"};
}
