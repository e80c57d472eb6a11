#pragma once

#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstddef>

#include "os/handles.h"

// The kernel's list of the interfaces with an IPv4 address, see netdevice(7).

namespace commutil {

static_assert(sizeof(ifreq) == 40, "the lookups rely on records of 40 bytes");

/// A socket for interface requests; empty if the system has none left.
inline Descriptor interfaceSocket() {
  // The contract fixes the plain type; close-on-exec is a separate step.
  Descriptor socket(::socket(AF_INET, SOCK_DGRAM, 0));
  if (socket) ::fcntl(socket.get(), F_SETFD, FD_CLOEXEC);
  return socket;
}

/// Fills `records`, an array of `room` elements, with one record per interface address in the
/// kernel's order, and drops the rest. Returns their number; 0 on failure.
inline std::size_t listInterfaces(const Descriptor& socket, ifreq* records, std::size_t room) {
  ifconf request{};
  const auto size = static_cast<int>(room * sizeof(ifreq));
  request.ifc_len = size;
  request.ifc_req = records;
  if (::ioctl(socket.get(), SIOCGIFCONF, &request) < 0) return 0;
  if (request.ifc_len < 0 || request.ifc_len > size) return 0;
  return static_cast<std::size_t>(request.ifc_len) / sizeof(ifreq);
}

}  // namespace commutil
