// Checks on names and paths that come from outside, made before they reach the file system or a
// shell, and the mapping that stores arbitrary names as file names. All by text alone; only the
// list of unsafe words is a file, read on each call. Re-entrant; no state.
#include <string.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <list>
#include <string>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "bytes/checked_size.h"
#include "bytes/raw_text.h"
#include "os/standard_streams.h"
#include "platform/ini_reader.h"

namespace {

constexpr std::size_t kLongestPath = 1024;

constexpr std::string_view kUnsafeInFileName = "/\\:*?\"'<>|`;&$\n";

constexpr char kEscape = '^';
constexpr std::string_view kSpecials = "\\/:*?\"<>|^";
constexpr std::string_view kLetters = "abcdefghi^";

bool isSeparator(char c) { return c == '/' || c == '\\'; }

/// Whether a piece of `text` between separators is "." or "..". Like the library's splitting of
/// short texts it sees nothing behind a NUL byte.
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

/// Whether `path` is `base` or below it; both have at least one byte.
bool liesUnder(std::string_view path, std::string_view base) {
  path = withoutLastSeparator(path);
  base = withoutLastSeparator(base);
  if (path.size() < base.size()) return false;
  if (!std::equal(base.begin(), base.end(), path.begin(), sameInPath)) return false;
  return path.size() == base.size() || isSeparator(path[base.size()]);
}

constexpr std::array<bool, 256> unsafeBytes() {
  std::array<bool, 256> table = {};
  for (const char byte : kUnsafeInFileName) table[static_cast<unsigned char>(byte)] = true;
  return table;
}

constexpr std::array<bool, 256> kIsUnsafe = unsafeBytes();

/// How a byte is written in a file name: the first `length` bytes of `text`.
struct Written {
  std::array<char, 2> text;
  unsigned char length;
};

constexpr std::array<Written, 256> writtenBytes() {
  std::array<Written, 256> table = {};
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = {{static_cast<char>(i)}, 1};
  for (std::size_t i = 0; i < kSpecials.size(); ++i) {
    table[static_cast<unsigned char>(kSpecials[i])] = {{kEscape, kLetters[i]}, 2};
  }
  return table;
}

constexpr std::array<Written, 256> kWritten = writtenBytes();

const Written& written(char byte) { return kWritten[static_cast<unsigned char>(byte)]; }

/// The special character that each letter stands for; 0 for bytes that are no letter.
constexpr std::array<char, 256> specialsOfLetters() {
  std::array<char, 256> table = {};
  for (std::size_t i = 0; i < kLetters.size(); ++i) {
    table[static_cast<unsigned char>(kLetters[i])] = kSpecials[i];
  }
  return table;
}

constexpr std::array<char, 256> kSpecialOf = specialsOfLetters();

std::size_t countSpecials(std::string_view name) {
  std::size_t count = 0;
  for (const char byte : name) count += written(byte).length - 1U;
  return count;
}

/// Writes `name` with its special characters escaped, and a byte more. Returns the length.
std::size_t escapeInto(char* data, std::string_view name) {
  char* out = data;
  for (const char byte : name) {
    // Two bytes each time: a branch that is hard to foretell would cost more.
    std::memcpy(out, written(byte).text.data(), 2);
    out += written(byte).length;
  }
  return static_cast<std::size_t>(out - data);
}

/// Writes `name` with its escapes turned back. Returns the length, at most that of `name`.
std::size_t unescapeInto(char* data, const std::string& name) {
  char* out = data;
  for (std::size_t i = 0; i < name.size(); ++i) {
    // The byte behind the last one reads as NUL, which is no letter.
    const char special =
        name[i] == kEscape ? kSpecialOf[static_cast<unsigned char>(name[i + 1])] : '\0';
    *out++ = special != '\0' ? special : name[i];
    if (special != '\0') ++i;
  }
  return static_cast<std::size_t>(out - data);
}

bool contains(std::string_view text, std::string_view word) {
  return ::memmem(text.data(), text.size(), word.data(), word.size()) != nullptr;
}

}  // namespace

bool VexaCommonUtils::checkPath(const std::string& path, const std::string& base) {
  if (path.empty() || path.size() > kLongestPath || base.size() > kLongestPath) return false;
  if (hasDotPiece(path)) return false;
  if (base.empty()) return true;
  return !hasDotPiece(base) && liesUnder(path, base);
}

std::string VexaCommonUtils::specialName2FileName(const std::string& name) {
  const std::size_t specials = countSpecials(name);
  if (specials == 0) return name;
  return commutil::writtenText(
      commutil::checkedSize(name.size() + 1, specials, 1),
      [&name](char* data, std::size_t /*room*/) { return escapeInto(data, name); });
}

std::string VexaCommonUtils::fileName2SpecialName(const std::string& name) {
  if (name.find(kEscape) == name.npos) return name;
  return commutil::writtenText(
      name.size(), [&name](char* data, std::size_t /*room*/) { return unescapeInto(data, name); });
}

bool VexaCommonUtils_i::isSafeFileName(const std::string& name) {
  bool unsafe = false;
  for (const char byte : name) unsafe |= kIsUnsafe[static_cast<unsigned char>(byte)];
  return !unsafe;
}

bool VexaCommonUtils_i::checkUnSafeStr(const std::string& text) {
  if (text.empty()) return true;
  const std::string path = getConfFile("secure.cfg");
  VexaIniReader list(path);
  if (list.initialize(false) != 0) {
    commutil::printErrorLine("file open fail, " + path);
    return true;  // on purpose: a missing file never blocks the platform
  }
  std::list<VexaIniReader::IniNode> words;
  list.getParamList("[UnsafeWord]", words);
  return std::none_of(words.begin(), words.end(), [&text](const VexaIniReader::IniNode& word) {
    return !word.value.empty() && contains(text, word.value);
  });
}
