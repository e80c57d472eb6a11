// Stores binary data in a text setting.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <iostream>

namespace {

/// Decodes a string that must be base64 throughout. The decoders end silently at the first other
/// byte, so encode the result again and compare.
bool decodeStrictly(const std::string& text, std::string& data) {
  data = VexaCommonUtils_i::decodeData(text);
  const auto size = static_cast<unsigned int>(data.size());
  return VexaCommonUtils_i::encodeData(data.data(), size) == text;
}

}  // namespace

int main() {
  const std::string data("a\0b", 3);
  const std::string text =
      VexaCommonUtils_i::encodeData(data.data(), static_cast<unsigned int>(data.size()));
  std::string back;
  std::cout << text << ' ' << std::boolalpha << decodeStrictly(text, back) << ' ' << (back == data)
            << '\n';

  std::cout << VexaCommonUtils::base64Decode("TWE") << ' '  // padding is optional
            << VexaCommonUtils::base64Decode("TWFu TWFu") << ' '
            << decodeStrictly("TWFu TWFu", back) << '\n';
}
