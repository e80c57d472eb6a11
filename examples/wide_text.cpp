// Writes a file of wide text and reads it again, line by line.
//
// Usage: wide_text FILE
#include <VexaLocale.h>
#include <VexaWideIO.h>

#include <array>
#include <cstdio>

namespace {

constexpr int kRead = 8;
constexpr int kWrite = 16;

bool writeGreetings(const char* path) {
  Vexawofstream out;
  out.open(path, kWrite);
  if (!out.isValid()) return false;

  out << L"Gr\u00FC\u00DFe" << L' ' << L"\u4F60\u597D" << wendl;
  // Each manipulator ends a statement: it returns the std::ostream inside, which has no buffer, so
  // that `out << wendl << L"second"` would lose "second".
  out << L"second" << wendl;

  out << wflush;
  return out.fail() == 0;
}

void printLines(const char* path) {
  Vexawifstream in;
  in.open(path, kRead);
  if (!in.isValid()) return;

  std::array<wchar_t, 81> line{};  // getline writes one element more than its limit
  for (;;) {
    in.getline(line.data(), line.size() - 1);
    // The read that reaches the end of the file stores WEOF.
    if (in.eof() != 0 || in.fail() != 0) return;
    Vexawprintf(L"%ls", line.data());
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 2) {
    std::fputs("Usage: wide_text FILE\n", stderr);
    return 2;
  }
  VexaLocale::Instance();  // sets the locale, which converts wide text
  if (!writeGreetings(argv[1])) {
    std::perror(argv[1]);
    return 1;
  }
  printLines(argv[1]);
  return 0;
}
