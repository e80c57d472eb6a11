#pragma once

#include <cstdint>
#include <string_view>

namespace settingrest {

/// Returns the CRC-32C of the bytes that gave `crc`, followed by `bytes`. Starts at 0.
std::uint32_t crc32c(std::uint32_t crc, std::string_view bytes);

}  // namespace settingrest
