#include "settings_store/effects.h"

namespace settings {
namespace {

std::optional<std::string> find(const Values& values, const std::string& key) {
  const auto found = values.find(key);
  return found == values.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

Values changed(Values values, const std::vector<Change>& changes) {
  for (const Change& change : changes) {
    if (change.value) {
      values[change.key] = *change.value;
    } else {
      values.erase(change.key);
    }
  }
  return values;
}

std::vector<Effect> effectsOf(const std::vector<Change>& changes, const Values& before,
                              const Values& after) {
  std::map<std::string, Effect> effects;
  for (const Change& change : changes) {
    const Effect effect{change.key, find(before, change.key), find(after, change.key)};
    if (effect.before != effect.after) effects.insert_or_assign(change.key, effect);
  }
  std::vector<Effect> result;
  result.reserve(effects.size());
  for (const auto& [key, effect] : effects) result.push_back(effect);
  return result;
}

}  // namespace settings
