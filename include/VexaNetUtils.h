#ifndef VEXA_NET_UTILS_H
#define VEXA_NET_UTILS_H

#include <string>
#include <vector>

#include "VexaCommonTypes.h"
#include "VexaExport.h"

/// @file
/// The free functions on addresses, netmasks and MAC addresses; the utility classes hold the
/// others.

/// A hardware address as text and as bytes. A plain value: copied freely, no base, no virtuals. The
/// lists that `GetLocalMACAddr` makes hold entries of which only `text` is meaningful. Nothing
/// throws. Threads: as any plain value, one object is not changed by two at once.
class VEXA_EXPORT CMACAddress {
 public:
  /// Both fields zero.
  CMACAddress();
  /// Does nothing.
  ~CMACAddress();  // NOLINT(performance-trivially-destructible): an exported symbol
  /// Copies both fields.
  CMACAddress(const CMACAddress&) = default;
  /// Copies both fields; returns the object.
  CMACAddress& operator=(const CMACAddress&) = default;

  /// Takes the six bytes at `mac` and rewrites `text` from them, in upper case
  /// ("00:0C:29:AB:CD:EF"); a null pointer leaves the object unchanged.
  /// @return the object
  CMACAddress& operator=(const unsigned char* mac);

  /// Tells whether `text` equals that of `other`, case ignored, see strcasecmp(3); `bytes` take no
  /// part. Not const: the binary contract names the plain member. C++20 finds `a == b` ambiguous
  /// when neither is const.
  bool operator==(const CMACAddress& other);

  char text[19];           ///< six pairs of hexadecimal digits joined by ":", NUL-terminated
  unsigned char bytes[6];  ///< the address in transmission order
};

/// @name Addresses and host names
/// By text alone: no state, no look-up. Addresses are those of RFC 791 in dotted form and of RFC
/// 4291, section 2.2. Threads: any.
/// @{

/// Tells whether `ip` is a dotted IPv4 text, laxly: true when, after trimming `" \t\r\n"`, its
/// non-empty fields between "." are exactly four and all decimal digits. There is no range check
/// and no limit of length: it only tells a dotted IPv4 text from an IPv6 text ("999.1.1.1" and
/// ".1..2.3.4." pass). See `VexaCommonUtils::isValidIP` for the strict test.
/// @throws std::logic_error when `ip` is null
VEXA_EXPORT bool CheckIp(const char* ip);

/// Expands the first "::" of `ip` in place into as many "0" groups as make eight colon-separated
/// groups ("fe80::1" becomes "fe80:0:0:0:0:0:0:1"). A text that is empty, holds a "." or has no
/// "::" stays as it is; a zone suffix behind the last group is carried along. Nothing else is
/// checked: beside seven other colons "::" gives more than eight groups, and the case of digits
/// stays.
VEXA_EXPORT void FullNameIp(std::string& ip);

/// Cuts the NUL-terminated address text in `buf` in place to the bare address. Of a text with "["
/// that is what stands up to the first "]" ("[fe80::1]:80"; the whole text when there is none),
/// expanded by `FullNameIp`; of any other text with "." what stands before its first ":"
/// ("10.1.1.1:80"); any other text is expanded by `FullNameIp`.
/// @param buf   the text; its array holds at least `size` bytes
/// @param size  bytes of `buf` that may be written; all of them are zeroed before the copy. A
///              result of exactly `size` bytes is copied without a terminator.
/// @return 0; -1 when `buf` is null, `size` is 0 or less (nothing is written then), or the result
///         is longer than `size` (the `size` bytes are left zero)
VEXA_EXPORT int TrimStringIp(char* buf, int size);

/// @}
/// @name Netmasks and interfaces
/// What runs a tool starts a shell and waits for it: that takes milliseconds, the rest
/// microseconds. Threads: any.
/// @{

/// Finds the netmask of the local IPv4 address `ip` by asking the kernel, see netdevice(7). The
/// first 50 addresses of the machine are seen, each address of an interface counting as one, those
/// of interfaces that are down included; the first that is `ip` wins.
/// @param ip  the address in the kernel's own text: no blanks, no leading zeros. Text behind a NUL
///            is not looked at.
/// @return 0 and the dotted mask in `netmask`; -1 and "" when no address is `ip` or when a system
///         call fails
VEXA_EXPORT int GetNetmaskByIpUseioctl(const std::string& ip, std::string& netmask);

