#pragma once

#include <cstddef>
#include <string_view>

#include "bytes/ascii.h"
#include "bytes/block.h"

namespace commutil {

/// Returns the block at `at` in upper case. Bytes other than ASCII letters have no case.
inline Block upperBlock(const char* at) {
  const Block block = Block::load(at);
  return block ^ (kLowerCase(block) & Block::filledWith(kCaseBit));
}

/// Writes `text` in upper case at `out`, which may be `text.data()`.
inline void upperInto(char* out, std::string_view text) {
  if (text.size() < Block::kSize) {
    for (const char byte : text) {
      *out++ = kLowerCase(byte) ? static_cast<char>(byte - kCaseBit) : byte;
    }
    return;
  }
  const std::size_t last = text.size() - Block::kSize;
  const Block lastBlock = upperBlock(text.data() + last);  // may overlap the block before
  for (std::size_t at = 0; at < last; at += Block::kSize) {
    upperBlock(text.data() + at).store(out + at);
  }
  lastBlock.store(out + last);
}

}  // namespace commutil
