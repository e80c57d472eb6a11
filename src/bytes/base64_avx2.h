#pragma once

#include <cstddef>

// Base64 in blocks, for processors with AVX2; on others these functions do nothing. The caller
// continues where they stop.

namespace commutil {

/// Encodes some whole groups of three of the `size` bytes at `in` into `out`. Returns the number of
/// encoded bytes.
std::size_t encodeBlocks(const unsigned char* in, std::size_t size, char* out);

/// Decodes some whole groups of four of the `size` characters at `in`, all in the alphabet of RFC
/// 4648, into `out`, which has 3 bytes per group of the whole string; bytes after the decoded ones
/// may be overwritten. Returns the number of decoded characters.
std::size_t decodeBlocks(const unsigned char* in, std::size_t size, unsigned char* out);

}  // namespace commutil
