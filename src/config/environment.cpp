// The lookup of environment variables and the expanders of references to them.
#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"

namespace {

constexpr std::size_t kShortName = 128;

/// Returns the value of the variable `name`, which getenv(3) reads up to its first NUL; null if not
/// set.
const char* lookUp(std::string_view name) {
  if (name.size() >= kShortName) return std::getenv(std::string(name).c_str());
  std::array<char, kShortName> terminated;  // NOLINT(*-member-init): filled below
  name.copy(terminated.data(), name.size());
  terminated[name.size()] = '\0';
  return std::getenv(terminated.data());
}

/// How references are written: OPEN NAME CLOSE.
struct Syntax {
  std::string_view open;
  char close;
};

/// A reference from `begin` to `end`, and the value of its variable: null if it stays as written,
/// which it does if the variable is unset or empty.
struct Reference {
  std::size_t begin;
  std::size_t end;
  const char* value;
};

/// Finds the first reference at or after `start`. Returns false if there is none.
bool findReference(std::string_view text, const Syntax& syntax, std::size_t start,
                   Reference& found) {
  const std::size_t begin = text.find(syntax.open, start);
  if (begin == std::string_view::npos) return false;
  const std::size_t name = begin + syntax.open.size();
  const std::size_t close = text.find(syntax.close, name);
  if (close == std::string_view::npos) return false;
  const char* const value = lookUp(text.substr(name, close - name));
  found = {begin, close + 1, value != nullptr && *value != '\0' ? value : nullptr};
  return true;
}

/// The first replacements of a text, kept from the pass that measures for the one that writes.
/// Their number is limited, and so is their memory.
class Replacements {  // NOLINT(*-member-init): the array is filled up to m_count
 public:
  void add(const Reference& reference) {
    ++m_added;
    if (m_count < m_first.size()) {
      m_first[m_count++] = reference;
    } else if (m_more.size() < kMostMore) {
      // Grows in two steps: the peak of doubling would exceed the final size.
      if (m_more.size() == m_more.capacity()) m_more.reserve(m_more.empty() ? kMany : kMostMore);
      m_more.push_back(reference);
    }
  }

  std::size_t size() const { return m_count + m_more.size(); }
  bool isComplete() const { return size() == m_added; }
  const Reference& operator[](std::size_t i) const {
    return i < m_count ? m_first[i] : m_more[i - m_count];
  }

 private:
  static constexpr std::size_t kMany = std::size_t{1} << 11;
  static constexpr std::size_t kMostMore = std::size_t{1} << 15;

  std::array<Reference, 64> m_first;
  std::size_t m_count = 0;
  std::size_t m_added = 0;
  std::vector<Reference> m_more;
};

/// Replaces references by the values of their variables, in one pass from left to right.
std::string expand(std::string_view text, const Syntax& syntax) {
  Replacements known;
  std::size_t removed = 0;
  std::size_t added = 0;
  Reference reference{};
  for (std::size_t at = 0; findReference(text, syntax, at, reference); at = reference.end) {
    if (reference.value == nullptr) continue;
    known.add(reference);
    removed += reference.end - reference.begin;
    added += std::strlen(reference.value);
  }

  std::string result;
  result.reserve(text.size() - removed + added);
  std::size_t copied = 0;
  const auto replace = [&](const Reference& each) {
    result.append(text, copied, each.begin - copied).append(each.value);
    copied = each.end;
  };
  for (std::size_t i = 0; i < known.size(); ++i) replace(known[i]);
  // Searches again for the replacements that were not kept.
  std::size_t at = known.isComplete() ? text.size() : copied;
  for (; findReference(text, syntax, at, reference); at = reference.end) {
    if (reference.value != nullptr) replace(reference);
  }
  result.append(text, copied);
  return result;
}

}  // namespace

std::string VexaCommonUtils::Vexagetenv(const char* name) {
  const char* const value = name != nullptr ? std::getenv(name) : nullptr;
  return value != nullptr ? std::string(value) : std::string();
}

std::string VexaCommonUtils::replaceEnvVar(const std::string& text) {
  return expand(text, {"$(", ')'});
}

std::string VexaCommonUtils::replEnvVar(const std::string& text) {
  return expand(text, {"%", '%'});
}

std::string VexaCommonUtils_i::VexareplaceEnvVar(const std::string& text) {
  return expand(text, {"${", '}'});
}

std::string VexaCommonUtils_i::VexareplaceMacroVar(const std::string& text) { return text; }
