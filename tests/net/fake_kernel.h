#pragma once

#include <ifaddrs.h>
#include <net/if.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

// A kernel whose results the test sets: the test program's `socket`, `ioctl`, `getifaddrs` and
// `freeifaddrs` replace the C library's.

namespace commutil_test {

/// While one exists, it receives this process's interface requests.
class FakeKernel {
 public:
  /// Replaces ioctl(2): returns its result.
  using Ioctl = std::function<int(unsigned long request, void* argument)>;
  /// Replaces getifaddrs(3).
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

/// A record as SIOCGIFCONF returns it.
ifreq interfaceRecord(const std::string& name, const std::string& ip);

/// Returns the IPv4 address in a record.
std::string addressOf(const ifreq& record);

/// Returns as many of `records` as fit, as SIOCGIFCONF does.
int giveRecords(const std::vector<ifreq>& records, void* argument);

}  // namespace commutil_test
