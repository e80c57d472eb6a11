#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "bytes/block.h"
#include "bytes/checked_size.h"
#include "bytes/raw_text.h"
#include "bytes/scan.h"

// Copying and rewriting text in blocks.

namespace commutil {

/// Copies runs of `text` into `result`, a short one as a whole block where both have room.
class RunCopier {
 public:
  RunCopier(std::string_view text, std::string& result)
      : m_textEnd(text.data() + text.size()), m_resultEnd(result.data() + result.size()) {}

  /// Copies `run` to `out`; returns its end.
  char* operator()(char* out, std::string_view run) const {
    constexpr auto kBlock = static_cast<std::ptrdiff_t>(Block::kSize);
    if (run.size() <= Block::kSize && m_textEnd - run.data() >= kBlock &&
        m_resultEnd - out >= kBlock) {
      Block::load(run.data()).store(out);
    } else {
      std::memcpy(out, run.data(), run.size());
    }
    return out + run.size();
  }

 private:
  const char* m_textEnd;
  const char* m_resultEnd;
};

/// Copies the `length` bytes of a `block` to `out`, except those of the `mask`, which
/// `write(out, byte)` writes; it returns the position after what it wrote. Runs are copied as whole
/// blocks: both sides need room for one more. Returns the result's end.
template <class Write>
char* rewriteBlock(char* out, const char* block, std::size_t length, unsigned mask,
                   const Write& write) {
  std::size_t copied = 0;
  for (; mask != 0; mask &= mask - 1) {
    const auto hit = lowestBit(mask);
    Block::load(block + copied).store(out);
    out = write(out + (hit - copied), block[hit]);
    copied = hit + 1;
  }
  Block::load(block + copied).store(out);
  return out + (length - copied);
}

/// Copies `text` to `out`, except the bytes of `set`, each of which `write` (see `rewriteBlock`)
/// writes as at least one byte. Returns the result's end.
template <class Set, class Write>
char* rewriteInto(char* out, std::string_view text, const Set& set, const Write& write) {
  const char* at = text.data();
  const char* const end = at + text.size();
  // While two blocks are left, a block's copies end inside `text`, and inside the result, because
  // at least as much is left to write as to read.
  for (; end - at >= static_cast<std::ptrdiff_t>(2 * Block::kSize); at += Block::kSize) {
    out = rewriteBlock(out, at, Block::kSize, set(Block::load(at)).mask(), write);
  }
  for (; at != end; ++at) {
    if (set(*at)) {
      out = write(out, *at);
    } else {
      *out++ = *at;
    }
  }
  return out;
}

constexpr std::size_t kShortText = 2 * Block::kSize;
constexpr std::size_t kWidestByte = 3;

/// `rewriteInto` of a short text: whole blocks are copied throughout, so `out` needs room for one
/// more than the result.
template <class Set, class Write>
char* rewriteShortInto(char* out, std::string_view text, const Set& set, const Write& write) {
  std::array<char, kShortText + Block::kSize> padded{};
  std::copy(text.begin(), text.end(), padded.begin());
  for (std::size_t at = 0; at < text.size(); at += Block::kSize) {
    const std::size_t length = std::min(Block::kSize, text.size() - at);
    const char* const block = padded.data() + at;
    const unsigned mask = set(Block::load(block)).mask() & ((1U << length) - 1);
    out = rewriteBlock(out, block, length, mask, write);
  }
  return out;
}

/// Returns `text` with each byte of `set` written as `width` bytes, three at most, by `write` (see
/// `rewriteBlock`).
template <char... Bytes, class Write>
std::string rewriteBytes(std::string_view text, const AnyOf<Bytes...>& set, std::size_t width,
                         const Write& write) {
  if (text.size() <= kShortText) {
    std::array<char, kShortText * kWidestByte + Block::kSize> result;  // NOLINT(*-member-init)
    return std::string(result.data(), rewriteShortInto(result.data(), text, set, write));
  }
  if (!containsAnyOf(text, set)) return std::string(text);
  const std::size_t hits = countBytes(text, set);
  const std::size_t size = checkedSize(text.size() - hits, hits, width);
  return writtenText(size, [&](char* out, std::size_t /*size*/) {
    rewriteInto(out, text, set, write);
    return size;
  });
}

}  // namespace commutil
