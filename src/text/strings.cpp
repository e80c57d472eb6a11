// Trimming, splitting, replacing and upper-casing of byte strings. ASCII only: the locale is never
// read.
#include "VexaStringUtils.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "bytes/checked_size.h"
#include "bytes/find.h"
#include "bytes/rewrite.h"
#include "bytes/scan.h"
#include "bytes/upper.h"
#include "text/tokens.h"

namespace {

using commutil::ByteSet;
using commutil::Finder;
using commutil::Token;
using commutil::Tokens;

constexpr std::size_t kLabelColumns = 32;

// Replacing

// The positions of `finder`'s matches. The first ones are kept, so that a text with few matches is
// searched once.
class Occurrences {
 public:
  Occurrences(std::string_view text, const Finder& finder) : m_text(text), m_finder(finder) {
    // The C library's search is the fastest for a long string without a match.
    if (text.size() > kShort && finder.find(text, 0) == text.size()) return;
    finder.forEach(text, [this](std::size_t at) {
      if (m_size < m_kept.size()) m_kept[m_size] = at;
      ++m_size;
    });
  }

  std::size_t size() const { return m_size; }

  template <class Visit>
  void forEach(const Visit& visit) const {
    if (m_size > m_kept.size()) return m_finder.forEach(m_text, visit);
    std::for_each_n(m_kept.begin(), m_size, visit);
  }

 private:
  static constexpr std::size_t kShort = 64;

  std::string_view m_text;
  const Finder& m_finder;
  std::size_t m_size = 0;
  std::array<std::size_t, 8> m_kept{};
};

// Returns `text` with each match replaced by `to`. Throws std::length_error, before anything is
// written, if no string can hold the result.
std::string replaced(std::string_view text, const Finder& finder, const Occurrences& found,
                     std::string_view to) {
  const std::size_t kept = text.size() - found.size() * finder.length();
  std::string result(commutil::checkedSize(kept, found.size(), to.size()), '\0');
  const commutil::RunCopier copy(text, result);
  char* out = result.data();
  std::size_t begin = 0;
  found.forEach([&](std::size_t at) {
    out = copy(out, text.substr(begin, at - begin));
    out = std::copy(to.begin(), to.end(), out);
    begin = at + finder.length();
  });
  copy(out, text.substr(begin));
  return result;
}

// Replacing in a loop with std::string::replace would move the rest of the text for every match.
void replaceAll(std::string& s, const std::string& from, const std::string& to) {
  if (from.empty()) return;  // would match forever
  const Finder finder(from);
  if (to.size() == from.size()) {
    finder.forEach(s, [&s, &to](std::size_t at) { std::memmove(&s[at], to.data(), to.size()); });
    return;
  }
  const Occurrences found(s, finder);
  if (found.size() > 0) s = replaced(s, finder, found, to);
}

}  // namespace

std::string VexaCommonUtils::Vexareverse(std::string& s) {
  return std::string(s.rbegin(), s.rend());
}

std::string VexaCommonUtils::Vexaltrim(std::string& s) {
  const std::size_t begin = s.find_first_not_of(' ');
  return begin == std::string::npos ? "" : s.substr(begin);
}

std::string VexaCommonUtils::Vexatrim(std::string& s) {
  const std::size_t begin = s.find_first_not_of(' ');
  if (begin == std::string::npos) return "";
  return s.substr(begin, s.find_last_not_of(' ') - begin + 1);
}

std::string VexaCommonUtils::Vexareplace(std::string& s, std::string& from, std::string& to) {
  replaceAll(s, from, to);
  return s;
}

void VexaCommonUtils::stringReplace(const std::string& from, const std::string& to,
                                    std::string& s) {
  replaceAll(s, from, to);
}

// A token starts at a byte outside the set of delimiter bytes, but only the whole delimiter string
// ends it: callers rely on both.
void VexaCommonUtils::split(const std::string& s, const std::string& delims,
                            std::list<std::string>& out) {
  const ByteSet set(delims);
  const Finder finder(delims);
  for (std::size_t at = set.skip(s, 0); at < s.size();) {
    const std::size_t end = finder.find(s, at);
    out.emplace_back(s, at, end - at);
    at = set.skip(s, end + 1);
  }
}

unsigned long VexaCommonUtils::splitAll(const std::string& s, const std::string& delims,
                                        std::vector<std::string>& out) {
  const Tokens tokens(s, delims);
  if (!tokens.copied()) return 0;
  // At least doubled, so that repeated calls on one vector do not copy it every time.
  const std::size_t size = out.size() + tokens.size();
  if (size > out.capacity()) out.reserve(std::max(size, 2 * out.capacity()));
  for (const Token& token : tokens) out.emplace_back(tokens.text(token));
  return size;
}

std::string VexaCommonUtils::tabs(const std::string& s) {
  return std::string(s.size() < kLabelColumns ? kLabelColumns - s.size() : 0, ' ');
}

std::string VexaCommonUtils_i::VexatrimAll(const std::string& s, const char* chars) {
  if (chars == nullptr || *chars == '\0') return s;
  const ByteSet set(chars);
  const std::size_t begin = set.skip(s, 0);
  std::size_t end = s.size();
  while (end > begin && set.contains(s[end - 1])) --end;
  return s.substr(begin, end - begin);
}

std::string VexaCommonUtils_i::trimString(const std::string& s, const char* chars) {
  return VexatrimAll(s, chars);
}

void VexaCommonUtils_i::splitAll(const std::string& s, const std::string& delims,
                                 std::set<std::string>& out) {
  const Tokens tokens(s, delims);
  for (const Token& token : tokens) out.emplace_hint(out.end(), tokens.text(token));
}

void ToUpperEx(std::string& s) { commutil::upperInto(s.data(), s); }

std::string ToUpper(const std::string& s) {
  std::string result(s.size(), '\0');
  commutil::upperInto(result.data(), s);
  return result;
}

std::string ReplaceChar(const std::string& s, char c, const std::string& rep) {
  const Finder finder(std::string_view(&c, 1));
  const Occurrences found(s, finder);
  return found.size() == 0 ? s : replaced(s, finder, found, rep);
}
