#include <sys/time.h>

#include <ace/OS_NS_netdb.h>
#include <ace/OS_NS_time.h>
#include <ace/Time_Value.h>

#include <array>
#include <ctime>
#include <string_view>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "platform/bounded.h"

namespace {

constexpr std::size_t kMacSize = 6;
constexpr std::size_t kTimeDigits = 20;
constexpr std::size_t kIdentifierSize = kTimeDigits + 2 * kMacSize;
using Mac = std::array<unsigned char, kMacSize>;

/// Sets `mac` to the host's address, zeros if none can be read. Returns false only if the copy
/// fails.
bool readMac(Mac& mac) {
  mac.fill(0);
  ACE_OS::macaddr_node_t node{};
  if (ACE_OS::getmacaddress(&node) != 0) return true;  // read on every call: addresses change
  return memcpy_s(mac.data(), mac.size(), node.node, kMacSize) == 0;
}

/// Returns the time in units of 100 nanoseconds since the epoch; a failing clock reads as -1
/// seconds.
unsigned long long timeIn100Nanoseconds() {
  timeval now{};
  ACE_Time_Value value(-1, 0);
  if (::gettimeofday(&now, nullptr) == 0) value.set(now);
  const auto seconds = static_cast<unsigned long long>(value.sec());
  const auto microseconds = static_cast<unsigned long long>(value.usec());
  return (seconds * 1'000'000 + microseconds) * 10;
}

/// Writes the lowest `digits` hexadecimal digits of `value`; returns the position after them.
char* writeHex(char* out, unsigned long long value, std::size_t digits) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (std::size_t at = digits; at > 0; value >>= 4) out[--at] = kDigits[value & 15];
  return out + digits;
}

/// Writes a number below 100 as two digits; returns the position after them.
char* writeTwoDigits(char* out, int value) {
  out[0] = static_cast<char>('0' + value / 10);
  out[1] = static_cast<char>('0' + value % 10);
  return out + 2;
}

using StampBuffer = std::array<char, 100>;

/// Writes a time whose year does not have four digits; returns the length, negative on failure.
int writeFarStamp(const tm& time, long year, StampBuffer& text) {
  return snprintf_s(text.data(), text.size(), text.size() - 1, "%04ld%02d%02d%02d%02d%02d", year,
                    time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
}

/// Writes a time as at least 14 digits; returns the length, negative on failure.
int writeStamp(const tm& time, StampBuffer& text) {
  const long year = time.tm_year + 1900L;
  if (year < 0 || year > 9999) return writeFarStamp(time, year, text);
  char* out = writeTwoDigits(text.data(), static_cast<int>(year / 100));
  for (const int part : {static_cast<int>(year % 100), time.tm_mon + 1, time.tm_mday, time.tm_hour,
                         time.tm_min, time.tm_sec}) {
    out = writeTwoDigits(out, part);
  }
  return static_cast<int>(out - text.data());
}

}  // namespace

std::string VexaCommonUtils_i::generateUUID() {
  Mac mac;  // NOLINT(*-member-init): filled by readMac
  if (!readMac(mac)) return {};
  std::array<char, kIdentifierSize> text{};
  char* out = writeHex(text.data(), timeIn100Nanoseconds(), kTimeDigits);
  for (const unsigned char byte : mac) out = writeHex(out, byte, 2);
  return std::string(text.data(), text.size());
}

std::string VexaCommonUtils::getTimeStamp(bool markDst) {
  const std::time_t now = std::time(nullptr);
  tm local{};
  if (ACE_OS::localtime_r(&now, &local) == nullptr) return {};
  StampBuffer text{};
  const int length = writeStamp(local, text);
  if (length < 0) return {};
  std::string stamp(text.data(), static_cast<std::size_t>(length));
  // A negative flag means "unknown" and counts as in force.
  if (markDst && local.tm_isdst != 0) stamp += "DST";
  return stamp;
}
