#pragma once

#include <ifaddrs.h>
#include <net/if.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

// A kernel that answers interface requests as a test tells it: the test program's own `socket`,
// `ioctl`, `getifaddrs` and `freeifaddrs` stand before the C library's.

namespace commutil_test {

/// While one exists, interface requests of this process come here.
class FakeKernel {
 public:
  /// Answers a request; the result is that of ioctl(2).
  using Ioctl = std::function<int(unsigned long request, void* argument)>;
  /// Answers getifaddrs(3).
  using Getifaddrs = std::function<int(ifaddrs** list)>;

  explicit FakeKernel(Ioctl answer);
  explicit FakeKernel(Getifaddrs answer);
  ~FakeKernel();
  FakeKernel(const FakeKernel&) = delete;
  FakeKernel& operator=(const FakeKernel&) = delete;

  const Ioctl& onIoctl() const { return m_ioctl; }
  const Getifaddrs& onGetifaddrs() const { return m_getifaddrs; }
  int freedLists = 0;
  std::vector<std::array<int, 3>> sockets;  ///< the arguments of each socket(2)

 private:
  Ioctl m_ioctl;
  Getifaddrs m_getifaddrs;
};

/// A record as SIOCGIFCONF gives it.
ifreq interfaceRecord(const std::string& name, const std::string& ip);

/// The IPv4 address that a record holds.
std::string addressOf(const ifreq& record);

/// Answers SIOCGIFCONF with as many of `records` as fit, as the kernel does.
int giveRecords(const std::vector<ifreq>& records, void* argument);

}  // namespace commutil_test
