// Formats and prints wide text.
#include <VexaLocale.h>
#include <VexaWideIO.h>

#include <cstdlib>
#include <vector>

int main() {
  ::setenv("LC_ALL", "C.UTF-8", 1);
  VexaLocale::Instance();  // otherwise only ASCII prints

  // The first output makes standard output wide: write no bytes to it after that.
  Vexawprintf(L"%ls has %d nodes\n", L"M\u00FCnchen", 3);

  // Every buffer must have 4096 wide characters.
  std::vector<wchar_t> text(4096);
  Vexaswprintf(text.data(), L"%08.3f", 3.14159);
  Vexawprintf(L"%ls\n", text.data());

  // A result that does not fit leaves an empty string, not a part.
  Vexaswprintf(text.data(), L"%5000d", 1);
  Vexawprintf(L"[%ls]\n", text.data());

  Vexafwprintf(stdout, text.data(), L"%ls\n", L"kept in the buffer too");
  Vexawprintf(L"%ls", text.data());
}
