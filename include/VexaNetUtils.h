#ifndef VEXA_NET_UTILS_H
#define VEXA_NET_UTILS_H

#include <string>
#include <vector>

#include "VexaCommonTypes.h"
#include "VexaExport.h"

/// @file
/// Free functions on addresses, netmasks and MAC addresses; see the utility classes for others.

/// A hardware address as a string and as bytes. Throws nothing. Not thread-safe, as any value.
class VEXA_EXPORT CMACAddress {
 public:
  /// Sets both fields to zero.
  CMACAddress();
  /// Does nothing.
  ~CMACAddress();  // NOLINT(performance-trivially-destructible): an exported symbol
  /// Copies both fields.
  CMACAddress(const CMACAddress&) = default;
  /// Copies both fields; returns the object.
  CMACAddress& operator=(const CMACAddress&) = default;

  /// Sets `bytes` to the six bytes at `mac`, and `text` to their upper-case form
  /// ("00:0C:29:AB:CD:EF"); null changes nothing. Returns the object.
  CMACAddress& operator=(const unsigned char* mac);

  /// Returns whether `text` equals that of `other`, ignoring case, see strcasecmp(3).
  /// @sharp{mac} Does not compare `bytes`.
  /// @sharp{mac} Not const: ambiguous to some C++20 compilers unless the right operand is const.
  bool operator==(const CMACAddress& other);

  char text[19];           ///< six pairs of hexadecimal digits joined by ":", NUL-terminated
  unsigned char bytes[6];  ///< the address in transmission order
};

/// @name Addresses and host names
/// Strings only, no lookup: addresses of RFC 791 and of RFC 4291, section 2.2. Thread-safe. @{

/// Returns whether `ip`, trimmed of `" \t\r\n"`, has exactly four fields between ".", empty ones
/// not counted, of decimal digits only: tells a dotted IPv4 address from an IPv6 one.
/// @throws std::logic_error if `ip` is null
/// @sharp{addresses} Accepts "999.1.1.1" and ".1..2.3.4.". @instead Use
/// `VexaCommonUtils::isValidIP`.
VEXA_EXPORT bool CheckIp(const char* ip);

/// Expands the first "::" of `ip` in place to as many "0" groups as make eight: "fe80::1" becomes
/// "fe80:0:0:0:0:0:0:1". A zone after the last group stays, as does a string with a ".".
/// @sharp{addresses} Checks nothing else: "::" beside seven colons gives more than eight groups,
/// and upper-case digits stay. @instead Pass what inet_pton(3) accepts.
VEXA_EXPORT void FullNameIp(std::string& ip);

/// Cuts the NUL-terminated string in `buf` in place to the bare address: "[fe80::1]:80" to what is
/// between the brackets (without a "]" it stays), another string with a "." ("10.1.1.1:80") to what
/// is before its first ":". Then expands it by `FullNameIp`.
/// @param size  bytes of `buf` that may be written; all of them are zeroed before the copy
/// @return 0; -1 if `buf` is null or `size` is below 1, nothing written, or if the result is longer
///         than `size`, the bytes left zero
/// @sharp{addresses} A result of `size` bytes is not terminated. @instead Pass a byte less than
/// `buf` has.
VEXA_EXPORT int TrimStringIp(char* buf, int size);

/// @} @name Netmasks and interfaces
/// Running a tool starts a shell and takes milliseconds, all else microseconds. Thread-safe. @{

/// Finds the netmask of the local IPv4 address `ip` in the kernel, see netdevice(7). The first
/// match counts; interfaces that are down are included.
/// @param netmask  set to the dotted mask, or to "" on failure
/// @return 0; -1 if no address is `ip` or a system call fails
/// @sharp{interfaces} Sees the machine's first 50 addresses, and only the kernel's spelling, no
/// spaces or leading zeros; reads `ip` up to a NUL. @instead Normalize `ip` first.
VEXA_EXPORT int GetNetmaskByIpUseioctl(const std::string& ip, std::string& netmask);

