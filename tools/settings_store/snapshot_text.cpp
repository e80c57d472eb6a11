#include "settings_store/snapshot_text.h"

#include "settingrest/snapshot_format.h"
#include "settings_store/document_text.h"

namespace settings {

std::string asDocument(std::string bytes) {
  const std::string_view magic = settingrest::kSnapshotMagic;
  if (bytes.compare(0, magic.size(), magic) != 0) return bytes;
  const std::string fault = settingrest::snapshotFault(bytes);
  if (!fault.empty()) throw MalformedDocument(" " + fault);
  const settingrest::SnapshotView view(bytes);
  Values values;
  for (std::size_t i = 0; i < view.size(); ++i)
    values.emplace(view.entry(i).key, view.entry(i).value);
  return flatDocument(values);
}

}  // namespace settings
