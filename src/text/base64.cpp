#include <array>
#include <cctype>
#include <climits>
#include <cstdint>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "bytes/base64_avx2.h"
#include "bytes/checked_size.h"
#include "bytes/raw_text.h"

namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kPad = '=';
constexpr unsigned char kNotInAlphabet = 255;

consteval std::array<unsigned char, UCHAR_MAX + 1> makeIndices() {
  std::array<unsigned char, UCHAR_MAX + 1> indices{};
  indices.fill(kNotInAlphabet);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    indices[static_cast<unsigned char>(kAlphabet[i])] = static_cast<unsigned char>(i);
  }
  return indices;
}

constexpr auto kIndices = makeIndices();

/// Returns whether `c` is a data character. Reads the locale only for bytes outside the alphabet.
bool isData(unsigned char c) { return kIndices[c] != kNotInAlphabet || std::isalnum(c) != 0; }

void encodeGroup(const unsigned char* in, char* out) {
  out[0] = kAlphabet[in[0] >> 2];
  out[1] = kAlphabet[(in[0] & 3U) << 4 | in[1] >> 4];
  out[2] = kAlphabet[(in[1] & 15U) << 2 | in[2] >> 6];
  out[3] = kAlphabet[in[2] & 63U];
}

/// Encodes the last one or two bytes of the data.
void encodeRest(const unsigned char* in, std::size_t size, char* out) {
  const auto second = size == 2 ? in[1] : static_cast<unsigned char>(0);
  const std::array<unsigned char, 3> group{in[0], second, 0};
  encodeGroup(group.data(), out);
  if (size == 1) out[2] = kPad;
  out[3] = kPad;
}

void encode(const unsigned char* in, std::size_t size, char* out) {
  const std::size_t done = commutil::encodeBlocks(in, size, out);
  in += done;
  size -= done;
  out += done / 3 * 4;
  for (; size >= 3; size -= 3, in += 3, out += 4) encodeGroup(in, out);
  if (size > 0) encodeRest(in, size, out);
}

/// Combines four indices into three bytes. Sums, not ors: the index 255 of a letter that only the
/// locale has carries into the neighboring bits.
void decodeGroup(const unsigned char* in, unsigned char* out) {
  out[0] = static_cast<unsigned char>((in[0] << 2) + ((in[1] >> 4) & 3));
  out[1] = static_cast<unsigned char>(((in[1] & 15) << 4) + ((in[2] >> 2) & 15));
  out[2] = static_cast<unsigned char>(((in[2] & 3) << 6) + in[3]);
}

/// Decodes whole groups up to the first one with a byte outside the alphabet. Returns the number of
/// decoded characters.
std::size_t decodeGroups(const unsigned char* in, std::size_t size, unsigned char* out) {
  std::size_t done = 0;
  for (; size - done >= 4; done += 4, in += 4, out += 3) {
    const std::array<unsigned char, 4> group{kIndices[in[0]], kIndices[in[1]], kIndices[in[2]],
                                             kIndices[in[3]]};
    if ((group[0] | group[1] | group[2] | group[3]) == kNotInAlphabet) break;
    decodeGroup(group.data(), out);
  }
  return done;
}

/// Decodes any string up to its end. Returns the number of bytes.
std::size_t decodeToEnd(const unsigned char* in, std::size_t size, unsigned char* out) {
  const unsigned char* const begin = out;
  std::array<unsigned char, 4> group{};
  std::size_t filled = 0;
  for (; size > 0 && *in != kPad && isData(*in); --size, ++in) {
    group[filled++] = kIndices[*in];
    if (filled < group.size()) continue;
    decodeGroup(group.data(), out);
    out += 3;
    filled = 0;
  }
  if (filled >= 2) {
    std::array<unsigned char, 3> decoded{};
    decodeGroup(group.data(), decoded.data());
    *out++ = decoded[0];
    if (filled == 3) *out++ = decoded[1];
  }
  return static_cast<std::size_t>(out - begin);
}

/// Decodes a string in three ways, from the fastest to the most general.
std::size_t decodeInto(const unsigned char* in, std::size_t size, unsigned char* out) {
  std::size_t done = commutil::decodeBlocks(in, size, out);
  done += decodeGroups(in + done, size - done, out + done / 4 * 3);
  return done / 4 * 3 + decodeToEnd(in + done, size - done, out + done / 4 * 3);
}

std::string decode(const std::string& encoded) {
  const auto* const in = reinterpret_cast<const unsigned char*>(encoded.data());
  const std::size_t size = static_cast<std::uint32_t>(encoded.size());  // the length wraps at 4 GiB
  const std::size_t most = commutil::checkedSize(3, size / 4, 3);
  std::string bytes = commutil::writtenText(most, [=](char* out, std::size_t) {
    return decodeInto(in, size, reinterpret_cast<unsigned char*>(out));
  });
  // A long string that ended early must not keep the memory for all of it.
  if (bytes.size() < bytes.capacity() / 2) bytes.shrink_to_fit();
  return bytes;
}

}  // namespace

bool VexaCommonUtils::isBase64(unsigned char c) { return isData(c); }

std::string VexaCommonUtils::base64Decode(const std::string& encoded) { return decode(encoded); }

std::string VexaCommonUtils_i::encodeData(const char* data, unsigned int length) {
  const auto* const in = reinterpret_cast<const unsigned char*>(data);
  const std::size_t size = length;
  const std::size_t encoded = commutil::checkedSize(0, (size + 2) / 3, 4);
  return commutil::writtenText(encoded, [=](char* out, std::size_t room) {
    encode(in, size, out);
    return room;
  });
}

std::string VexaCommonUtils_i::decodeData(const std::string& encoded) { return decode(encoded); }
