#include "bracket_pattern.h"

namespace commutil_test {
namespace {

unsigned char byteAt(std::string_view text, std::size_t at) {
  return static_cast<unsigned char>(text[at]);
}

}  // namespace

BracketPattern::BracketPattern(std::string_view pattern) {
  for (std::size_t at = 0; at < pattern.size();) {
    if (const std::size_t next = pattern[at] == '[' ? addSet(pattern, at) : at; next != at) {
      at = next;
      continue;
    }
    Element& element = m_elements.emplace_back();
    if (pattern[at] == '%') {
      element.isAnyString = true;
    } else if (pattern[at] == '_') {
      element.bytes.set();
    } else {
      element.bytes.set(byteAt(pattern, at));
    }
    ++at;
  }
}

// Adds the set that starts at `at`; returns the position after it, or `at` if it has no end.
std::size_t BracketPattern::addSet(std::string_view pattern, std::size_t at) {
  const bool isNegated = pattern.substr(at + 1, 1) == "^";
  const std::size_t first = at + (isNegated ? 2 : 1);
  const std::size_t end = pattern.find(']', first + 1);
  if (end == std::string_view::npos) return at;
  Set bytes;
  for (std::size_t i = first; i < end; ++i) {
    const bool isRange = i + 2 < end && pattern[i + 1] == '-';
    const unsigned last = byteAt(pattern, isRange ? i + 2 : i);
    for (unsigned byte = byteAt(pattern, i); byte <= last; ++byte) bytes.set(byte);
    if (isRange) i += 2;
  }
  m_elements.push_back({false, isNegated ? ~bytes : bytes});
  return end + 1;
}

bool BracketPattern::matches(std::string_view text) const {
  std::size_t element = 0;
  std::size_t at = 0;
  std::size_t anyString = m_elements.size();  // the last one passed, and where its string ends
  std::size_t anyStringEnd = 0;
  for (;;) {
    if (element < m_elements.size() && m_elements[element].isAnyString) {
      anyString = element++;
      anyStringEnd = at;
    } else if (at == text.size()) {
      return element == m_elements.size();
    } else if (element < m_elements.size() && m_elements[element].bytes.test(byteAt(text, at))) {
      ++element;
      ++at;
    } else if (anyString < m_elements.size()) {
      element = anyString + 1;
      at = ++anyStringEnd;
    } else {
      return false;
    }
  }
}

}  // namespace commutil_test
