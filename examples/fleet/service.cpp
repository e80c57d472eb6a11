// A service of the demonstration of a fleet: prints the switch "listen on all addresses" whenever
// it changes, until standard input ends. It is never restarted.
#include <VexaCommonUtils.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <optional>

int main(int /*argc*/, char** argv) {
  constexpr int kInterval = 20;  // ms
  std::optional<bool> last;
  pollfd input{STDIN_FILENO, POLLIN, 0};
  while (::poll(&input, 1, kInterval) == 0) {
    const bool listens = VexaCommonUtils::isListenAllIp();
    if (listens == last) continue;
    last = listens;
    std::printf("%s: %s\n", argv[1],
                listens ? "listens on all addresses" : "listens on one address");
    std::fflush(stdout);
  }
}
