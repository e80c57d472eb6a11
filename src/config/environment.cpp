// The lookup of environment variables and the expanders of references to them.
#include <array>
#include <cstdlib>
#include <string_view>

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

/// Replaces references written `open` NAME `close`, in one pass from left to right. A variable set
/// to the empty string counts as unset: its reference stays as written.
std::string expand(std::string_view text, std::string_view open, char close) {
  std::string result;
  result.reserve(text.size() + text.size() / 4);  // values are mostly longer than references
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t reference = text.find(open, start);
    if (reference == std::string_view::npos) break;
    const std::size_t name = reference + open.size();
    const std::size_t end = text.find(close, name);
    if (end == std::string_view::npos) break;
    const char* const value = lookUp(text.substr(name, end - name));
    const bool resolved = value != nullptr && *value != '\0';
    result.append(text, start, (resolved ? reference : end + 1) - start);
    if (resolved) result.append(value);
    start = end + 1;
  }
  return result.append(text, start);
}

}  // namespace

std::string VexaCommonUtils::Vexagetenv(const char* name) {
  const char* const value = name != nullptr ? std::getenv(name) : nullptr;
  return value != nullptr ? std::string(value) : std::string();
}

std::string VexaCommonUtils::replaceEnvVar(const std::string& text) {
  return expand(text, "$(", ')');
}

std::string VexaCommonUtils::replEnvVar(const std::string& text) { return expand(text, "%", '%'); }

std::string VexaCommonUtils_i::VexareplaceEnvVar(const std::string& text) {
  return expand(text, "${", '}');
}

std::string VexaCommonUtils_i::VexareplaceMacroVar(const std::string& text) { return text; }
