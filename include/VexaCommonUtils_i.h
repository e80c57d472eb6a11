#ifndef VEXA_COMMON_UTILS_I_H
#define VEXA_COMMON_UTILS_I_H

/// @file

#include <cstdio>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "VexaCommonTypes.h"
#include "VexaExport.h"

struct passwd;

/// The second utility class; what `VexaCommonUtils` and its groups say, on threads too, holds here.
class VEXA_EXPORT VexaCommonUtils_i {
 public:
  /// @name Environment and configuration paths
  /// @{

  /// Returns `text` with each `${NAME}` replaced, by the rules of `VexaCommonUtils::replaceEnvVar`.
  static std::string VexareplaceEnvVar(const std::string& text);

  /// Returns a copy of `text`.
  /// @sharp{environment} A stub kept for binary compatibility. @instead Do not call it.
  static std::string VexareplaceMacroVar(const std::string& text);

  /// Returns the path of the configuration file `fileName`, which may hold subdirectories: the
  /// first that exists (access(2)) of `_APP_SHARE_DIR` + "/conf/" and `APP_ROOT` + "/conf/", else
  /// `COMMON_LIB_PATH` + "/conf/", unchecked. Searches on every call.
  /// @sharp{environment} An unreadable file, or a directory, hides the files after it.
  /// @sharp{environment} `fileName` may climb with "..". @instead Check untrusted names.
  static std::string getConfFile(const std::string& fileName);

  /// @} @name Settings and deployment switches
  /// @{

  /// Reads `key` from the settings store, the library "libsettingrest.so", into `value`.
  /// @return the store's result, 0 on success; -1, `value` unchanged, if the library or its entry
  ///         point cannot be found (the next call tries again)
  /// @sharp{settings} Several threads call the store at once, and what it throws passes through.
  /// @process{permanent} The first lookup loads the store, symbols global, until the process ends.
  static int getSettingParamValue(const std::string& key, std::string& value);

  /// Reads the parameters of `group`, a name in the store's format, into `params`. Returns
  /// likewise.
  static int getSettingGroupParams(const std::string& group,
                                   std::map<std::string, std::string>& params);

  /// Reads `primaryKey` from the settings store and, unless it has a value, `fallbackKey`.
  /// @return whether a lookup succeeded with a nonempty value; if not, the store decides `value`
  static bool GetSetParamValue(const std::string& primaryKey, const std::string& fallbackKey,
                               std::string& value);

  /// Returns whether "ListenLoopbackIP", read as by `VexaCommonUtils::isListenAllIp`, is "enable".
  static bool isListenLoopback();

  /// Returns whether CORBA traffic must be encrypted: "SSLNoProtection" in the settings store, the
  /// branch of `APP_NAME` before "global", is "disable" or not set. Read on every call.
  /// @sharp{settings} An empty value in the store, and no other, gives false. @instead Omit it.
  static bool isCorbaSSLOnly();

  /// Returns whether "ts_mode" in "[TS]" of `COMMON_SHARE_PATH` (or "/export/home/omc", if empty) +
  /// "/etc/conf/TSSetting.cfg" is "true"; false, not cached, without a readable file.
  /// @sharp{settings} Caches the first result read, without a lock. @instead Restart the process.
  static bool isTsMode();

  /// Returns whether a line of "/etc/os-release" is NAME="ZirelOS". Read on every call.
  /// @sharp{settings} False if a space or carriage return follows; splits lines above 1023 bytes.
  static bool isZirel();

  /// @} @name SSL option file
  /// Thread-safe unless another thread changes the environment. @{

