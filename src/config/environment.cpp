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

/// The values of a text's first references, between the pass that measures and the one that writes:
/// so many that their memory does not count. Later ones are looked up again.
class Values {  // NOLINT(*-member-init): the array is filled up to m_count
 public:
  void add(const char* value) {
    if (m_count < m_first.size()) {
      m_first[m_count++] = value;
    } else if (m_more.size() < kMostMore) {
      m_more.push_back(value);
    }
  }

  const char* at(std::size_t index, std::string_view name) const {
    if (index < m_count) return m_first[index];
    const std::size_t more = index - m_count;
    return more < m_more.size() ? m_more[more] : lookUp(name);
  }

 private:
  static constexpr std::size_t kMostMore = std::size_t{1} << 16;

  std::array<const char*, 64> m_first;
  std::size_t m_count = 0;
  std::vector<const char*> m_more;
};

struct Syntax {
  std::string_view open;
  char close;
};

/// Calls `visit(reference, name)` for the references of `text`, from left to right.
template <class Visit>
void forEachReference(std::string_view text, const Syntax& syntax, const Visit& visit) {
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t reference = text.find(syntax.open, start);
    if (reference == std::string_view::npos) return;
    const std::size_t name = reference + syntax.open.size();
    const std::size_t end = text.find(syntax.close, name);
    if (end == std::string_view::npos) return;
    start = end + 1;
    visit(text.substr(reference, start - reference), text.substr(name, end - name));
  }
}

/// A variable set to the empty string counts as unset.
bool resolves(const char* value) { return value != nullptr && *value != '\0'; }

/// Replaces references written OPEN NAME CLOSE by the values of their variables, unless unset.
std::string expand(std::string_view text, const Syntax& syntax) {
  Values values;
  std::size_t removed = 0;
  std::size_t added = 0;
  forEachReference(text, syntax, [&](std::string_view reference, std::string_view name) {
    const char* const value = lookUp(name);
    values.add(value);
    if (!resolves(value)) return;
    removed += reference.size();
    added += std::strlen(value);
  });
  std::string result;
  result.reserve(text.size() - removed + added);
  std::size_t start = 0;
  std::size_t index = 0;
  forEachReference(text, syntax, [&](std::string_view reference, std::string_view name) {
    const char* const value = values.at(index++, name);
    if (!resolves(value)) return;
    const auto at = static_cast<std::size_t>(reference.data() - text.data());
    result.append(text, start, at - start).append(value);
    start = at + reference.size();
  });
  result.append(text, start);
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
