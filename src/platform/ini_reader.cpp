#include "platform/ini_reader.h"

// Compiled here: the packaged library pulls ICU into every process for a converter that byte
// strings do not need.
#define SI_IMPLEMENTATION
#define SI_NO_CONVERSION
#include <SimpleIni.h>

#include <algorithm>
#include <new>
#include <optional>
#include <vector>

#include "os/file_text.h"

namespace {

using Ini = CSimpleIniCaseA;

/// Returns the section's name without its brackets; nothing if it has none.
std::optional<std::string> bareSection(const std::string& section) {
  if (section.size() < 2 || section.front() != '[' || section.back() != ']') return std::nullopt;
  return section.substr(1, section.size() - 2);
}

}  // namespace

class VexaIniReader::Content {
 public:
  Ini ini{/*a_bIsUtf8=*/true, /*a_bMultiKey=*/true, /*a_bMultiLine=*/false};
};

VexaIniReader::VexaIniReader(const std::string& path) : m_path(path) {}

VexaIniReader::~VexaIniReader() = default;

int VexaIniReader::initialize(bool /*flag*/) {
  m_content.reset();
  std::string text;
  if (!commutil::readFileText(m_path, text)) return -1;
  auto content = std::make_unique<Content>();
  const SI_Error error = content->ini.LoadData(text.data(), text.size());
  if (error == SI_NOMEM) throw std::bad_alloc();
  if (error < 0) return -1;
  m_content = std::move(content);
  return 0;
}

std::string VexaIniReader::getParamValue(const std::string& section, const std::string& key) const {
  const auto name = bareSection(section);
  if (!m_content || !name) return {};
  return m_content->ini.GetValue(name->c_str(), key.c_str(), "");
}

void VexaIniReader::getParamList(const std::string& section, std::list<IniNode>& nodes) const {
  const auto name = bareSection(section);
  const Ini::TKeyVal* entries =
      m_content && name ? m_content->ini.GetSection(name->c_str()) : nullptr;
  if (entries == nullptr) return;
  std::vector<Ini::TKeyVal::const_pointer> ordered;
  for (const auto& entry : *entries) ordered.push_back(&entry);
  std::sort(ordered.begin(), ordered.end(),
            [](auto* a, auto* b) { return a->first.nOrder < b->first.nOrder; });
  for (const auto* entry : ordered) nodes.push_back({entry->first.pItem, entry->second});
}
