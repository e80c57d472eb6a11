#pragma once

#include <dlfcn.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>

#include <arpa/inet.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

// A kernel that answers interface requests as a test tells it: the test program's own `ioctl`,
// `getifaddrs` and `freeifaddrs` stand before the C library's. Include it in one source of a
// program.

namespace commutil_test {

/// While one exists, interface requests of this process come here.
class FakeKernel {
 public:
  /// Answers a request; the result is that of ioctl(2).
  using Ioctl = std::function<int(unsigned long request, void* argument)>;
  /// Answers getifaddrs(3).
  using Getifaddrs = std::function<int(ifaddrs** list)>;

  explicit FakeKernel(Ioctl answer) : m_ioctl(std::move(answer)) { current() = this; }
  explicit FakeKernel(Getifaddrs answer) : m_getifaddrs(std::move(answer)) { current() = this; }
  ~FakeKernel() { current() = nullptr; }
  FakeKernel(const FakeKernel&) = delete;
  FakeKernel& operator=(const FakeKernel&) = delete;

  static FakeKernel*& current() {
    static FakeKernel* kernel = nullptr;
    return kernel;
  }

  const Ioctl& onIoctl() const { return m_ioctl; }
  const Getifaddrs& onGetifaddrs() const { return m_getifaddrs; }
  int freedLists = 0;

 private:
  Ioctl m_ioctl;
  Getifaddrs m_getifaddrs;
};

/// A record as SIOCGIFCONF gives it.
inline ifreq interfaceRecord(const std::string& name, const std::string& ip) {
  ifreq record{};
  name.copy(record.ifr_name, IFNAMSIZ - 1);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  ::inet_pton(AF_INET, ip.c_str(), &address.sin_addr);
  std::memcpy(&record.ifr_addr, &address, sizeof(address));
  return record;
}

/// The IPv4 address that a record holds.
inline std::string addressOf(const ifreq& record) {
  sockaddr_in address{};
  std::memcpy(&address, &record.ifr_addr, sizeof(address));
  char text[INET_ADDRSTRLEN] = {};
  ::inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text));
  return text;
}

/// Answers SIOCGIFCONF with as many of `records` as fit, as the kernel does.
inline int giveRecords(const std::vector<ifreq>& records, void* argument) {
  auto* const request = static_cast<ifconf*>(argument);
  std::size_t count = static_cast<std::size_t>(request->ifc_len) / sizeof(ifreq);
  if (count > records.size()) count = records.size();
  if (count > 0) std::memcpy(request->ifc_req, records.data(), count * sizeof(ifreq));
  request->ifc_len = static_cast<int>(count * sizeof(ifreq));
  return 0;
}

template <class Function>
Function* nextFunction(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace commutil_test

extern "C" {

int ioctl(int fd, unsigned long request, ...) noexcept {
  std::va_list args;
  va_start(args, request);
  void* const argument = va_arg(args, void*);
  va_end(args);
  const auto* const kernel = commutil_test::FakeKernel::current();
  if (kernel != nullptr && kernel->onIoctl()) return kernel->onIoctl()(request, argument);
  return commutil_test::nextFunction<int(int, unsigned long, ...)>("ioctl")(fd, request, argument);
}

int getifaddrs(ifaddrs** list) noexcept {
  const auto* const kernel = commutil_test::FakeKernel::current();
  if (kernel != nullptr && kernel->onGetifaddrs()) return kernel->onGetifaddrs()(list);
  return commutil_test::nextFunction<int(ifaddrs**)>("getifaddrs")(list);
}

void freeifaddrs(ifaddrs* list) noexcept {
  if (auto* const kernel = commutil_test::FakeKernel::current()) {
    ++kernel->freedLists;
    return;
  }
  commutil_test::nextFunction<void(ifaddrs*)>("freeifaddrs")(list);
}
}
