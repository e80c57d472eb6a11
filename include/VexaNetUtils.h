#ifndef VEXA_NET_UTILS_H
#define VEXA_NET_UTILS_H

#include <string>
#include <vector>

#include "VexaCommonTypes.h"
#include "VexaExport.h"

/// A hardware address as text and as bytes. A plain value: copied freely, no base, no virtuals.
class VEXA_EXPORT CMACAddress {
 public:
  /// Both fields zero.
  CMACAddress();
  ~CMACAddress();  // NOLINT(performance-trivially-destructible): an exported symbol
  CMACAddress(const CMACAddress&) = default;
  CMACAddress& operator=(const CMACAddress&) = default;

  /// Takes the six bytes at `mac` and rewrites `text` from them ("00:0C:29:AB:CD:EF"); a null
  /// pointer leaves the object unchanged.
  CMACAddress& operator=(const unsigned char* mac);

  /// Compares `text` ignoring ASCII case; `bytes` take no part. Not const: the binary contract
  /// names the plain member.
  bool operator==(const CMACAddress& other);

  char text[19];           ///< six pairs of hexadecimal digits joined by ":", NUL-terminated
  unsigned char bytes[6];  ///< the address in transmission order
};

// Address text

/// Lax test of a dotted IPv4 text: true when, after trimming " \t\r\n", its non-empty fields
/// between "." are exactly four and all decimal digits. There is no range check: it only tells a
/// dotted IPv4 text from an IPv6 text ("999.1.1.1" and ".1..2.3.4." pass).
/// @throws std::logic_error when `ip` is null
VEXA_EXPORT bool CheckIp(const char* ip);

/// Expands the first "::" of `ip` in place into as many "0" groups as make eight colon-separated
/// groups ("fe80::1" becomes "fe80:0:0:0:0:0:0:1"). A text that is empty, holds a "." or has no
/// "::" stays as it is; so does a zone suffix behind the last group.
VEXA_EXPORT void FullNameIp(std::string& ip);

/// Cuts the NUL-terminated address text in `buf` in place to the bare address: the text between
/// square brackets, or an IPv4 text up to its ":", IPv6 text expanded as by `FullNameIp`.
/// @param buf   the text; its array holds at least `size` bytes
/// @param size  bytes of `buf` that may be written; all of them are zeroed before the copy. A
///              result of exactly `size` bytes is copied without a terminator.
/// @return 0; -1 when `buf` is null, `size` is 0 or less (nothing is written then), or the result
///         is longer than `size` (`buf` is left zeroed)
VEXA_EXPORT int TrimStringIp(char* buf, int size);

// Netmasks and interfaces

/// Finds the netmask of the local IPv4 address `ip` by asking the kernel (at most 50 interfaces
/// are seen).
/// @return 0 and the dotted mask in `netmask`; -1 and "" when no interface carries `ip` or a
///         system call fails
VEXA_EXPORT int GetNetmaskByIpUseioctl(const std::string& ip, std::string& netmask);

/// Finds the netmask of `ip` in the output of "ifconfig -a". The address is put into a shell
/// command as it stands: callers must have checked that it holds nothing but digits, dots and
/// blanks, as `CheckIp` does.
/// @return 0 and the dotted mask in `netmask`; -1 and "" when the tool prints no line with `ip` or
///         its mask cannot be read
/// @throws std::out_of_range when the tool's mask text is shorter than six characters
VEXA_EXPORT int GetNetmaskByIpUseifconfig(const std::string& ip, std::string& netmask);

/// Sets `address` to the part of `text` before its first "/", or to all of `text` without one; an
/// empty `text` leaves `address` unchanged.
VEXA_EXPORT void GetInet6Address(const std::string& text, std::string& address);

// MAC addresses

/// Collects the machine's MAC addresses: the kernel's in reverse interface order, then those that
/// "ifconfig" prints, then the permanent addresses of bonded interfaces; each once, compared as
/// text ignoring case. `addresses` is appended to. Entries from tool output set only `text`.
/// @return the number of entries in `addresses` after the call
VEXA_EXPORT int GetLocalMACAddr(std::vector<CMACAddress>& addresses);

/// Appends the kernel's hardware addresses of at most 16 interfaces that carry an IPv4 address to
/// `addresses`, zero addresses and those already listed left out; `work` holds the last address
/// read afterwards.
VEXA_EXPORT void GetHWMACAddr(std::vector<CMACAddress>& addresses, CMACAddress& work);

/// Sets `name` to the text of `line` before its last ":"; without one, or for an empty `line`,
/// `name` stays unchanged.
VEXA_EXPORT void GetMac(const std::string& line, std::string& name);

/// Reads the address behind the word "ether" of `line` (or the whole of a line without the word)
/// as six hexadecimal fields between ":"; text behind the digits of a field is ignored.
/// @return 0 and the bytes in `*mac`; -1 when there are not six fields (`*mac` unchanged)
VEXA_EXPORT int GetEther(std::string line, Vexacommon::LocalMACAddress* mac);

/// The same for a line in the newer tool's form: the blank-separated field behind the field
/// "ether" holds the address.
/// @return 0 and the bytes in `*mac`; -1 when there is no such field or it has not six parts
///         (`*mac` unchanged)
VEXA_EXPORT int GetZirelEther(const std::string& line, Vexacommon::LocalMACAddress* mac);

#endif
