// Converts between wide strings and multibyte strings of the locale.
#include <VexaCommonUtils.h>
#include <VexaLocale.h>

#include <cstdlib>
#include <iostream>

int main() {
  ::setenv("LC_ALL", "C.UTF-8", 1);
  // Early and from one thread: otherwise the first conversion sets the locale while threads run.
  VexaLocale::Instance();

  const std::wstring wide = VexaCommonUtils::STR2WSTR(
      "Gr\xC3\xBC\xC3\x9F"
      "e");
  std::cout << wide.size() << " characters, " << VexaCommonUtils::WSTR2STR(wide.c_str()).size()
            << " bytes\n";

  // Failures are not reported: an invalid sequence ends the result, and the result for an
  // unencodable character is "".
  std::cout << VexaCommonUtils::STR2WSTR("ab\xFFzz").size() << " characters before the fault\n";
  const wchar_t beyond[] = {static_cast<wchar_t>(0xD800), L'\0'};
  std::cout << '"' << VexaCommonUtils::WSTR2STR(beyond) << "\"\n";
}
