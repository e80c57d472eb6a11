// Checks on names and paths that come from outside, made before they reach the file system or a
// shell, and the mapping that stores arbitrary names as file names. All by text alone; only the
// list of unsafe words is a file, read on each call. Re-entrant; no state.
#include <string.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <list>
#include <string>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "platform/byte_blocks.h"
#include "platform/ini_reader.h"

namespace {

constexpr std::size_t kLongestPath = 1024;

constexpr commutil::AnyOf<15> kUnsafeInFileName = {
    {'/', '\\', ':', '*', '?', '"', '\'', '<', '>', '|', '`', ';', '&', '$', '\n'}};

constexpr char kEscape = '^';
constexpr commutil::AnyOf<10> kSpecials = {{'\\', '/', ':', '*', '?', '"', '<', '>', '|', kEscape}};
constexpr std::string_view kLetters = "abcdefghi^";

bool isSeparator(char c) { return c == '/' || c == '\\'; }

/// Whether a piece of `text` between separators is "." or "..". Like the library's splitting of
/// short texts it sees nothing behind a NUL byte.
bool hasDotPiece(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  for (std::size_t dot = text.find('.'); dot != text.npos; dot = text.find('.', dot + 1)) {
    if (dot > 0 && !isSeparator(text[dot - 1])) continue;
    std::string_view rest = text.substr(dot);
    rest.remove_prefix(rest.substr(0, 2) == ".." ? 2 : 1);
    if (rest.empty() || isSeparator(rest.front())) return true;
  }
  return false;
}

/// The length of `text` with a separator at its end.
std::size_t lengthAsDirectory(std::string_view text) {
  return text.size() + (isSeparator(text.back()) ? 0 : 1);
}

/// The byte at `i` of `text` with "/" for every separator and at its end.
char byteAsDirectory(std::string_view text, std::size_t i) {
  return i == text.size() || isSeparator(text[i]) ? '/' : text[i];
}

/// Whether `path` is `base` or below it; both have at least one byte.
bool liesUnder(std::string_view path, std::string_view base) {
  const std::size_t length = lengthAsDirectory(base);
  if (lengthAsDirectory(path) < length) return false;
  for (std::size_t i = 0; i < length; ++i) {
    if (byteAsDirectory(path, i) != byteAsDirectory(base, i)) return false;
  }
  return true;
}

/// The letter that stands for each special character; 0 for other bytes.
constexpr std::array<char, 256> lettersOfSpecials() {
  std::array<char, 256> letters = {};
  for (std::size_t i = 0; i < kLetters.size(); ++i) {
    letters[static_cast<unsigned char>(kSpecials.bytes[i])] = kLetters[i];
  }
  return letters;
}

/// The special character that each letter stands for; 0 for bytes that are no letter.
constexpr std::array<char, 256> specialsOfLetters() {
  std::array<char, 256> specials = {};
  for (std::size_t i = 0; i < kLetters.size(); ++i) {
    specials[static_cast<unsigned char>(kLetters[i])] = kSpecials.bytes[i];
  }
  return specials;
}

constexpr auto kLetterOf = lettersOfSpecials();
constexpr auto kSpecialOf = specialsOfLetters();

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
  return commutil::rewriteBytes(name, kSpecials, 2, [](char* out, char special) {
    *out++ = kEscape;
    *out++ = kLetterOf[static_cast<unsigned char>(special)];
    return out;
  });
}

std::string VexaCommonUtils::fileName2SpecialName(const std::string& name) {
  std::string result;
  result.reserve(name.size());
  std::size_t at = 0;
  for (std::size_t hit = name.find(kEscape); hit != name.npos; hit = name.find(kEscape, at)) {
    // The byte behind the last one reads as NUL, which is no letter.
    const char special = kSpecialOf[static_cast<unsigned char>(name[hit + 1])];
    result.append(name, at, hit - at).push_back(special != '\0' ? special : kEscape);
    at = hit + (special != '\0' ? 2 : 1);
  }
  return result.append(name, at);
}

bool VexaCommonUtils_i::isSafeFileName(const std::string& name) {
  return !commutil::containsAny(name, kUnsafeInFileName);
}

bool VexaCommonUtils_i::checkUnSafeStr(const std::string& text) {
  if (text.empty()) return true;
  const std::string path = getConfFile("secure.cfg");
  VexaIniReader list(path);
  if (list.initialize(false) != 0) {
    std::cerr << "file open fail, " + path + "\n";
    return true;  // on purpose: a missing file never blocks the platform
  }
  std::list<VexaIniReader::IniNode> words;
  list.getParamList("[UnsafeWord]", words);
  return std::none_of(words.begin(), words.end(), [&text](const VexaIniReader::IniNode& word) {
    return !word.value.empty() && contains(text, word.value);
  });
}
