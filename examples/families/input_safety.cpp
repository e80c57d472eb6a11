// Checks untrusted names and strings before they reach the file system or a shell.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <iostream>

#include "scratch.h"

int main() {
  const Scratch scratch;
  scratch.name("_APP_SHARE_DIR", "share");
  scratch.write("share/conf/secure.cfg", "[UnsafeWord]\nword1 = rm -rf\nword2 = $(\n");

  std::cout << std::boolalpha;
  for (const char* path : {"/data/x", "/database/x", "/data/../etc/passwd"}) {
    std::cout << path << ' ' << VexaCommonUtils::checkPath(path, "/data") << '\n';
  }

  std::cout << VexaCommonUtils_i::isSafeFileName("report 1.txt") << ' '
            << VexaCommonUtils_i::isSafeFileName("report;1.txt") << '\n';

  std::cout << VexaCommonUtils_i::checkUnSafeStr("list -l") << ' '
            << VexaCommonUtils_i::checkUnSafeStr("list $(id)") << '\n';

  // Maps any name to a file name, and back.
  const std::string name = "node:7/trace";
  const std::string file = VexaCommonUtils::specialName2FileName(name);
  std::cout << file << ' ' << (VexaCommonUtils::fileName2SpecialName(file) == name) << '\n';
}
