#include "models/ini_model.h"

#include <algorithm>
#include <tuple>

#include "text/strings_model.h"

namespace commutil_fuzz {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kWhitespace = " \t\r\n";

std::string trimmed(std::string_view text) {
  return commutil_test::modelTrim(std::string(text), std::string(kWhitespace));
}

}  // namespace

IniModel::IniModel(std::string_view text) : m_rest(text) {
  if (m_rest.substr(0, kByteOrderMark.size()) == kByteOrderMark)
    m_rest.remove_prefix(kByteOrderMark.size());
  m_rest = m_rest.substr(0, m_rest.find('\0'));
  for (skipWhitespace(); !m_rest.empty(); skipWhitespace()) {
    if (m_rest.front() == ';' || m_rest.front() == '#') {
      skipLine();
    } else if (m_rest.front() == '[') {
      readSection();
    } else {
      readEntry();
    }
  }
}

std::string IniModel::value(const std::string& section, const std::string& key) const {
  for (const auto& [name, text] : entries(section)) {
    if (name == key) return text;
  }
  return "";
}

IniEntries IniModel::entries(const std::string& section) const {
  const auto found = m_sections.find(section);
  return found == m_sections.end() ? IniEntries() : found->second;
}

bool IniModel::atLineEnd() const {
  return m_rest.empty() || m_rest.front() == '\n' || m_rest.front() == '\r';
}

void IniModel::skipLine() {
  while (!atLineEnd()) m_rest.remove_prefix(1);
}

void IniModel::skipWhitespace() {
  m_rest.remove_prefix(std::min(m_rest.find_first_not_of(kWhitespace), m_rest.size()));
}

std::pair<std::string, bool> IniModel::textBefore(char end) {
  std::string text;
  while (!atLineEnd() && m_rest.front() != end) {
    text += m_rest.front();
    m_rest.remove_prefix(1);
  }
  const bool ended = !atLineEnd();
  if (ended) m_rest.remove_prefix(1);
  return {trimmed(text), ended};
}

void IniModel::readSection() {
  m_rest.remove_prefix(1);
  skipWhitespace();  // line ends too: the name may be on a later line
  std::tie(m_section, m_inSection) = textBefore(']');
  if (!m_inSection) return;
  m_sections[m_section];
  skipLine();
}

void IniModel::readEntry() {
  auto [key, hasValue] = textBefore('=');
  if (!hasValue) return;
  const std::string_view line = m_rest.substr(0, m_rest.find_first_of("\r\n"));
  if (!key.empty() && m_inSection) m_sections[m_section].emplace_back(key, trimmed(line));
  skipLine();
}

}  // namespace commutil_fuzz
