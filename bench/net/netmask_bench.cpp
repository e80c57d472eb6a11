// Netmask and interface lookups on the loopback interface, against handwritten code.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string>

#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"

namespace {

constexpr const char* kAddress = "127.0.0.1";

void netmaskOurs(benchmark::State& state) {
  std::string netmask;
  for (auto _ : state) benchmark::DoNotOptimize(GetNetmaskByIpUseioctl(kAddress, netmask));
}

/// What a user would write: search the list of addresses with their masks.
void netmaskByGetifaddrs(benchmark::State& state) {
  in_addr wanted{};
  ::inet_pton(AF_INET, kAddress, &wanted);
  for (auto _ : state) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return state.SkipWithError("getifaddrs");
    std::array<char, INET_ADDRSTRLEN> text{};
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
      if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
      sockaddr_in address{};
      std::memcpy(&address, entry->ifa_addr, sizeof(address));
      if (address.sin_addr.s_addr != wanted.s_addr) continue;
      std::memcpy(&address, entry->ifa_netmask, sizeof(address));
      ::inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
      break;
    }
    ::freeifaddrs(list);
    benchmark::DoNotOptimize(text);
  }
}

/// Only the system calls.
void netmaskSystemCalls(benchmark::State& state) {
  std::array<ifreq, 50> records{};
  for (auto _ : state) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    ifconf request{};
    request.ifc_len = sizeof(records);
    request.ifc_req = records.data();
    ::ioctl(fd, SIOCGIFCONF, &request);
    ::ioctl(fd, SIOCGIFNETMASK, records.data());
    ::close(fd);
    benchmark::DoNotOptimize(records);
  }
}

void interfaceOurs(benchmark::State& state) {
  std::string name;
  for (auto _ : state) {
    std::string ip = "::1";
    benchmark::DoNotOptimize(VexaCommonUtils_i::getInterfaceOfIPV6(ip, name));
  }
}

void interfaceByHand(benchmark::State& state) {
  for (auto _ : state) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return state.SkipWithError("getifaddrs");
    std::string name;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
      if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET6) continue;
      sockaddr_in6 address{};
      std::memcpy(&address, entry->ifa_addr, sizeof(address));
      if (std::memcmp(&address.sin6_addr, &in6addr_loopback, sizeof(in6_addr)) == 0) {
        name = entry->ifa_name;
        break;
      }
    }
    ::freeifaddrs(list);
    benchmark::DoNotOptimize(name);
  }
}

void toolOurs(benchmark::State& state) {
  std::string netmask;
  for (auto _ : state) benchmark::DoNotOptimize(GetNetmaskByIpUseifconfig(kAddress, netmask));
}

void toolByPopen(benchmark::State& state) {
  for (auto _ : state) {
    std::FILE* const stream = ::popen("ifconfig -a | grep '127.0.0.1'", "re");
    std::array<char, 4096> text{};
    benchmark::DoNotOptimize(std::fread(text.data(), 1, text.size(), stream));
    ::pclose(stream);
  }
}

// Processes, whose cost is not ours, dominate here: a fixed number of rounds.
constexpr int kToolRounds = 50;

// Our lookup leaks its list by contract, so the number of rounds bounds the memory.
constexpr int kInterfaceRounds = 5000;

BENCHMARK(netmaskOurs)->Name("netmask/kernel/ours");
BENCHMARK(netmaskOurs)->Name("netmask/kernel/ours-again");
BENCHMARK(netmaskByGetifaddrs)->Name("netmask/kernel/getifaddrs");
BENCHMARK(netmaskSystemCalls)->Name("netmask/kernel/calls:socket+fcntl+ioctls+close");
BENCHMARK(interfaceOurs)->Name("interface/ipv6/ours")->Iterations(kInterfaceRounds);
BENCHMARK(interfaceOurs)->Name("interface/ipv6/ours-again")->Iterations(kInterfaceRounds);
BENCHMARK(interfaceByHand)->Name("interface/ipv6/getifaddrs")->Iterations(kInterfaceRounds);
BENCHMARK(toolOurs)->Name("netmask/tool/ours")->Iterations(kToolRounds)->UseRealTime();
BENCHMARK(toolOurs)->Name("netmask/tool/ours-again")->Iterations(kToolRounds)->UseRealTime();
BENCHMARK(toolByPopen)->Name("netmask/tool/popen")->Iterations(kToolRounds)->UseRealTime();

}  // namespace
