// The commands that read the cluster: diff, show and export.
#include <json/value.h>

#include <stdexcept>

#include "commutil-settings/cluster_session.h"
#include "commutil-settings/commands.h"
#include "commutil/output.h"
#include "commutil/settings_keys.h"
#include "settings_snapshot/snapshot.h"
#include "settings_store/document_text.h"

namespace agent {
namespace {

Json::Value orNull(const std::optional<std::string>& value) {
  return value ? Json::Value(*value) : Json::Value();
}

std::string quoted(const std::optional<std::string>& value) {
  return value ? "\"" + printable(*value) + "\"" : "(not set)";
}

settings::Values valuesOf(const ClusterSession::Listing& listing) {
  settings::Values values;
  for (const auto& [key, stored] : listing.settings)
    if (key.back() != '/') values[key] = stored.value;
  return values;
}

/// What a change from `before` to `after` would be.
std::vector<settings::Effect> differences(const settings::Values& before,
                                          const settings::Values& after) {
  std::map<std::string, settings::Effect> effects;
  for (const auto& [key, value] : before) effects[key] = {key, value, std::nullopt};
  for (const auto& [key, value] : after) {
    settings::Effect& effect = effects[key];
    effect.key = key;
    effect.after = value;
  }
  std::vector<settings::Effect> result;
  for (const auto& [key, effect] : effects)
    if (effect.before != effect.after) result.push_back(effect);
  return result;
}

}  // namespace

int diffWithCluster(const Configuration& configuration, const CommandLine& line) {
  const settings::Snapshot snapshot = settings::readSnapshot(configuration.snapshotPath);
  settings::Values local;
  for (const settings::SnapshotEntry& entry : snapshot.entries) local[entry.key] = entry.value;
  const ClusterSession::Listing listing = ClusterSession(configuration).list();
  const std::vector<settings::Effect> effects = differences(local, valuesOf(listing));
  Json::Value document;
  document["snapshotRevision"] = Json::Int64(snapshot.header.revision);
  document["clusterRevision"] = Json::Int64(listing.revision);
  document["sameCluster"] = snapshot.header.clusterId == listing.clusterId;
  document["differences"] = Json::arrayValue;
  for (const settings::Effect& effect : effects) {
    Json::Value row;
    row["key"] = effect.key;
    row["snapshot"] = orNull(effect.before);
    row["cluster"] = orNull(effect.after);
    document["differences"].append(row);
    if (!line.json) {
      printBytes(printable(effect.key) + "  " + quoted(effect.before) + " -> " +
                 quoted(effect.after) + "\n");
    }
  }
  if (line.json) printDocument(document, true);
  return effects.empty() ? kOk : kNo;
}

int showCluster(const Configuration& configuration, const CommandLine& line) {
  const bool isGroup = !line.name.empty() && line.name.back() == '/';
  const std::string key = isGroup ? line.name : settingKey(line.name, line.app);
  const settings::Values values = valuesOf(ClusterSession(configuration).list());
  Json::Value document;
  for (const auto& [name, value] : values)
    if (isGroup ? name.rfind(key, 0) == 0 : name == key) document[name] = value;
  if (document.empty()) throw std::runtime_error(key + " is not set");
  if (!isGroup && !line.json) {
    printBytes(document[key].asString() + "\n");
  } else {
    printDocument(document, line.json);
  }
  return kOk;
}

int exportCluster(const Configuration& configuration, const CommandLine& /*line*/) {
  printBytes(settings::flatDocument(valuesOf(ClusterSession(configuration).list())));
  return kOk;
}

}  // namespace agent
