#pragma once

#include <string_view>

namespace commutil {

/// The byte-order mark of UTF-8, which every reader skips.
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

constexpr bool hasByteOrderMark(std::string_view text) {
  return text.substr(0, kByteOrderMark.size()) == kByteOrderMark;
}

constexpr std::string_view withoutByteOrderMark(std::string_view text) {
  return text.substr(hasByteOrderMark(text) ? kByteOrderMark.size() : 0);
}

}  // namespace commutil
