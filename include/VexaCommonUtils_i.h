#ifndef VEXA_COMMON_UTILS_I_H
#define VEXA_COMMON_UTILS_I_H

#include <cstdio>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "VexaCommonTypes.h"
#include "VexaExport.h"

struct passwd;

/// The second of the two utility classes; the remarks at `VexaCommonUtils` hold here too.
class VEXA_EXPORT VexaCommonUtils_i {
 public:
  // Environment

  /// Returns `text` with each reference "${NAME}" replaced, as `VexaCommonUtils::replaceEnvVar`
  /// does.
  static std::string VexareplaceEnvVar(const std::string& text);
  /// Returns `text` unchanged: a placeholder.
  static std::string VexareplaceMacroVar(const std::string& text);

  // Configuration and log paths

  /// Returns the path of the configuration file `fileName`: the first that exists of
  /// `_APP_SHARE_DIR` + "/conf/" and `APP_ROOT` + "/conf/", else `COMMON_LIB_PATH` + "/conf/",
  /// whether it exists there or not.
  static std::string getConfFile(const std::string& fileName);

  // Settings and deployment switches

  /// Asks the settings store for `key`.
  /// @return the store's result, 0 on success; -1 when the store is not available
  static int getSettingParamValue(const std::string& key, std::string& value);
  /// Asks the settings store for the parameters of `group`.
  /// @return the store's result, 0 on success; -1 when the store is not available
  static int getSettingGroupParams(const std::string& group,
                                   std::map<std::string, std::string>& params);
  /// Asks the settings store for `primaryKey`, then for `fallbackKey`.
  /// @return whether either gave a non-empty value
  static bool GetSetParamValue(const std::string& primaryKey, const std::string& fallbackKey,
                               std::string& value);
  /// Tells whether services listen on the loopback address; as `VexaCommonUtils::isListenAllIp`,
  /// with "ListenLoopbackIP".
  static bool isListenLoopback();
  /// Tells whether CORBA traffic must be encrypted: "SSLNoProtection" in the settings store is
  /// "disable" or not set. Read on every call.
  static bool isCorbaSSLOnly();
  /// Tells whether "ts_mode" is "true" in "[TS]" of `COMMON_SHARE_PATH` +
  /// "/etc/conf/TSSetting.cfg". The first answer read is kept for the life of the process.
  static bool isTsMode();
  /// Tells whether the host runs the ZirelOS distribution. Read on every call.
  static bool isZirel();

  // SSL service configuration

  /// Returns the path of the configuration file `fileName`. "svc_ssl.conf" is generated once per
  /// process from its template and the settings store.
  /// @return the path; "" when the template cannot be read or the file cannot be written
  /// @throws std::out_of_range ("basic_string::replace") when an option must be added and the
  ///         template has no double quote behind "-SSLCAfile"
  static std::string get_svc_ssl_conf(const std::string& fileName);
  /// Always 2.
  static int VexaGetSSLMode();

  // Strings (see the remarks at `VexaCommonUtils`)

  /// Returns `s` without the leading and trailing bytes that are in the set `chars`; "" when it
  /// holds no other; unchanged when `chars` is null or empty. The usual set is " \t\r\n".
  static std::string VexatrimAll(const std::string& s, const char* chars);
  /// The same as `VexatrimAll`.
  static std::string trimString(const std::string& s, const char* chars);

  /// Inserts the tokens of `s` into `out`, which is not cleared; runs of bytes from `delims`
  /// separate them and no token is empty. Only the first 1024 bytes of `s` are seen, and nothing
  /// behind a NUL in `s` or in `delims`. `out` is unchanged when the text cannot be copied.
  static void splitAll(const std::string& s, const std::string& delims, std::set<std::string>& out);

  /// Writes `value` in decimal, with a terminator, to `buf` of at least 22 bytes.
  /// @return `buf`, null only when `buf` is null
  static char* ulltoa(unsigned long long value, char* buf);

  /// Tells whether every byte of `s` is one of '0' to '9'; true for the empty text.
  static bool Isdigitstr(const std::string& s);

  /// Lifts a percentage to the next whole number, but never to 100 from below.
  /// @param x a percentage, not negative
  /// @return 100 from 100 on and for what is not a number; 99 from 99 on; else `x` rounded up. The
  ///         whole part is unsigned: between -1 and 0 it is 0, from -1 down it wraps at 2^64 (-1
  ///         gives about 1.8e19), and below -2^63 it is 2^64.
  static double getUpperIntVal(double x);