  /// Returns `getConfFile` of `fileName`; for "svc_ssl.conf" the path of this process's SSL option
  /// file, `_APP_SHARE_DIR` + "/svc_ssl_" + `PROCESS_INSTANCE_ID` + ".conf", which the first
  /// successful call creates, mode 0640 under any umask: the template with those of
  /// "-SSLAuthenticate" (default "NONE"), "-SSLVersion" ("TLSv1.2") and "-SSLNoProtection" (only if
  /// "enable") that it lacks, by the settings store, on lines before the first double quote after
  /// "-SSLCAfile". Removes what is at the path first, and follows no link; if the directory forbids
  /// that, overwrites a regular file of this user or root without other names.
  /// @return the path; "" if the template cannot be read or the file written: the next call retries
  /// @throws std::out_of_range if an option is missing and so is the place to insert it
  /// @sharp{ssl} Any failure, also an exception, leaves no file, not even an earlier one.
  /// @sharp{ssl} An option in a comment, or as the start of a longer word, counts as present.
  /// @sharp{ssl} Later removals and changed settings go unnoticed. @instead Restart the process.
  /// @sharp{ssl} If the store fails, the file keeps the defaults ("-SSLAuthenticate NONE").
  /// @sharp{ssl} Concurrent first calls each create the file, which is missing in between.
  /// @sharp{ssl} ACE's Service Configurator ends a string at a line's end. @instead Use `ACE_ARGV`.
  /// @process{permanent} Writes the SSL option file below `_APP_SHARE_DIR`.
  static std::string get_svc_ssl_conf(const std::string& fileName);

  /// Returns the platform's SSL mode code, always 2.
  static int VexaGetSSLMode();

  /// @} @name Strings
  /// @{

  /// Returns `s` without leading and trailing bytes of `chars`, which may be null or empty.
  static std::string VexatrimAll(const std::string& s, const char* chars);

  /// Returns `VexatrimAll` of `s` and `chars`; both names are part of the contract.
  static std::string trimString(const std::string& s, const char* chars);

  /// Inserts the tokens of `s`, separated by runs of bytes from `delims`, into `out`, as
  /// `VexaCommonUtils::splitAll` does; `out` is unchanged if `s` cannot be copied.
  static void splitAll(const std::string& s, const std::string& delims, std::set<std::string>& out);

  /// Writes `value` in decimal and a NUL to `buf`, at least 22 bytes; returns `buf`, also if null.
  static char* ulltoa(unsigned long long value, char* buf);

  /// Returns whether every byte of `s` is one of '0' to '9', so true for the empty string.
  static bool Isdigitstr(const std::string& s);

  /// Returns the percentage `x` rounded up to a whole number; 100 if it is more or not a number.
  /// @sharp{strings} 99.5 gives 99, -0.5 gives 0, -1 gives about 1.8e19. @instead Pass 0 to 100.
  static double getUpperIntVal(double x);

  /// @} @name Base64
  /// @{

  /// Returns the base64 of the `length` bytes at `data` (null allowed for 0): "TQ==" for "M".
  static std::string encodeData(const char* data, unsigned int length);

  /// Returns `VexaCommonUtils::base64Decode` of `encoded`; both names are part of the contract.
  static std::string decodeData(const std::string& encoded);

  /// @} @name Identifiers and time stamps
  /// @{

  /// Returns 32 upper-case hexadecimal digits, such as "0000003C6568F17ACB40020AFB009CFF": 20 for
  /// the time in units of 100 ns since the Unix epoch, whole microseconds (-1 s if the clock
  /// fails), and 12 for the host's MAC address, read on every call (zeros if it cannot be read, but
  /// "" is returned if it cannot be copied).
  /// @sharp{identifiers} Neither secret nor unique within a microsecond. @instead Add a counter.
  static std::string generateUUID();

  /// @} @name Database query text
  /// @{

  /// Returns `text` as a quoted LIKE operand: quotes doubled, wildcards escaped, the wildcards of
  /// `mode` added (none if not an enumerator), then `VexaCommonUtils::getEscapeString`. For Sybase,
  /// "a_b'c" with `FUZZY_QUERY_BOTH` becomes "'%a[_]b''c%'".
  /// @sharp{query} Reads the type twice: if one read fails, dialects mix. @instead Read it at
  /// start.
  static std::string TransferLikeSql(const std::string& text, Vexacommon::FuzzyQueryMode mode);

