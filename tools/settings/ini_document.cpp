// Reads INI text in the steps of the library's reader, and keeps the position of everything.
#include "settings/ini_document.h"

#include <algorithm>

#include "bytes/ascii.h"
#include "bytes/byte_order_mark.h"
#include "settings/edit_distance.h"

namespace settings {
namespace {

std::string_view trimmedEnd(std::string_view text) {
  while (!text.empty() && commutil::isWhitespace(text.back())) text.remove_suffix(1);
  return text;
}

std::string lineAndName(const Place& place, std::string_view name) {
  return "line " + std::to_string(place.line) + " has " + std::string(name);
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && editDistance(a, b) == 0;
}

}  // namespace

/// Walks through the text. Offsets are those of the whole text, a byte-order mark included.
class IniScanner {
 public:
  explicit IniScanner(std::string_view text) : m_text(text) {
    if (commutil::hasByteOrderMark(m_text)) m_at = commutil::kByteOrderMark.size();
    m_end = std::min(m_text.find('\0', m_at), m_text.size());
  }

  enum class Step { section, entry, fault, end };

  /// The last element found.
  std::string section;
  std::string key;
  std::string value;
  std::string fault;
  std::size_t start = 0;

  Step next() {
    skipSpaces();
    if (atEnd()) return Step::end;
    start = m_at;
    const char c = m_text[m_at];
    if (c == ';' || c == '#') return skipLine(), next();
    return c == '[' ? readSection() : readEntry();
  }

  /// Returns whether a NUL byte ends the text early.
  bool isCut() const { return m_end < m_text.size(); }
  std::size_t end() const { return m_end; }

 private:
  bool atEnd() const { return m_at >= m_end; }
  void skipSpaces() {
    while (!atEnd() && commutil::isWhitespace(m_text[m_at])) ++m_at;
  }
  void skipLine() { m_at = lineEnd(); }
  std::size_t lineEnd() const { return std::min(m_text.find_first_of("\r\n", m_at), m_end); }

  /// A section's name may begin on a later line than its bracket.
  Step readSection() {
    ++m_at;
    skipSpaces();
    const std::size_t close = std::min(m_text.find(']', m_at), m_end);
    const std::size_t line = lineEnd();
    if (close >= line) {
      fault = "\"[" + std::string(trimmedEnd(m_text.substr(m_at, line - m_at))) +
              "\" lacks its closing bracket: the entries below it belong to no section";
      m_at = line;
      section.clear();
      return Step::fault;
    }
    section = "[" + std::string(trimmedEnd(m_text.substr(m_at, close - m_at))) + "]";
    skipLine();
    return Step::section;
  }

  Step readEntry() {
    const std::size_t line = lineEnd();
    const std::size_t equals = m_text.find('=', m_at);
    if (equals >= line || equals == m_at) {
      fault = equals == m_at ? "a value without a key is ignored"
                             : "neither a section, an entry nor a comment: the line is ignored";
      m_at = line;
      return Step::fault;
    }
    key = trimmedEnd(m_text.substr(m_at, equals - m_at));
    m_at = equals + 1;
    while (m_at < line && commutil::isWhitespace(m_text[m_at])) ++m_at;
    value = trimmedEnd(m_text.substr(m_at, line - m_at));
    m_at = line;
    return Step::entry;
  }

  std::string_view m_text;
  std::size_t m_at = 0;
  std::size_t m_end = 0;
};

IniDocument::IniDocument(std::string_view text) {
  const std::string_view start = text.substr(0, 2);
  const bool wide = start == "\xff\xfe" || start == "\xfe\xff";
  if (wide) m_findings.push_back({{1, 1}, "UTF-16: save the file as UTF-8 or ASCII"});
  IniScanner scanner(text);
  for (auto step = scanner.next(); step != IniScanner::Step::end; step = scanner.next()) {
    const Place place = placeOf(text, scanner.start);
    if (step == IniScanner::Step::section) m_sections.push_back({scanner.section, place});
    if (step == IniScanner::Step::entry)
      m_entries.push_back({scanner.section, scanner.key, scanner.value, place});
    if (step == IniScanner::Step::fault && !wide) m_findings.push_back({place, scanner.fault});
  }
  if (scanner.isCut() && !wide)
    m_findings.push_back({placeOf(text, scanner.end()), "a NUL byte ends the text here"});
}

const IniEntry* IniDocument::find(std::string_view section, std::string_view key) const {
  for (const IniEntry& entry : m_entries)
    if (entry.section == section && entry.key == key) return &entry;
  return nullptr;
}

bool IniDocument::hasSection(std::string_view section) const {
  return std::any_of(m_sections.begin(), m_sections.end(),
                     [&](const IniSection& candidate) { return candidate.name == section; });
}

std::vector<Finding> IniDocument::repetitions(std::string_view section,
                                              std::string_view key) const {
  std::vector<Finding> found;
  const IniEntry* const first = find(section, key);
  for (const IniEntry& entry : m_entries) {
    if (entry.section != section || entry.key != key || entry.value == first->value) continue;
    found.push_back({entry.place, lineAndName(entry.place, key) + " = " + entry.value +
                                      ", which has no effect: the first applies"});
  }
  return found;
}

namespace {

/// Says that a section or key was probably meant to be `wanted`; "" if it is something else.
std::string missText(const Place& place, std::string_view name, std::string_view wanted) {
  if (equalIgnoringCase(name, wanted))
    return lineAndName(place, name) + ": names are case-sensitive";
  if (nearest(name, {wanted}).empty()) return {};
  return lineAndName(place, name) + ", not " + std::string(wanted);
}

std::string misplacedText(const IniEntry& entry, std::string_view section) {
  return lineAndName(entry.place, entry.key) + " in " +
         (entry.section.empty() ? "no section" : entry.section) + ", not in " +
         std::string(section);
}

}  // namespace

std::vector<Finding> IniDocument::nearMisses(std::string_view section, std::string_view key) const {
  std::vector<Finding> found;
  const auto add = [&](const Place& place, std::string text) {
    if (!text.empty()) found.push_back({place, std::move(text)});
  };
  for (const IniSection& candidate : m_sections) {
    if (candidate.name != section)
      add(candidate.place, missText(candidate.place, candidate.name, section));
  }
  for (const IniEntry& entry : m_entries) {
    const bool misspelledSection =
        entry.section != section && !missText(entry.place, entry.section, section).empty();
    if (misspelledSection) continue;  // the section's own line says enough
    if (entry.section != section && entry.key == key)
      add(entry.place, misplacedText(entry, section));
    if (entry.section == section && entry.key != key)
      add(entry.place, missText(entry.place, entry.key, key));
  }
  return found;
}

std::string oddValue(std::string_view value) {
  if (value.size() > 1 && (value.front() == '"' || value.front() == '\'') &&
      value.find(value.front(), 1) != std::string_view::npos)
    return "the quotes are part of the value";
  if (value.find_first_of(";#") != std::string_view::npos)
    return "the comment after the value is part of it";
  return {};
}

}  // namespace settings
