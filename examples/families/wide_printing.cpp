// Formatted wide text.
#include <VexaLocale.h>
#include <VexaWideIO.h>

#include <cstdlib>
#include <vector>

int main() {
  ::setenv("LC_ALL", "C.UTF-8", 1);
  VexaLocale::Instance();  // else what is not ASCII fails to print

  // The first output makes standard output wide: use no bytes on it from here on.
  Vexawprintf(L"%ls has %d nodes\n", L"M\u00FCnchen", 3);

  // 4096 wide characters, whatever the text: the functions take that for granted.
  std::vector<wchar_t> text(4096);
  Vexaswprintf(text.data(), L"%08.3f", 3.14159);
  Vexawprintf(L"%ls\n", text.data());

  // What does not fit leaves nothing, not a part.
  Vexaswprintf(text.data(), L"%5000d", 1);
  Vexawprintf(L"[%ls]\n", text.data());

  Vexafwprintf(stdout, text.data(), L"%ls\n", L"kept in the buffer too");
  Vexawprintf(L"%ls", text.data());
}