  /// @} @name Addresses and host names
  /// Address families: 2 is IPv4 (AF_INET), 10 is IPv6 (AF_INET6). @{

  /// Parses the dotted IPv4 address `ip`: four fields of decimal digits. Returns 0; -1 on failure.
  /// @param octets  set to a byte per field; on failure, per field before it (5 for "1.2.3.4.5")
  /// @sharp{addresses} Only the low 32 bits of a field count: "4294967297.0.0.1" begins with 1.
  static int validateIPv4(const std::string& ip, std::vector<unsigned char>& octets);

  /// Rewrites an IPv6 address `ip` in full form, lower case with eight groups: "FE80::0001" becomes
  /// "fe80:0:0:0:0:0:0:1". One with dots ("::ffff:1.2.3.4") keeps its "::". Changes nothing else.
  /// @return 2 for what `validateIPv4` accepts, 10 for IPv6, 0 for anything else ("fe80::1%eth0")
  static int formatStringIP(std::string& ip);

  /// Sets `ip`, an address or host name, to an address, an IPv6 one in full form. What
  /// `validateIPv4` does not accept goes to `ACE_INET_Addr::set`, which chooses the address.
  /// @return the address family; `ip` unchanged, 2 for what `validateIPv4` accepts, 0 on failure
  /// @sharp{addresses} Waits for the name service; may map IPv4 ("::ffff:10.1.1.1", family 10).
  static int formatStringIP_DNS(std::string& ip);

  /// Parses `text` into the address field of `sockaddr`, a `sockaddr_in` or `sockaddr_in6` by
  /// `family`, whose other fields stay. Does not compare its size with `len`.
  /// @return 1 on success; 0, nothing changed, if `text` is not such an address, see inet_pton(3);
  ///         -1 for another family, a null pointer or `len` below 1
  static int stringIPToAddress(int family, const char* text, void* sockaddr, int len);

  /// Prints the address field of `sockaddr`, a `sockaddr_in` or `sockaddr_in6` by `family` (the
  /// record's own is not read), to `buf` as inet_ntop(3) does, "::" not expanded.
  /// @return 0; -1, `buf` unchanged, for another family, a null pointer, a negative `len`, which is
  ///         not compared, or a `bufLen` below 48, for IPv4 too
  static int addressToStringIP(int family, void* sockaddr, int len, char* buf, int bufLen);

  /// Appends all IPv4 and IPv6 addresses of the interfaces to `addresses`, in the order of
  /// getifaddrs(3), loopback and repeated ones included; nothing if there is no list. Returns 0.
  /// @sharp{addresses} Prints IPv6 from the flow information on: "2001:db8:1:2:3:4:5:6" appears as
  /// "::2001:db8:1:2:3:4". @instead Use getifaddrs(3).
  /// @process{permanent} Leaks the interface list, as does every lookup by an IPv6 address.
  static int getAllIPAddr(std::list<std::string>& addresses);

  /// @} @name Netmasks and interfaces
  /// @{

  /// Finds the first interface of getifaddrs(3) with the IPv6 address `ip`.
  /// @return 0; -1, `interfaceName` unchanged, if none has it or `ip` is not IPv6, see inet_pton(3)
  /// @sharp{interfaces} Rewrites an IPv6 `ip` in full form, on failure too. @instead Pass a copy.
  static int getInterfaceOfIPV6(std::string& ip, std::string& interfaceName);

  /// @} @name MAC addresses
  /// Each call runs a system tool and waits for it. Thread-safe. @{