/// Finds the netmask of `ip` in the lines of "ifconfig -a" (on `PATH`) that hold it: in the first
/// "netmask 255.255.255.0", else in the last "Mask:255.255.255.0", or as eight hexadecimal digits.
/// @param netmask  set to the mask, or to "" on failure; unchanged by an exception
/// @return 0; -1 if the tool cannot be run or prints no such line, or the mask has neither form
/// @throws std::out_of_range ("basic_string::substr") if there is no mask, or one of less than six
///         characters that is not dotted
/// @sharp{interfaces} Puts `ip` into a shell command as it is, in single quotes, as a pattern of
/// grep(1): "10.1.2.3" finds 10.1.2.30 and 10.112.3.9, a line feed every line. @instead Check `ip`
/// with `VexaCommonUtils::isValidIP`; prefer the kernel's answer.
/// @sharp{interfaces} Checks masks by `CheckIp` only. @instead Use `VexaCommonUtils::isValidIP`.
VEXA_EXPORT int GetNetmaskByIpUseifconfig(const std::string& ip, std::string& netmask);

/// Sets `address` to `text` up to its first "/", if any: "fe80::1/64" gives "fe80::1". An empty
/// `text` changes nothing.
VEXA_EXPORT void GetInet6Address(const std::string& text, std::string& address);

/// @} @name MAC addresses
/// Running a tool starts a shell and takes milliseconds, all else microseconds. Thread-safe. @{

/// Appends the machine's MAC addresses to `addresses`, each once, ignoring case: those of
/// `GetHWMACAddr`; those of "/sbin/ifconfig -a", in its order, from the "HWaddr" column or, if
/// `VexaCommonUtils_i::isZirel`, the "ether" lines in upper case; the permanent ones in the bonding
/// driver's status files, in upper case. A source that cannot be read adds nothing.
/// @return the number of entries in `addresses`, earlier ones included
/// @sharp{mac} Entries of the last two sources set only `text`, up to 18 characters, which may be
/// empty; `bytes` are those that `GetHWMACAddr` read last, or zero. @instead Read `text`; skip
/// empty ones.
VEXA_EXPORT int GetLocalMACAddr(std::vector<CMACAddress>& addresses);

/// Appends the kernel's hardware addresses to `addresses`, see netdevice(7), except zero ones and
/// those already there. A failed system call adds nothing.
/// @param work  set to the address read last, even if it is not appended
/// @sharp{mac} Sees the interfaces of the machine's first 16 IPv4 addresses, in reverse order.
/// @instead Use `GetLocalMACAddr` for all.
VEXA_EXPORT void GetHWMACAddr(std::vector<CMACAddress>& addresses, CMACAddress& work);

/// Sets `name` to `line` before its last ":", if any: "eth0: flags=4163  mtu 1500" gives "eth0".
VEXA_EXPORT void GetMac(const std::string& line, std::string& name);

/// Reads the address after the first "ether" of `line` and the next character, or else all of
/// `line`: six hexadecimal fields between ":", empty ones skipped.
///
///     GetEther("ether 00:0c:29:ab:cd:ef  txqueuelen 1000", &mac)  ->  0
///
/// @return 0; -1, `*mac` unchanged, without six fields, or if `line` ends in the word
/// @sharp{mac} Reads a field by strtol(3), as does `GetZirelEther`: 0 without digits, the low byte
/// of a larger value, nothing after the digits. @instead Pass lines of the tool only.
VEXA_EXPORT int GetEther(std::string line, Vexacommon::LocalMACAddress* mac);

/// Reads the field of `line` after the first field "ether", between spaces, as `GetEther` does.
/// @return 0; -1, `*mac` unchanged, if there is no such field or it has not exactly six parts
VEXA_EXPORT int GetZirelEther(const std::string& line, Vexacommon::LocalMACAddress* mac);

/// @}

#endif
