#include "commutil-settings/pointer.h"

#include <openssl/evp.h>

#include <array>
#include <charconv>
#include <stdexcept>

namespace agent {
namespace {

constexpr std::size_t kDigits = 64;

/// Reads a number without sign or leading zeros from the front of `text`, and the space after it.
std::optional<std::int64_t> takeNumber(std::string_view& text) {
  const std::size_t length = text.find(' ');
  if (length == std::string_view::npos || (text.front() == '0' && length > 1)) return std::nullopt;
  std::int64_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + length, number);
  if (result.ec != std::errc() || result.ptr != text.data() + length || text.front() == '-')
    return std::nullopt;
  text.remove_prefix(length + 1);
  return number;
}

}  // namespace

std::optional<Pointer> parsePointer(std::string_view text) {
  Pointer pointer;
  const std::optional<std::int64_t> revision = takeNumber(text);
  const std::optional<std::int64_t> epoch = revision ? takeNumber(text) : std::nullopt;
  const bool isWhole = text.size() == kDigits + 1 && text.back() == '\n' &&
                       text.find_first_not_of("0123456789abcdef") == kDigits;
  if (!epoch || !isWhole) return std::nullopt;
  return Pointer{*revision, *epoch, std::string(text.substr(0, kDigits))};
}

std::string pointerText(const Pointer& pointer) {
  return std::to_string(pointer.revision) + " " + std::to_string(pointer.epoch) + " " +
         pointer.sha256 + "\n";
}

std::string publishedName(std::int64_t revision) {
  return "settings-" + std::to_string(revision) + ".snap";
}

std::string sha256Of(std::string_view bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1)
    throw std::runtime_error("SHA-256 is not available");
  std::string text;
  for (unsigned i = 0; i < size; ++i) {
    text += "0123456789abcdef"[digest[i] >> 4];
    text += "0123456789abcdef"[digest[i] & 0xF];
  }
  return text;
}

}  // namespace agent
