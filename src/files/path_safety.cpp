#include <algorithm>
#include <string>
#include <string_view>

#include "VexaCommonUtils.h"
#include "files/separators.h"

namespace {

using commutil::isSeparator;

constexpr std::size_t kLongestPath = 1024;

/// Returns whether a component of `text` is "." or "..". Reads nothing after a NUL byte, as the
/// library's splitting of short strings does.
bool hasDotPiece(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  for (std::size_t i = text.find('.'); i < text.size(); ++i) {
    if (text[i] != '.' || (i > 0 && !isSeparator(text[i - 1]))) continue;
    const bool isDouble = i + 1 < text.size() && text[i + 1] == '.';
    const std::size_t next = i + (isDouble ? 2 : 1);
    if (next == text.size() || isSeparator(text[next])) return true;
  }
  return false;
}

std::string_view withoutLastSeparator(std::string_view text) {
  if (isSeparator(text.back())) text.remove_suffix(1);
  return text;
}

bool sameInPath(char a, char b) { return a == b || (isSeparator(a) && isSeparator(b)); }

/// Returns whether `path` is `base` or below it; both have at least one byte.
bool liesUnder(std::string_view path, std::string_view base) {
  path = withoutLastSeparator(path);
  base = withoutLastSeparator(base);
  if (path.size() < base.size()) return false;
  if (!std::equal(base.begin(), base.end(), path.begin(), sameInPath)) return false;
  return path.size() == base.size() || isSeparator(path[base.size()]);
}

}  // namespace

bool VexaCommonUtils::checkPath(const std::string& path, const std::string& base) {
  if (path.empty() || path.size() > kLongestPath || base.size() > kLongestPath) return false;
  if (hasDotPiece(path)) return false;
  if (base.empty()) return true;
  return !hasDotPiece(base) && liesUnder(path, base);
}