  /// Finds the MAC address of the interface with the IPv6 address `ip`, which is set to full form:
  /// by `getZirelMacAddrOfIPV6` if `isZirel`, else in the fifth column of the first line of
  /// "/sbin/ifconfig" with the name from `getInterfaceOfIPV6`, as older versions print it.
  /// @return 0; -1, `*mac` unchanged, if no interface has `ip` or the column is not an address
  /// @sharp{mac} Returns 0 without setting `*mac` if there is no tool or line. @instead Zero it.
  /// @sharp{mac} Puts the name into a shell command as it is; "eth1" finds "eth10" too.
  static int getMacAddrOfIPV6(std::string& ip, Vexacommon::LocalMACAddress* mac);

  /// Finds the MAC address of the interface with `ip`, an address in full form, in "ether" lines of
  /// "/usr/sbin/ifconfig -a". Returns 0; -1, `*mac` unchanged, if the tool prints none.
  /// @sharp{mac} Takes "eth1" for an "eth10" without an address: a part of the name is enough.
  static int getZirelMacAddrOfIPV6(const std::string& ip, Vexacommon::LocalMACAddress* mac);

  /// @} @name Cluster nodes
  /// Thread-safe unless another thread changes the environment. @{

  /// Appends the addresses of the remote-client nodes ("RemoteClient" in "extAttr" is "true" or
  /// true) to `ipList`: nodes in byte order of their names, addresses in file order, repeated ones
  /// kept. Reads the JSON file `QORV_ROOT` + "/etc/sysconf/nodelists.json" on every call.
  /// @return 0, also without such nodes; -1, `ipList` unchanged, without the variable or valid file
  /// @throws Json::LogicError if members are of wrong kinds; `ipList` keeps earlier nodes then
  /// @sharp{nodes} Addresses are not checked; "" for a missing one. @instead Check every address.
  /// @sharp{nodes} An empty `QORV_ROOT` means the path from "/". @instead Unset it.
  static int GetAllWebswingNodeIPs(std::list<std::string>& ipList);

  /// @} @name Commands
  /// @{

  /// Returns `VexaCommonUtils::system` of `command`; -1, nothing done, if that is null or empty.
  static int execve_s(const char* command);

  /// Runs `command` without a shell, its standard handles on "/dev/null", and waits for it. Spaces
  /// split words, unless single or double quotes surround a whole word; other bytes are literal.
  /// @param inheritEnvironment  whether to pass the environment, and to search `PATH`
  /// @param inheritHandles  whether the child gets the open descriptors above 2
  /// @return the exit code, or an exec error number; -1 if `command` is null or has no word, or
  ///         "/dev/null" cannot be set
  /// @sharp{commands} Either form returns 4 for a killed child, exec errors like exit codes, and 0
  /// if the child was reaped elsewhere or a signal interrupts the wait, when the program may still
  /// run. @instead Avoid exit codes 2, 4 and 13; install handlers with `SA_RESTART`.
  /// @sharp{commands} Reads 4095 bytes and 127 words. If fork(2) fails, waits for any child of the
  /// process, or returns 0 without one. @instead Use the form that takes a path.
  /// @sharp{commands} Cost grows with memory and, without `inheritHandles`, the descriptor limit.
  /// @process{permanent} The "/dev/null" descriptor stays open if the handles cannot be set.
  static int runCommand(const char* command, bool inheritEnvironment, bool inheritHandles);

  /// Runs the program at `path` (`PATH` is not searched) with `argv`, its name first and a null
  /// pointer last, and waits for it. Environment, descriptors and signal settings are the caller's.
  /// Copies no memory, see vfork(2), and runs no handlers of pthread_atfork(3).
  /// @return the exit code, or an exec error number: 2 for a missing program, 13 for one that may
  ///         not be run; -1 if an argument or `argv[0]` is null or no process can be created
  /// @process{temporary} The calling thread blocks all signals while the child is created.
  static int runCommand(const char* path, char* const* argv);

  /// Returns a stream on the output of the shell command `command`, see popen(3); null on failure.
  /// @process{temporary} Children of all threads inherit the descriptor until it is closed.
  static std::FILE* pipeline_s(const char* command);

