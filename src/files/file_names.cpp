#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "bytes/checked_size.h"
#include "bytes/raw_text.h"

namespace {

constexpr std::string_view kUnsafeInFileName = "/\\:*?\"'<>|`;&$\n";

constexpr char kEscape = '^';
constexpr std::string_view kSpecials = "\\/:*?\"<>|^";
constexpr std::string_view kLetters = "abcdefghi^";

consteval std::array<bool, 256> unsafeBytes() {
  std::array<bool, 256> table = {};
  for (const char byte : kUnsafeInFileName) table[static_cast<unsigned char>(byte)] = true;
  return table;
}

constexpr std::array<bool, 256> kIsUnsafe = unsafeBytes();

/// A byte as it appears in a file name: the first `length` bytes of `text`.
struct Encoding {
  std::array<char, 2> text;
  unsigned char length;
};

consteval std::array<Encoding, 256> makeEncodings() {
  std::array<Encoding, 256> table = {};
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = {{static_cast<char>(i)}, 1};
  for (std::size_t i = 0; i < kSpecials.size(); ++i) {
    table[static_cast<unsigned char>(kSpecials[i])] = {{kEscape, kLetters[i]}, 2};
  }
  return table;
}

constexpr std::array<Encoding, 256> kEncodings = makeEncodings();

const Encoding& encodingOf(char byte) { return kEncodings[static_cast<unsigned char>(byte)]; }

/// The special character of each letter; 0 for bytes that are not such a letter.
consteval std::array<char, 256> specialsOfLetters() {
  std::array<char, 256> table = {};
  for (std::size_t i = 0; i < kLetters.size(); ++i) {
    table[static_cast<unsigned char>(kLetters[i])] = kSpecials[i];
  }
  return table;
}

constexpr std::array<char, 256> kSpecialOf = specialsOfLetters();

std::size_t countSpecials(std::string_view name) {
  std::size_t count = 0;
  for (const char byte : name) count += encodingOf(byte).length - 1U;
  return count;
}

/// Writes `name` with its special characters escaped, and one byte more. Returns the length.
std::size_t escapeInto(char* data, std::string_view name) {
  char* out = data;
  for (const char byte : name) {
    // Always two bytes: an unpredictable branch would cost more.
    std::memcpy(out, encodingOf(byte).text.data(), 2);
    out += encodingOf(byte).length;
  }
  return static_cast<std::size_t>(out - data);
}

/// Returns the special character of the escape that begins at `i`; 0 if none does. The byte after
/// the last one reads as NUL, which is not a letter.
char escapedAt(const std::string& name, std::size_t i) {
  return name[i] == kEscape ? kSpecialOf[static_cast<unsigned char>(name[i + 1])] : '\0';
}

std::size_t countEscapes(const std::string& name) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (escapedAt(name, i) == '\0') continue;
    ++count;
    ++i;
  }
  return count;
}

/// Writes `name` with its escapes decoded. Returns the length, at most that of `name`.
std::size_t unescapeInto(char* data, const std::string& name) {
  char* out = data;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char special = escapedAt(name, i);
    *out++ = special != '\0' ? special : name[i];
    if (special != '\0') ++i;
  }
  return static_cast<std::size_t>(out - data);
}

}  // namespace

std::string VexaCommonUtils::specialName2FileName(const std::string& name) {
  const std::size_t specials = countSpecials(name);
  if (specials == 0) return name;
  return commutil::writtenText(
      commutil::checkedSize(name.size() + 1, specials, 1),
      [&name](char* data, std::size_t /*room*/) { return escapeInto(data, name); });
}

std::string VexaCommonUtils::fileName2SpecialName(const std::string& name) {
  if (name.find(kEscape) == name.npos) return name;
  // For a short name, counting the escapes costs more than the memory that they leave unused.
  constexpr std::size_t kShort = std::size_t{1} << 20;
  const std::size_t room = name.size() <= kShort ? name.size() : name.size() - countEscapes(name);
  return commutil::writtenText(
      room, [&name](char* data, std::size_t /*room*/) { return unescapeInto(data, name); });
}

bool VexaCommonUtils_i::isSafeFileName(const std::string& name) {
  bool unsafe = false;
  for (const char byte : name) unsafe |= kIsUnsafe[static_cast<unsigned char>(byte)];
  return !unsafe;
}