  // Base64

  /// Encodes `length` bytes at `data` as base64 (RFC 4648), padded, without line breaks.
  static std::string encodeData(const char* data, unsigned int length);
  /// The same as `VexaCommonUtils::base64Decode`.
  static std::string decodeData(const std::string& encoded);

  // Identifiers

  /// Returns 32 upper-case hexadecimal digits made of the time and the host's MAC address; "" on
  /// failure. Two calls in one microsecond return the same text.
  static std::string generateUUID();

  // Database query text

  /// Returns a complete LIKE operand for `text`: `VexaCommonUtils::transDBSearchString` of its
  /// `VexaCommonUtils::transDBUpdateString`, with the wildcards of `mode`, between single quotes,
  /// followed by `VexaCommonUtils::getEscapeString`. The database type is asked twice, once for an
  /// empty `text`. A `mode` outside the enumeration adds no wildcard.
  ///
  ///     TransferLikeSql("a_b'c", FUZZY_QUERY_BOTH)  ->  "'%a\\_b''c%' escape '\\' "  Oracle family
  ///                                                     "'%a[_]b''c%'"                any other
  static std::string TransferLikeSql(const std::string& text, Vexacommon::FuzzyQueryMode mode);

  // Addresses, interfaces and nodes

  /// Parses a dotted IPv4 text into its bytes.
  /// @return 0 when `octets` holds four; else -1, `octets` holding the fields before the failure
  static int validateIPv4(const std::string& ip, std::vector<unsigned char>& octets);
  /// Brings an address into its one text form.
  /// @return 2 for IPv4, `ip` unchanged; 10 for IPv6, `ip` in full form; 0 for neither
  static int formatStringIP(std::string& ip);
  /// The same, resolving any other text as a host name.
  static int formatStringIP_DNS(std::string& ip);
  /// Parses `text` into the address field of the `sockaddr_in` or `sockaddr_in6` at `sockaddr`.
  /// @return inet_pton(3)'s result; -1 for bad arguments
  static int stringIPToAddress(int family, const char* text, void* sockaddr, int len);
  /// Prints the address field of the record at `sockaddr` into `buf` of at least 48 bytes.
  /// @return 0, or -1
  static int addressToStringIP(int family, void* sockaddr, int len, char* buf, int bufLen);
  /// Appends a text for each IPv4 or IPv6 address of the machine's interfaces. Returns 0.
  static int getAllIPAddr(std::list<std::string>& addresses);
  /// Finds the interface that carries the IPv6 address `ip`, any form that inet_pton(3) reads; the
  /// kernel's first one wins, see getifaddrs(3). `ip` is left in full form ("fe80:0:0:0:0:0:0:1"),
  /// also when no interface carries it. Each call leaves the list that it read allocated: a process
  /// that calls it for ever grows.
  /// @return 0 and the name in `interfaceName`; -1 (`interfaceName` unchanged) when `ip` is not
  /// IPv6
  ///         (`ip` unchanged too) or no interface carries it
  static int getInterfaceOfIPV6(std::string& ip, std::string& interfaceName);
  /// Finds the MAC address of the interface that carries the IPv6 address `ip`, which is left in
  /// full form. Where `isZirel` is true it answers as `getZirelMacAddrOfIPV6`; elsewhere it finds
  /// the interface as `getInterfaceOfIPV6` and reads the fifth column of the first line of
  /// "/sbin/ifconfig" that holds the interface's name, whose older form has the address there. The
  /// name becomes part of a shell command as it stands: who may name interfaces may run commands.
  /// @return 0 and the bytes in `*mac`; also 0, `*mac` unchanged, when the tool is missing or gives
  /// no
  ///         line for an interface that was found; -1 (`*mac` unchanged) when `ip` is not IPv6, no
  ///         interface carries it, or the column holds no address
  static int getMacAddrOfIPV6(std::string& ip, Vexacommon::LocalMACAddress* mac);
  /// Finds the MAC address of the interface that carries `ip` in the output of
  /// "/usr/sbin/ifconfig -a", the newer form ("ether" lines).
  /// @param ip  the address in the full form of `formatStringIP`; no other form matches
  /// @return 0 and the bytes in `*mac`: of all interfaces whose name is part of the carrier's name,
  /// in
  ///         name order, the last one's ("eth1" also answers for "eth10" where that has no
  ///         address); -1 (`*mac` unchanged) when there is none or the tool printed nothing
  static int getZirelMacAddrOfIPV6(const std::string& ip, Vexacommon::LocalMACAddress* mac);
  /// Appends the addresses of the cluster's remote-client nodes to `ipList`.
  /// @return 0; -1 when the node list cannot be found or parsed
  static int GetAllWebswingNodeIPs(std::list<std::string>& ipList);

