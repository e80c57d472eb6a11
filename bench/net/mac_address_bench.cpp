// MAC address parsers and lists against the C library and handwritten code.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/ether.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "VexaNetUtils.h"

namespace {

const std::string& toolLine() {
  static const std::string line = "        ether 00:0c:29:ab:cd:ef  txqueuelen 1000  (Ethernet)\n";
  return line;
}

void etherOurs(benchmark::State& state) {
  Vexacommon::LocalMACAddress mac{};
  for (auto _ : state) benchmark::DoNotOptimize(GetEther(toolLine(), &mac));
}

void zirelEtherOurs(benchmark::State& state) {
  Vexacommon::LocalMACAddress mac{};
  for (auto _ : state) benchmark::DoNotOptimize(GetZirelEther(toolLine(), &mac));
}

void etherByScanf(benchmark::State& state) {
  std::array<unsigned char, 6> mac{};
  for (auto _ : state) {
    const std::string& line = toolLine();
    benchmark::DoNotOptimize(std::sscanf(line.c_str() + line.find("ether") + 6,
                                         "%hhx:%hhx:%hhx:%hhx:%hhx:%hhx", &mac[0], &mac[1], &mac[2],
                                         &mac[3], &mac[4], &mac[5]));
  }
}

void etherByAton(benchmark::State& state) {
  ether_addr mac{};
  for (auto _ : state) {
    const std::string& line = toolLine();
    benchmark::DoNotOptimize(::ether_aton_r(line.c_str() + line.find("ether") + 6, &mac));
  }
}

void kernelOurs(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<CMACAddress> addresses;
    CMACAddress work;
    GetHWMACAddr(addresses, work);
    benchmark::DoNotOptimize(addresses);
  }
}

/// Only the system calls.
void kernelSystemCalls(benchmark::State& state) {
  std::array<ifreq, 16> records{};
  for (auto _ : state) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    ifconf request{};
    request.ifc_len = sizeof(records);
    request.ifc_req = records.data();
    ::ioctl(fd, SIOCGIFCONF, &request);
    const std::size_t count = static_cast<std::size_t>(request.ifc_len) / sizeof(ifreq);
    for (std::size_t i = 0; i < count; ++i) ::ioctl(fd, SIOCGIFHWADDR, &records[i]);
    ::close(fd);
    benchmark::DoNotOptimize(records);
  }
}

void allOurs(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<CMACAddress> addresses;
    benchmark::DoNotOptimize(GetLocalMACAddr(addresses));
  }
}

void allByPopen(benchmark::State& state) {
  for (auto _ : state) {
    for (const char* command :
         {"/sbin/ifconfig -a | /usr/bin/grep HWaddr | /usr/bin/awk -F' ' '{print $5}'",
          "/bin/cat /proc/net/bonding/* 2>&1 | /usr/bin/grep \"Permanent HW addr\""}) {
      std::FILE* const stream = ::popen(command, "re");
      std::array<char, 1024> line{};
      while (std::fgets(line.data(), static_cast<int>(line.size()), stream) != nullptr) {
        benchmark::DoNotOptimize(line);
      }
      ::pclose(stream);
    }
  }
}

// Processes, whose cost is not ours, dominate here: a fixed number of rounds.
constexpr int kToolRounds = 50;

BENCHMARK(etherOurs)->Name("GetEther/line/ours");
BENCHMARK(etherOurs)->Name("GetEther/line/ours-again");
BENCHMARK(etherByScanf)->Name("GetEther/line/sscanf");
BENCHMARK(etherByAton)->Name("GetEther/line/ether_aton_r");
BENCHMARK(zirelEtherOurs)->Name("GetZirelEther/line/ours");
BENCHMARK(zirelEtherOurs)->Name("GetZirelEther/line/ours-again");
BENCHMARK(etherByScanf)->Name("GetZirelEther/line/sscanf");
BENCHMARK(kernelOurs)->Name("mac/kernel/ours");
BENCHMARK(kernelOurs)->Name("mac/kernel/ours-again");
BENCHMARK(kernelSystemCalls)->Name("mac/kernel/calls:socket+fcntl+ioctls+close");
BENCHMARK(allOurs)->Name("mac/all/ours")->Iterations(kToolRounds)->UseRealTime();
BENCHMARK(allOurs)->Name("mac/all/ours-again")->Iterations(kToolRounds)->UseRealTime();
BENCHMARK(allByPopen)->Name("mac/all/popen")->Iterations(kToolRounds)->UseRealTime();

}  // namespace
