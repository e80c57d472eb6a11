// CRC-32C (polynomial 0x1EDC6F41, bits reflected), eight bytes at a time by tables.
#include "settingrest/crc32c.h"

#include <array>
#include <cstddef>
#include <cstring>

namespace settingrest {
namespace {

constexpr std::uint32_t kReflectedPolynomial = 0x82F63B78;
constexpr std::size_t kStep = 8;

using Table = std::array<std::uint32_t, 256>;

/// Table k gives the effect of a byte that k zero bytes follow.
constexpr std::array<Table, kStep> makeTables() {
  std::array<Table, kStep> tables{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) * kReflectedPolynomial);
    tables[0][byte] = crc;
  }
  for (std::size_t k = 1; k < kStep; ++k) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const std::uint32_t before = tables[k - 1][byte];
      tables[k][byte] = (before >> 8) ^ tables[0][before & 0xFF];
    }
  }
  return tables;
}

constexpr std::array<Table, kStep> kTables = makeTables();

std::uint32_t advance(std::uint32_t crc, const char* bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, kStep);
  word ^= crc;
  std::uint32_t next = 0;
  for (std::size_t i = 0; i < kStep; ++i) next ^= kTables[kStep - 1 - i][(word >> (8 * i)) & 0xFF];
  return next;
}

}  // namespace

std::uint32_t crc32c(std::uint32_t crc, std::string_view bytes) {
  crc = ~crc;
  while (bytes.size() >= kStep) {
    crc = advance(crc, bytes.data());
    bytes.remove_prefix(kStep);
  }
  for (const char c : bytes)
    crc = (crc >> 8) ^ kTables[0][(crc ^ static_cast<unsigned char>(c)) & 0xFF];
  return ~crc;
}

}  // namespace settingrest
