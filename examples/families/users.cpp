// Reads the user database and the process's command line.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <iostream>

int main() {
  // The strings of the entry are in the buffer, which must outlive it.
  std::array<char, 1024> buffer{};
  passwd entry{};
  if (VexaCommonUtils_i::securityGetpwuid(0, entry, buffer.data(), buffer.size())) {
    std::cout << entry.pw_name << ' ' << entry.pw_dir << '\n';
  }
  std::cout << std::boolalpha
            << VexaCommonUtils_i::securityGetpwnam("nobody-of-this-name", entry, buffer.data(),
                                                   buffer.size())
            << '\n';

  std::vector<std::string> words;
  VexaCommonUtils_i::getCommandLine(words);
  std::cout << words.size() << " word or more: " << !words.front().empty() << '\n';

  // This is the main thread.
  std::cout << (VexaCommonUtils::getKernelThreadIDForFS() == ::getpid()) << '\n';
}
