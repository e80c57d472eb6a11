// Base64 (RFC 4648), for binary data that the platform keeps in text settings or sends through text
// channels: one encoder and one decoder under two names. Re-entrant; no state.
#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <cstdint>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"

namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kPad = '=';
constexpr unsigned char kNotInAlphabet = 255;

constexpr std::array<unsigned char, UCHAR_MAX + 1> makeIndices() {
  std::array<unsigned char, UCHAR_MAX + 1> indices{};
  indices.fill(kNotInAlphabet);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    indices[static_cast<unsigned char>(kAlphabet[i])] = static_cast<unsigned char>(i);
  }
  return indices;
}

constexpr auto kIndices = makeIndices();

/// Whether the decoder accepts `c`. The locale is asked only for bytes outside the alphabet.
bool isData(unsigned char c) { return kIndices[c] != kNotInAlphabet || std::isalnum(c) != 0; }

void encodeGroup(const unsigned char* in, char* out) {
  out[0] = kAlphabet[in[0] >> 2];
  out[1] = kAlphabet[(in[0] & 3U) << 4 | in[1] >> 4];
  out[2] = kAlphabet[(in[1] & 15U) << 2 | in[2] >> 6];
  out[3] = kAlphabet[in[2] & 63U];
}

/// Turns four indices into three bytes. Sums, not ors: the index 255 of a letter that only the
/// locale knows carries into the neighbouring bits.
void decodeGroup(const unsigned char* in, unsigned char* out) {
  out[0] = static_cast<unsigned char>((in[0] << 2) + ((in[1] >> 4) & 3));
  out[1] = static_cast<unsigned char>(((in[1] & 15) << 4) + ((in[2] >> 2) & 15));
  out[2] = static_cast<unsigned char>(((in[2] & 3) << 6) + in[3]);
}

std::string decode(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3 + 3);
  std::array<unsigned char, 4> group{};
  std::array<unsigned char, 3> decoded{};
  std::size_t filled = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (!isData(byte)) break;
    group[filled++] = kIndices[byte];
    if (filled < group.size()) continue;
    decodeGroup(group.data(), decoded.data());
    bytes.append(reinterpret_cast<const char*>(decoded.data()), decoded.size());
    filled = 0;
  }
  if (filled < 2) return bytes;
  std::fill(group.begin() + static_cast<std::ptrdiff_t>(filled), group.end(), 0);
  decodeGroup(group.data(), decoded.data());
  bytes.append(reinterpret_cast<const char*>(decoded.data()), filled - 1);
  return bytes;
}

/// The part of `encoded` that is looked at: its length is taken as a 32-bit number.
std::string_view lookedAt(const std::string& encoded) {
  return std::string_view(encoded).substr(0, static_cast<std::uint32_t>(encoded.size()));
}

}  // namespace

bool VexaCommonUtils::isBase64(unsigned char c) { return isData(c); }

std::string VexaCommonUtils::base64Decode(const std::string& encoded) {
  return decode(lookedAt(encoded));
}

std::string VexaCommonUtils_i::encodeData(const char* data, unsigned int length) {
  const auto* in = reinterpret_cast<const unsigned char*>(data);
  std::string text((std::size_t{length} + 2) / 3 * 4, kPad);
  char* out = text.data();
  for (; length >= 3; length -= 3, in += 3, out += 4) encodeGroup(in, out);
  if (length == 0) return text;
  const std::array<unsigned char, 3> rest{in[0],
                                          length == 2 ? in[1] : static_cast<unsigned char>(0), 0};
  std::array<char, 4> group{};
  encodeGroup(rest.data(), group.data());
  std::copy_n(group.begin(), length + 1, out);
  return text;
}

std::string VexaCommonUtils_i::decodeData(const std::string& encoded) {
  return decode(lookedAt(encoded));
}
