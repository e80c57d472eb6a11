// Prints what is generated from the catalog: commutil-catalog --markdown or --man.
#include <cstdio>
#include <string>
#include <string_view>

#include "settings/pages.h"

int main(int argc, char** argv) {
  const std::string_view kind = argc == 2 ? argv[1] : "";
  std::string page;
  if (kind == "--markdown") page = settings::markdownPage();
  if (kind == "--man") page = settings::manPage();
  if (page.empty()) {
    std::fputs("Usage: commutil-catalog --markdown|--man\n", stderr);
    return 2;
  }
  std::fwrite(page.data(), 1, page.size(), stdout);
  return std::fflush(stdout) == 0 ? 0 : 1;
}
