#include "settings_store/file_target.h"

#include "settings_store/document_text.h"
#include "settings_store/effects.h"
#include "settings_store/read_file.h"
#include "settings_store/replace_file.h"
#include "settings_store/write_lock.h"

namespace settings {
namespace {

/// Reads the document; a missing one has no settings.
DocumentText load(const std::string& path) {
  try {
    return DocumentText(readRegularFile(path).value_or("{}"));
  } catch (const MalformedDocument& error) {
    throw std::runtime_error(path + ":" + error.what());
  }
}

/// Changes `document` and returns the effects, in the order of the keys.
std::vector<Effect> applyTo(const std::vector<Change>& changes, DocumentText& document) {
  const Values before = document.values();
  const Values wanted = changed(before, changes);
  for (const Change& change : changes)
    change.value ? document.set(change.key, *change.value) : document.erase(change.key);
  if (document.values() != wanted)
    throw std::runtime_error("the document cannot hold a setting of this name");
  return effectsOf(changes, before, wanted);
}

}  // namespace

FileTarget::FileTarget(const std::string& path) : m_path(resolveLinks(path)) {}

Values FileTarget::read() { return load(m_path).values(); }

std::vector<Effect> FileTarget::write(const Plan& plan, const WriteOptions& options) {
  std::optional<WriteLock> lock;
  if (!options.dryRun) lock.emplace(m_path + ".lock", options);
  DocumentText document = load(m_path);
  std::vector<Effect> effects = applyTo(plan(document.values()), document);
  if (!effects.empty() && !options.dryRun) replaceFile(m_path, document.text());
  return effects;
}

}  // namespace settings
