// Prints this process's getCommandLine, one word per line, after a first line that was in the list
// before.

#include <cstdio>
#include <string>
#include <vector>

#include "VexaCommonUtils_i.h"

int main() {
  std::vector<std::string> words{"before"};
  VexaCommonUtils_i::getCommandLine(words);
  for (const std::string& word : words) std::printf("<%s>\n", word.c_str());
  return 0;
}