  // Commands

  /// Runs `command` as `VexaCommonUtils::system` does; -1 when it is null or empty.
  static int execve_s(const char* command);
  /// Runs a command line without a shell, its standard handles on "/dev/null", and waits.
  /// @return the exit code; 4 for a child killed by a signal; -1 on bad input
  static int runCommand(const char* command, bool inheritEnvironment, bool inheritHandles);
  /// Runs the program at `path` with the arguments `argv` and waits.
  /// @return the exit code; 4 for a child killed by a signal; the error number of a failed exec;
  ///         -1 on bad input or when no process can be made
  static int runCommand(const char* path, char* const* argv);
  /// Opens a stream on the standard output of a shell command; null on failure.
  static std::FILE* pipeline_s(const char* command);
  /// Closes a stream of `pipeline_s` and returns pclose(3)'s result.
  static int pclose_s(std::FILE* stream);
  /// Runs a shell command and returns all that it wrote to its standard output in `result`.
  /// @return 0 when it wrote anything, else -1
  static int getSystemExecResult(const char* command, std::string& result);

  // Users and processes

  /// Looks a user up by name; see getpwnam_r(3). The entry's strings stand in `buffer`.
  /// @return whether it was found
  static bool securityGetpwnam(const std::string& name, passwd& entry, char* buffer,
                               long bufferLength);
  /// Looks a user up by id; see getpwuid_r(3).
  static bool securityGetpwuid(unsigned int uid, passwd& entry, char* buffer, long bufferLength);
  /// Appends the blank-separated words of the process's command line, at most 1023 bytes of it.
  static void getCommandLine(std::vector<std::string>& words);

  // Files

  /// Splits `path`, less the blanks (0x20 only) around it, at its last "/".
  ///
  /// Example: " /etc/hosts" gives "/etc" and "hosts", "hosts" the working directory and "hosts".
  /// @return the directory part as an absolute path without links (realpath(3)) and the last
  ///         component in `fileName`. "" when the directory does not exist or has more than 4096
  ///         bytes; "", and `fileName` empty, when `path` ends with "/"
  /// @throws std::out_of_range for an empty or all-blank `path`, `fileName` empty then
  static std::string getParentDirectory(const std::string& path, std::string& fileName);

  /// Copies the file `source` to `target`, which is created (mode 0666 less the process's mask) or
  /// emptied first; links are followed at both ends. Both paths are split by `getParentDirectory`,
  /// so both directories must exist and blanks around the paths are dropped.
  ///
  /// A copy that fails half-way is removed, with what the target held before; so is what stands at
  /// `target`, be it a link or a device. A pipe as source is read to its end.
  /// @param noOverwrite     fail when `target` exists; a link that leads nowhere does not
  /// @param keepAttributes  afterwards set the source's times (whole seconds), mode, then owner and
  ///                        group as far as the system allows; set-user-ID bits get lost on the way
  /// @return 0; -1 on any failure and when both are the same file, by whatever path or link: that
  ///         is noticed before anything is touched
  /// @throws std::out_of_range for an empty or all-blank path
  static int copyFile(const std::string& source, const std::string& target, bool noOverwrite,
                      bool keepAttributes);

  // Input safety

  /// Tells whether `name` holds none of the 15 characters that are unsafe in a file name: / \ : * ?
  /// " ' < > | ` ; & $ and the line feed. An empty name is safe, as are "..", blanks and NUL bytes.
  static bool isSafeFileName(const std::string& name);

  /// Tells whether `text` holds none of the unsafe words: the values, not the keys, of section
  /// "[UnsafeWord]" of "secure.cfg" (see `getConfFile`), read afresh on each call. Case counts, and
  /// a word is found anywhere. An empty `text` is safe without a look at the file.
  ///
  /// Fails open: where the file cannot be read it writes "file open fail, " and the file's path to
  /// standard error and returns true.
  static bool checkUnSafeStr(const std::string& text);
};

#endif
