// Lookups in the catalog's tables.
#include "settings/catalog.h"

#include <algorithm>

#include "settings/edit_distance.h"

namespace settings {

std::vector<const Item*> itemsOf(Kind kind) {
  std::vector<const Item*> found;
  for (const Item& item : items())
    if (item.kind == kind) found.push_back(&item);
  return found;
}

const Item* findItem(Kind kind, std::string_view name, std::string_view parent,
                     std::string_view section) {
  for (const Item& item : items()) {
    if (item.kind == kind && item.name == name && item.parent == parent && item.section == section)
      return &item;
  }
  return nullptr;
}

const Item* findItem(const SourceRef& source) {
  return findItem(source.kind, source.name, source.parent, source.section);
}

const Answer* findAnswer(std::string_view name) {
  for (const Answer& answer : answers())
    if (!name.empty() && (answer.name == name || answer.parameter == name)) return &answer;
  return nullptr;
}

std::string_view suggestAnswer(std::string_view name) {
  std::vector<std::string_view> names;
  for (const Answer& answer : answers()) {
    names.push_back(answer.name);
    if (!answer.parameter.empty()) names.push_back(answer.parameter);
  }
  return nearest(name, names);
}

std::string storeKey(std::string_view tree, std::string_view branch, std::string_view parameter) {
  return std::string(tree).append(branch).append("/").append(parameter);
}

std::optional<StoreKey> splitStoreKey(std::string_view key) {
  const std::string whole = (key.empty() || key.front() != '/' ? "/" : "") + std::string(key);
  for (const Tree& tree : trees()) {
    if (whole.compare(0, tree.path.size(), tree.path) != 0) continue;
    const std::string rest = whole.substr(tree.path.size());
    const std::size_t slash = rest.find('/');
    if (slash == std::string::npos || rest.find('/', slash + 1) != std::string::npos) break;
    return StoreKey{std::string(tree.path), rest.substr(0, slash), rest.substr(slash + 1)};
  }
  return std::nullopt;
}

}  // namespace settings