/// Finds the netmask of `ip` in the lines of "ifconfig -a" that hold it, in the newer form
/// ("netmask 255.255.255.0", the first counts) or the older one ("Mask:255.255.255.0", the last
/// counts); eight hexadecimal digits without prefix are taken too. A line of 10.1.2.30 holds
/// 10.1.2.3 as well. "ifconfig" is looked up on `PATH`.
/// @param ip  becomes part of a shell command, between single quotes and otherwise as it stands,
///            and is a basic regular expression of grep(1) there: callers must have checked that
///            it holds nothing but digits, dots and blanks, as `CheckIp` does. With a line end
///            inside, every line of the tool matches.
/// @return 0 and the mask in `netmask`, tested no further than by `CheckIp`; -1 and "" when the
///         tool cannot be run, prints no such line, or the mask is neither dotted nor hexadecimal
/// @throws std::out_of_range ("basic_string::substr") when the lines hold no mask text or one of
///         less than six characters that is not dotted; `netmask` is unchanged then
VEXA_EXPORT int GetNetmaskByIpUseifconfig(const std::string& ip, std::string& netmask);

/// Cuts the prefix length off an IPv6 address as tools print it: sets `address` to the part of
/// `text` before its first "/", or to all of `text` without one ("fe80::1/64" gives "fe80::1"). An
/// empty `text` leaves `address` unchanged.
VEXA_EXPORT void GetInet6Address(const std::string& text, std::string& address);

/// @}
/// @name MAC addresses
/// What runs a tool starts a shell and waits for it: that takes milliseconds, the rest
/// microseconds. Threads: any.
/// @{

/// Appends the machine's MAC addresses to `addresses`: those of `GetHWMACAddr`; then those that
/// "/sbin/ifconfig -a" prints, in its order, as text of at most 18 characters: the "HWaddr" column
/// as it stands or, where `VexaCommonUtils_i::isZirel` is true, the "ether" lines in upper case (an
/// empty column is an entry with empty text); then the permanent addresses in the bonding driver's
/// status files, in upper case. Each text stands in `addresses` once, ignoring case. Entries of the
/// last two sources set only `text`: their `bytes` are those that `GetHWMACAddr` read last, or
/// zero. A source that cannot be read adds nothing.
/// @return the number of entries in `addresses`, those from before included
VEXA_EXPORT int GetLocalMACAddr(std::vector<CMACAddress>& addresses);

/// Appends the kernel's hardware addresses to `addresses`, see netdevice(7): those of the
/// interfaces that carry the machine's first 16 IPv4 addresses, in reverse order of the kernel's
/// list. Zero addresses and those that `addresses` holds already are left out. A system call that
/// fails adds nothing.
/// @param work  takes each address in turn; afterwards it holds the one read last, appended or not,
///              and is unchanged when none was read
VEXA_EXPORT void GetHWMACAddr(std::vector<CMACAddress>& addresses, CMACAddress& work);

/// Reads the interface name off a header line of the tool: sets `name` to the text of `line` before
/// its last ":". Without one, or for an empty `line`, `name` stays unchanged.
///
///     GetMac("eth0: flags=4163<UP>  mtu 1500", name)  ->  "eth0"
VEXA_EXPORT void GetMac(const std::string& line, std::string& name);

/// Reads the address behind the first "ether" of `line` and the one character that follows it, or
/// the whole of a line without the word: six hexadecimal fields between ":", empty ones skipped, as
/// strtol(3) reads them. Text behind a field's digits is ignored, a field without digits is 0, and
/// of a larger value the low byte counts.
///
///     GetEther("ether 00:0c:29:ab:cd:ef  txqueuelen 1000", &mac)  ->  0
///
/// @return 0 and the bytes in `*mac`; -1 when there are not exactly six fields, and for a line that
///         ends in the word (`*mac` unchanged)
VEXA_EXPORT int GetEther(std::string line, Vexacommon::LocalMACAddress* mac);

/// Reads the address off a `line` of the newer tool: it is the field behind the first field
/// "ether", fields standing between blanks (0x20), and is read as by `GetEther`.
/// @return 0 and the bytes in `*mac`; -1 when there is no such field or it has not exactly six
///         parts (`*mac` unchanged)
VEXA_EXPORT int GetZirelEther(const std::string& line, Vexacommon::LocalMACAddress* mac);

/// @}

#endif
