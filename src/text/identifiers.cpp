// Identifiers made of the time and the host's MAC address, and local time stamps. For any process;
// re-entrant, no state.
#include <sys/time.h>

#include <ace/OS_NS_netdb.h>
#include <ace/OS_NS_time.h>
#include <ace/Time_Value.h>

#include <array>
#include <ctime>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "platform/bounded.h"

namespace {

constexpr std::size_t kMacSize = 6;
using Mac = std::array<unsigned char, kMacSize>;

/// Fills `mac` with the host's address, zeros where none can be read. Returns false only when the
/// copy fails.
bool readMac(Mac& mac) {
  mac.fill(0);
  ACE_OS::macaddr_node_t node{};
  if (ACE_OS::getmacaddress(&node) != 0) return true;
  return memcpy_s(mac.data(), mac.size(), node.node, kMacSize) == 0;
}

/// The time in units of 100 nanoseconds since the epoch; a clock that fails reads as -1 seconds.
unsigned long long timeIn100Nanoseconds() {
  timeval now{};
  ACE_Time_Value value(-1, 0);
  if (::gettimeofday(&now, nullptr) == 0) value.set(now);
  const auto seconds = static_cast<unsigned long long>(value.sec());
  const auto microseconds = static_cast<unsigned long long>(value.usec());
  return (seconds * 1'000'000 + microseconds) * 10;
}

}  // namespace

std::string VexaCommonUtils_i::generateUUID() {
  Mac mac;  // NOLINT(*-member-init): filled by readMac
  if (!readMac(mac)) return {};
  std::array<char, 64> text{};
  const int length =
      snprintf_s(text.data(), text.size(), text.size() - 1, "%020llX%2.2X%2.2X%2.2X%2.2X%2.2X%2.2X",
                 timeIn100Nanoseconds(), mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
  return length < 0 ? std::string() : std::string(text.data());
}

std::string VexaCommonUtils::getTimeStamp(bool markDst) {
  const std::time_t now = std::time(nullptr);
  tm local{};
  ACE_OS::localtime_r(&now, &local);
  std::array<char, 100> text{};
  const int length = snprintf_s(text.data(), text.size(), text.size() - 1,
                                "%04d%02d%02d%02d%02d%02d", local.tm_year + 1900, local.tm_mon + 1,
                                local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  if (length < 0) return {};
  // A negative flag means "unknown" and counts as in force.
  return markDst && local.tm_isdst != 0 ? std::string(text.data()) + "DST" : text.data();
}
