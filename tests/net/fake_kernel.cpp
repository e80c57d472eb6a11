#include "net/fake_kernel.h"
#include "support/c_library.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstring>
#include <utility>

namespace commutil_test {
namespace {

FakeKernel* currentKernel = nullptr;

}  // namespace

FakeKernel::FakeKernel(Ioctl answer) : m_ioctl(std::move(answer)) {
  sockets.reserve(16);  // socket(2) must not throw
  currentKernel = this;
}

FakeKernel::FakeKernel(Getifaddrs answer) : m_getifaddrs(std::move(answer)) {
  currentKernel = this;
}

FakeKernel::~FakeKernel() { currentKernel = nullptr; }

ifreq interfaceRecord(const std::string& name, const std::string& ip) {
  ifreq record{};
  name.copy(record.ifr_name, IFNAMSIZ - 1);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  ::inet_pton(AF_INET, ip.c_str(), &address.sin_addr);
  std::memcpy(&record.ifr_addr, &address, sizeof(address));
  return record;
}

std::string addressOf(const ifreq& record) {
  sockaddr_in address{};
  std::memcpy(&address, &record.ifr_addr, sizeof(address));
  std::array<char, INET_ADDRSTRLEN> text{};
  ::inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
  return text.data();
}

int giveRecords(const std::vector<ifreq>& records, void* argument) {
  auto* const request = static_cast<ifconf*>(argument);
  const std::size_t room = static_cast<std::size_t>(request->ifc_len) / sizeof(ifreq);
  const std::size_t count = std::min(room, records.size());
  std::copy_n(records.begin(), count, request->ifc_req);
  request->ifc_len = static_cast<int>(count * sizeof(ifreq));
  return 0;
}

}  // namespace commutil_test

using commutil_test::cLibrary;
using commutil_test::currentKernel;

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  if (currentKernel != nullptr) currentKernel->sockets.push_back({domain, type, protocol});
  return cLibrary<int(int, int, int)>("socket")(domain, type, protocol);
}

int ioctl(int fd, unsigned long request, ...) noexcept {
  std::va_list args;
  va_start(args, request);
  void* const argument = va_arg(args, void*);
  va_end(args);
  if (currentKernel != nullptr && currentKernel->onIoctl()) {
    return currentKernel->onIoctl()(request, argument);
  }
  return cLibrary<int(int, unsigned long, ...)>("ioctl")(fd, request, argument);
}

int getifaddrs(ifaddrs** list) noexcept {
  if (currentKernel != nullptr && currentKernel->onGetifaddrs()) {
    return currentKernel->onGetifaddrs()(list);
  }
  return cLibrary<int(ifaddrs**)>("getifaddrs")(list);
}

void freeifaddrs(ifaddrs* list) noexcept {
  if (currentKernel == nullptr) return cLibrary<void(ifaddrs*)>("freeifaddrs")(list);
  ++currentKernel->freedLists;
}
}
