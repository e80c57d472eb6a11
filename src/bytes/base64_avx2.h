#pragma once

#include <cstddef>

// Base64 in blocks, for processors with AVX2; on others these do nothing. They take what is plain
// and leave every decision to the caller, who goes on where they stopped.

namespace commutil {

/// Encodes the first bytes of the `size` at `in`, some whole groups of three, into `out`. Returns
/// how many bytes that were.
std::size_t encodeBlocks(const unsigned char* in, std::size_t size, char* out);

/// Decodes the first characters of the `size` at `in`, some whole groups of four and all of them in
/// the alphabet of RFC 4648, into `out`, which has room for 3 bytes a group of the whole text:
/// room behind the decoded bytes may be written to. Returns how many characters that were.
std::size_t decodeBlocks(const unsigned char* in, std::size_t size, unsigned char* out);

}  // namespace commutil