  /// Closes a `stream` of `pipeline_s` and waits for its command.
  /// @return the raw wait status; -1, with `errno` set, if there is none, see pclose(3)
  static int pclose_s(std::FILE* stream);

  /// Sets `result` to all that the shell command `command`, and what it leaves running, writes to
  /// its standard output, spaces and line ends included. Its input and error are the process's.
  /// @return 0; -1 if `result` is empty, also on failure; the exit code does not count
  /// @throws std::length_error if no string can hold the output
  /// @sharp{commands} Loses what follows a NUL in 127 bytes; a read error ends the output.
  static int getSystemExecResult(const char* command, std::string& result);

  /// @} @name Users and processes
  /// @{

  /// Finds the user `name`, see getpwnam_r(3): sets `entry`, whose strings are in `buffer`.
  /// @return whether it was found; false if `buffer` is too small: pass a `bufferLength` of 1024
  static bool securityGetpwnam(const std::string& name, passwd& entry, char* buffer,
                               long bufferLength);

  /// Finds the user with the id `uid`, see getpwuid_r(3); `entry`, `buffer`, `bufferLength` and the
  /// return value are as for `securityGetpwnam`.
  static bool securityGetpwuid(unsigned int uid, passwd& entry, char* buffer, long bufferLength);

  /// Appends the words of the process's command line, "/proc/PID/cmdline", if readable, to `words`.
  /// @sharp{users} Splits arguments at spaces; reads 1023 bytes. @instead Keep `argv` of `main`.
  static void getCommandLine(std::vector<std::string>& words);

  /// @} @name Files
  /// @{

  /// Splits `path` at its last "/": "/etc/hosts" gives "/etc", "hosts" gives the working directory.
  /// @param fileName  set to the last component
  /// @return the directory without links, see realpath(3); "" if it does not exist or has more than
  ///         4096 bytes; "", and `fileName` empty, if `path` ends with "/"
  /// @throws std::out_of_range if `path` is empty or only spaces; `fileName` is empty then
  /// @sharp{files} Like `VexaCommonUtils_i::copyFile` drops spaces (0x20) around a path.
  static std::string getParentDirectory(const std::string& path, std::string& fileName);

  /// Copies the file `source` to `target`, created (mode 0666 less the umask) or emptied first,
  /// following links at both ends. Both directories must exist, see `getParentDirectory`. A pipe is
  /// read to its end. Only the opened files are read and changed, whatever replaces them.
  /// @param keepAttributes  afterwards set the source's times, mode, owner and group, in this order
  /// @return 0; -1 on failure or, before any change, if both are the same file by any path or link
  /// @throws std::out_of_range as `getParentDirectory` does
  /// @sharp{files} A failure halfway, or a directory as source, removes the target, a link or
  /// device too, but no file put there since. @instead Copy beside it and rename(2).
  /// @sharp{files} Keeps times in whole seconds, no set-user-ID bits; ignores failures to set any.
  /// @sharp{files} Writes through a dangling link, even if `noOverwrite` is true.
  static int copyFile(const std::string& source, const std::string& target, bool noOverwrite,
                      bool keepAttributes);

  /// @} @name Path and input safety
  /// @{

  /// Returns whether `name` has no line feed, quote, backtick or any of `/ \ : * ? < > | ; & $`.
  /// @sharp{safety} "", "..", spaces and other control characters pass. @instead Refuse them too.
  static bool isSafeFileName(const std::string& name);

  /// Returns whether `text` contains none of the unsafe words, case included: the values in
  /// "[UnsafeWord]" of "secure.cfg" (see `getConfFile`), read on every call unless `text` is empty.
  /// @sharp{safety} True, and "file open fail, PATH" on standard error, if the file is unreadable.
  static bool checkUnSafeStr(const std::string& text);

  /// @}
};

#endif
