// Compares conversions between numbers and strings, and percentage rounding, with plain models.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaStringUtils.h"
#include "support/expect.h"
#include "support/input.h"

namespace {

/// Only the last sixteen digits count, and only the low 32 bits of their value, as a signed number.
std::string modelHexToInt(const std::string& hex) {
  if (hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return "";
  const std::string last = hex.size() > 16 ? hex.substr(hex.size() - 16) : hex;
  const std::uint64_t value = std::strtoull(last.c_str(), nullptr, 16);
  const auto low = static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
  const std::string text = std::to_string(low);
  return text.size() > 3 ? "" : text;
}

double modelUpper(double x) {
  if (std::isnan(x) || x >= 100.0) return 100.0;
  if (x >= 99.0) return 99.0;
  if (x >= 0.0) return std::ceil(x);
  if (x > -1.0) return 0.0;
  const double wrapped = std::ldexp(1.0, 64);  // the unsigned whole part wraps here
  return x < -std::ldexp(1.0, 63) ? wrapped : wrapped + std::trunc(x);
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::string number = input.cText();
  char buf[22];
  const long value = std::strtol(number.c_str(), nullptr, 0);
  expectEqual(VexaCommonUtils::ltoa(value, buf), std::to_string(value), "ltoa");
  const unsigned long unsignedValue = std::strtoul(number.c_str(), nullptr, 0);
  expectEqual(VexaCommonUtils::ultoa(unsignedValue, buf), std::to_string(unsignedValue), "ultoa");
  expectEqual(VexaCommonUtils_i::ulltoa(unsignedValue, buf), std::to_string(unsignedValue),
              "ulltoa");

  const double x = std::strtod(number.c_str(), nullptr);
  expectEqual(VexaCommonUtils_i::getUpperIntVal(x), modelUpper(x), "getUpperIntVal");

  const std::string hex = input.rest();
  expectEqual(StrHexToInt(hex), modelHexToInt(upToNul(hex)), "StrHexToInt");
}
