#ifndef VEXA_COMMON_UTILS_I_H
#define VEXA_COMMON_UTILS_I_H

/// @file
/// The second utility class.

#include <cstdio>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "VexaCommonTypes.h"
#include "VexaExport.h"

struct passwd;

/// The second of the two utility classes; what `VexaCommonUtils` and its groups say (on thread
/// safety, too) holds here.
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
  /// `COMMON_LIB_PATH` + "/conf/". Searched on every call.
  /// @sharp{environment} The last path is returned unchecked. @instead Handle a failed open.
  /// @sharp{environment} An unreadable file, or a directory, hides the files after it.
  /// @sharp{environment} `fileName` may climb with "..". @instead Check untrusted names.
  static std::string getConfFile(const std::string& fileName);

  /// @}
  /// @name Settings and deployment switches
  /// @{

  /// Reads `key` from the settings store, the library "libsettingrest.so", into `value`.
  /// @return the store's result, 0 on success; -1, `value` unchanged, if the library or its entry
  ///         point cannot be found (the next call tries again)
  /// @sharp{settings} Several threads call the store at once, and what it throws passes through.
  /// @process{permanent} The first lookup to find the store loads it, its symbols global, until the
  /// process ends. @instead Restart the process after replacing the store.
  static int getSettingParamValue(const std::string& key, std::string& value);

  /// Reads the parameters of `group`, a string in the store's own format, into `params`.
  /// @return as `getSettingParamValue`
  static int getSettingGroupParams(const std::string& group,
                                   std::map<std::string, std::string>& params);

  /// Reads `primaryKey` from the settings store and, unless it has a value, `fallbackKey`.
  /// @return whether one of the lookups succeeded with a value that is not empty
  /// @sharp{settings} On failure `value` is what the store left in it. @instead Read it after true.
  static bool GetSetParamValue(const std::string& primaryKey, const std::string& fallbackKey,
                               std::string& value);

  /// Returns whether "ListenLoopbackIP", read as by `VexaCommonUtils::isListenAllIp`, is "enable".
  static bool isListenLoopback();

  /// Returns whether CORBA traffic must be encrypted: "SSLNoProtection" in the settings store, the
  /// branch of `APP_NAME` before "global", is "disable" or not set. Read on every call.
  /// @sharp{settings} An empty value in the store, and no other, gives false. @instead Leave it
  /// out.
  static bool isCorbaSSLOnly();

  /// Returns whether "ts_mode" in "[TS]" of `COMMON_SHARE_PATH` (or "/export/home/omc", if empty) +
  /// "/etc/conf/TSSetting.cfg" is "true"; false, cached nothing, without a readable file.
  /// @sharp{settings} Caches the first result read from a file, without a lock: concurrent first
  /// calls may each read it. @instead Restart the process after a change.
  static bool isTsMode();

  /// Returns whether a line of "/etc/os-release" is NAME="ZirelOS". Read on every call.
  /// @sharp{settings} A space or carriage return after it gives false; 1023-byte pieces of longer
  /// lines count as lines. @instead Keep the file as the distribution ships it.
  static bool isZirel();

  /// @}
  /// @name SSL option file
  /// Thread-safe unless another thread changes the environment.
  /// @{

  /// Returns `getConfFile` of `fileName`; for "svc_ssl.conf" the path of this process's SSL option
  /// file, `_APP_SHARE_DIR` + "/svc_ssl_" + `PROCESS_INSTANCE_ID` + ".conf".
  ///
  /// The first successful call creates it, mode 0640 under any umask, from the template
  /// "svc_ssl.conf". Of "-SSLAuthenticate", "-SSLVersion" and "-SSLNoProtection" it adds those that
  /// the template lacks, on lines of their own, before the first double quote after "-SSLCAfile".
  /// Values come from the settings store, or are "NONE" and "TLSv1.2"; the last option has none and
  /// is added only for "enable".
  ///
  /// What is at the path is removed first; no link is followed. If the directory forbids that, a
  /// regular file of this user or root, without other names, is overwritten after its mode was set.
  /// @return the path; "" if the template cannot be read or the file written: the next call retries
  /// @throws std::out_of_range ("basic_string::replace") if an option is missing and no double
  ///         quote follows "-SSLCAfile", or there is no "-SSLCAfile"
  /// @sharp{ssl} Any failure, an exception included, leaves no file, not even an earlier one.
  /// @instead Treat "" as fatal; check the template at installation.
  /// @sharp{ssl} An option in a comment of the template, or as the start of a longer word, counts
  /// as present. @instead Keep option names out of comments.
  /// @sharp{ssl} Later removals and changed settings go unnoticed. @instead Restart the process.
  /// @sharp{ssl} If the store fails, the file holds the defaults ("-SSLAuthenticate NONE") until
  /// the process ends. @instead Check the store at start; restart the process after an outage.
  /// @sharp{ssl} Threads that call first at once each create the file, which is missing in between.
  /// @instead Call it once before threads start.
  /// @sharp{ssl} ACE's classic Service Configurator ends a quoted string at a line's end, where
  /// this file goes on. @instead Use another reader, such as one that splits with `ACE_ARGV`.
  /// @process{permanent} Writes the SSL option file below `_APP_SHARE_DIR`.
  static std::string get_svc_ssl_conf(const std::string& fileName);

  /// Returns the platform's SSL mode code, always 2.
  static int VexaGetSSLMode();

  /// @}
  /// @name Strings
  /// @{

  /// Returns `s` without leading and trailing bytes of the set `chars`, such as `" \t\r\n"`; `s`
  /// unchanged if `chars` is null or empty.
  static std::string VexatrimAll(const std::string& s, const char* chars);

  /// Returns `VexatrimAll` of `s` and `chars`; both names are part of the contract.
  static std::string trimString(const std::string& s, const char* chars);

  /// Inserts the tokens of `s`, separated by runs of bytes from `delims`, into `out`, as
  /// `VexaCommonUtils::splitAll` does; `out` is unchanged if `s` cannot be copied.
  static void splitAll(const std::string& s, const std::string& delims, std::set<std::string>& out);

  /// Writes `value` in decimal and a NUL to `buf`, at least 22 bytes; returns `buf`, also if null.
  static char* ulltoa(unsigned long long value, char* buf);

  /// Returns whether every byte of `s` is one of '0' to '9'.
  /// @sharp{strings} True for the empty string. @instead Also test for emptiness.
  static bool Isdigitstr(const std::string& s);

  /// Returns the percentage `x` rounded up to a whole number; 100 if it is more or not a number.
  /// @sharp{strings} 99 to below 100 gives 99. Below 0 gives 0, but from -1 down wraps at 2^64 (-1
  /// gives about 1.8e19), below -2^63 gives 2^64. @instead Pass 0 to 100.
  static double getUpperIntVal(double x);

  /// @}
  /// @name Base64
  /// @{

  /// Returns the base64 of the `length` bytes at `data` (null allowed for 0) in any locale:
  /// `encodeData("M", 1)` returns "TQ==".
  static std::string encodeData(const char* data, unsigned int length);

  /// Returns `VexaCommonUtils::base64Decode` of `encoded`; both names are part of the contract.
  static std::string decodeData(const std::string& encoded);

  /// @}
  /// @name Identifiers and time stamps
  /// @{

  /// Returns 32 upper-case hexadecimal digits, such as "0000003C6568F17ACB40020AFB009CFF": 20 for
  /// the time in units of 100 ns since the Unix epoch, whole microseconds (-1 s if the clock
  /// fails), and 12 for the host's MAC address, read on every call (zeros if it cannot be read).
  /// @return the identifier; "" if the address cannot be copied
  /// @sharp{identifiers} Neither secret nor an RFC 4122 UUID nor unique: two calls in one
  /// microsecond return the same. @instead Add a counter.
  static std::string generateUUID();

  /// @}
  /// @name Database query text
  /// @{

  /// Returns `text` as a quoted LIKE operand: `VexaCommonUtils::transDBUpdateString`, then
  /// `VexaCommonUtils::transDBSearchString`, the wildcards of `mode` (none if not an enumerator),
  /// and `VexaCommonUtils::getEscapeString`.
  ///
  ///     TransferLikeSql("a_b'c", FUZZY_QUERY_BOTH)  ->  "'%a\\_b''c%' escape '\\' "  Oracle family
  ///                                                     "'%a[_]b''c%'"                any other
  ///
  /// @sharp{query} Reads the type twice (once for an empty `text`): if only one read fails,
  /// dialects mix and a `%` may stay a wildcard. @instead Call `VexaCommonUtils::getDBType` once at
  /// start.
  static std::string TransferLikeSql(const std::string& text, Vexacommon::FuzzyQueryMode mode);

  /// @}
  /// @name Addresses and host names
  /// Address families: 2 is IPv4 (AF_INET), 10 is IPv6 (AF_INET6).
  /// @{

  /// Parses the dotted IPv4 address `ip`: four fields, all of decimal digits (a NUL is not a
  /// digit).
  /// @param octets  set to one byte per field; on failure, per field before it (five for
  ///         "1.2.3.4.5")
  /// @return 0, or -1 on failure
  /// @sharp{addresses} Only the low 32 bits of a field count: "4294967297.0.0.1" begins with 1.
  /// @instead Use `VexaCommonUtils::isValidIP` too; read `octets` only after 0.
  static int validateIPv4(const std::string& ip, std::vector<unsigned char>& octets);

  /// Rewrites an IPv6 address in full form, lower case with eight groups: "FE80::0001" becomes
  /// "fe80:0:0:0:0:0:0:1". One with dots ("::ffff:1.2.3.4") keeps its "::".
  /// @param ip  any form of inet_pton(3); unchanged unless the result is 10
  /// @return 2 for what `validateIPv4` accepts, 10 for IPv6, 0 for anything else ("fe80::1%eth0")
  static int formatStringIP(std::string& ip);

  /// Sets `ip`, an address or host name, to an address, an IPv6 one in full form. What
  /// `validateIPv4` does not accept goes to `ACE_INET_Addr::set`, which chooses the address.
  /// @return the address family; `ip` unchanged, 2 for what `validateIPv4` accepts, 0 on failure
  /// @sharp{addresses} Waits for the name service; if ACE has IPv6, a name's IPv4 address is mapped
  /// ("::ffff:10.1.1.1", family 10). @instead Use `VexaCommonUtils_i::formatStringIP` without
  /// names.
  static int formatStringIP_DNS(std::string& ip);

  /// Parses `text` into the address field of `sockaddr`, a `sockaddr_in` or `sockaddr_in6` by
  /// `family`, whose other fields stay.
  /// @return 1; 0, nothing changed, if `text` is not such an address, see inet_pton(3); -1 for
  ///         another family, a null pointer or `len` below 1
  /// @sharp{addresses} 1 is success. The record's size is not compared with `len`. @instead Test
  /// for 1.
  static int stringIPToAddress(int family, const char* text, void* sockaddr, int len);

  /// Prints the address field of `sockaddr`, a `sockaddr_in` or `sockaddr_in6` by `family` (the
  /// record's own is not read), to `buf` as inet_ntop(3) does, "::" not expanded.
  /// @return 0; -1, `buf` unchanged, for another family, a null pointer or a negative `len`
  /// @sharp{addresses} -1 if `bufLen` is below 48, for IPv4 too; `len` is not compared. @instead
  /// Pass 48.
  static int addressToStringIP(int family, void* sockaddr, int len, char* buf, int bufLen);

  /// Appends all IPv4 and IPv6 addresses of the interfaces to `addresses`, in the order of
  /// getifaddrs(3), loopback and repeated ones included; nothing if there is no list. Returns 0.
  /// @sharp{addresses} Prints IPv6 from the flow information on: "2001:db8:1:2:3:4:5:6" appears as
  /// "::2001:db8:1:2:3:4". @instead Use getifaddrs(3).
  /// @process{permanent} Leaks the interface list, as does `VexaCommonUtils_i::getInterfaceOfIPV6`,
  /// which `VexaCommonUtils_i::getMacAddrOfIPV6` uses. @instead Call them rarely.
  static int getAllIPAddr(std::list<std::string>& addresses);

  /// @}
  /// @name Netmasks and interfaces
  /// @{

  /// Finds the first interface of getifaddrs(3) with the IPv6 address `ip`; leaks as
  /// `getAllIPAddr`.
  /// @return 0; -1, `interfaceName` unchanged, if none has it or `ip` is not IPv6, see inet_pton(3)
  /// @sharp{interfaces} Rewrites an IPv6 `ip` in full form, on failure too. @instead Pass a copy.
  static int getInterfaceOfIPV6(std::string& ip, std::string& interfaceName);

  /// @}
  /// @name MAC addresses
  /// Each call runs a system tool and waits for it. Thread-safe.
  /// @{

  /// Finds the MAC address of the interface with the IPv6 address `ip`, which is set to full form:
  /// by `getZirelMacAddrOfIPV6` if `isZirel`, else in the fifth column of the first line of
  /// "/sbin/ifconfig" with the name from `getInterfaceOfIPV6`, as older versions print it.
  /// @return 0; -1, `*mac` unchanged, if no interface has `ip` or the column is not an address
  /// @sharp{mac} Returns 0, `*mac` unchanged, without the tool or such a line. @instead Zero it
  /// first.
  /// @sharp{mac} Puts the name into a shell command as it is; "eth1" finds "eth10" too. @instead
  /// Let only administrators name interfaces.
  static int getMacAddrOfIPV6(std::string& ip, Vexacommon::LocalMACAddress* mac);

  /// Finds the MAC address of the interface with `ip` in "ether" lines of "/usr/sbin/ifconfig -a".
  /// @return 0; -1, `*mac` unchanged, if there is none or the tool prints nothing
  /// @sharp{mac} Finds full form only. @instead Call `VexaCommonUtils_i::getMacAddrOfIPV6`.
  /// @sharp{mac} Of all interfaces whose name is part of the one with `ip`, the last in name order
  /// counts: "eth1" for an "eth10" without an address.
  static int getZirelMacAddrOfIPV6(const std::string& ip, Vexacommon::LocalMACAddress* mac);

  /// @}
  /// @name Cluster nodes
  /// Thread-safe unless another thread changes the environment.
  /// @{

  /// Appends the addresses of the remote-client nodes ("RemoteClient" in "extAttr" is "true" or
  /// true) to `ipList`: nodes in byte order of their names, addresses in file order, repeated ones
  /// kept. Reads the JSON file `QORV_ROOT` + "/etc/sysconf/nodelists.json" on every call.
  /// @return 0, also without such nodes; -1, `ipList` unchanged, if the variable is not set or the
  ///         file cannot be read or parsed (more than 1000 levels deep, too)
  /// @throws Json::LogicError if members are of the wrong kinds, such as an array for "nodeList"
  /// @sharp{nodes} An exception keeps earlier nodes in `ipList`. @instead Catch `std::exception`.
  /// @sharp{nodes} Addresses are not checked; "" for a missing one. @instead Check every address.
  /// @sharp{nodes} An empty `QORV_ROOT` means the path from "/". @instead Unset it.
  static int GetAllWebswingNodeIPs(std::list<std::string>& ipList);

  /// @}
  /// @name Commands
  /// @{

  /// Returns `VexaCommonUtils::system` of `command`; -1, nothing done, if that is null or empty.
  static int execve_s(const char* command);

  /// Runs a program without a shell, its standard handles on "/dev/null", and waits for it. Spaces
  /// split words; quotes (single or double) count around a whole word only, other bytes are
  /// literal.
  /// @param inheritEnvironment  true: the caller's environment, and `PATH` is searched; false: an
  ///         empty environment, and the program is named by path
  /// @param inheritHandles  whether the child gets the open descriptors above 2
  /// @return the exit code, or an exec error number such as 2 for a missing program; -1 if
  ///         `command` is null or has no word, or "/dev/null" cannot be set
  /// @sharp{commands} Either form returns 4 for a killed child, 0 if it was reaped elsewhere, exec
  /// errors (2, 13) like exit codes. @instead Let programs avoid exit codes 2, 4 and 13.
  /// @sharp{commands} Either form returns 0 if a signal interrupts the wait; the program may still
  /// run. @instead Install handlers with `SA_RESTART`, or block signals during the call.
  /// @sharp{commands} Reads 4095 bytes and 127 words. If fork(2) fails, waits for any child of the
  /// process, or returns 0 without one. @instead Use the form that takes a path.
  /// @sharp{commands} Cost grows with the caller's memory and, without `inheritHandles`, with the
  /// limit of descriptors. @instead Let children inherit what is not close-on-exec.
  /// @process{permanent} The "/dev/null" descriptor stays open if the handles cannot be set.
  static int runCommand(const char* command, bool inheritEnvironment, bool inheritHandles);

  /// Runs the program at `path` (`PATH` is not searched) with `argv`, its name first and a null
  /// pointer last, and waits for it. Environment, descriptors, signal mask and ignored signals are
  /// the caller's. The caller's memory is shared, not copied, until the program starts, see
  /// vfork(2).
  /// @return the exit code, or an exec error number: 2 for a missing program, 13 for one that may
  ///         not be run; -1 if an argument or `argv[0]` is null or no process can be created
  /// @sharp{commands} Handlers of pthread_atfork(3) do not run. @instead Rely on none.
  /// @process{temporary} The calling thread blocks all signals while the child is created.
  static int runCommand(const char* path, char* const* argv);

  /// Returns a stream on the output of the shell command `command`, see popen(3), for `pclose_s` to
  /// close; null if the command cannot be started.
  /// @process{temporary} Children inherit the stream's descriptor until
  /// `VexaCommonUtils_i::pclose_s`, those of other threads too. @instead Close it soon.
  static std::FILE* pipeline_s(const char* command);

  /// Closes a `stream` of `pipeline_s` and waits for its command.
  /// @return the raw wait status; -1, with `errno` set, if there is none, see pclose(3)
  static int pclose_s(std::FILE* stream);

  /// Sets `result` to all that the shell command `command`, and what it leaves running, writes to
  /// its standard output, spaces and line ends included. Its input and error are the process's.
  /// @return 0; -1 if `result` is empty, also on failure
  /// @throws std::length_error if no string can hold the output
  /// @sharp{commands} The exit code does not count: -1 for no output, 0 for a failure with output.
  /// @instead Use `VexaCommonUtils_i::runCommand` for the exit code.
  /// @sharp{commands} Loses what follows a NUL in a piece of 127 bytes; a read error ends the
  /// output.
  static int getSystemExecResult(const char* command, std::string& result);

  /// @}
  /// @name Users and processes
  /// @{

  /// Finds the user `name`, see getpwnam_r(3): sets `entry`, whose strings are in `buffer`.
  /// @return whether the user was found
  /// @sharp{users} False also if the lookup fails or `buffer` is null or too small, as for
  /// `VexaCommonUtils_i::securityGetpwuid`. @instead Pass a `bufferLength` of 1024 or more.
  static bool securityGetpwnam(const std::string& name, passwd& entry, char* buffer,
                               long bufferLength);

  /// Finds the user with the id `uid`, see getpwuid_r(3); `entry`, `buffer`, `bufferLength` and the
  /// return value are as for `securityGetpwnam`.
  static bool securityGetpwuid(unsigned int uid, passwd& entry, char* buffer, long bufferLength);

  /// Appends the words of the process's command line, "/proc/PID/cmdline", if readable, to `words`.
  /// @sharp{users} Splits arguments at spaces; reads 1023 bytes. @instead Keep `argv` of `main`.
  static void getCommandLine(std::vector<std::string>& words);

  /// @}
  /// @name Files
  /// @{

  /// Splits `path` at its last "/": " /etc/hosts" gives "/etc" and "hosts", "hosts" the working
  /// directory and "hosts".
  /// @param fileName  set to the last component
  /// @return the directory without links, see realpath(3); "" if it does not exist or has more than
  ///         4096 bytes; "", and `fileName` empty, if `path` ends with "/"
  /// @throws std::out_of_range if `path` is empty or only spaces; `fileName` is empty then
  /// @sharp{files} Drops spaces (0x20) around a path, and throws for one of spaces; so does
  /// `VexaCommonUtils_i::copyFile`. @instead Test for emptiness; avoid names with spaces around.
  static std::string getParentDirectory(const std::string& path, std::string& fileName);

  /// Copies the file `source` to `target`, created (mode 0666 less the umask) or emptied first,
  /// following links at both ends. Both directories must exist, see `getParentDirectory`. A pipe is
  /// read to its end. Only the opened files are read and changed, whatever replaces them.
  /// @param noOverwrite  fail if `target` exists
  /// @param keepAttributes  afterwards set the source's times, mode, owner and group, in this order
  /// @return 0; -1 on failure or, before any change, if both are the same file by any path or link
  /// @throws std::out_of_range as `getParentDirectory` does
  /// @sharp{files} A failure halfway, or a directory as source, removes the target with what it
  /// held, a link or device too, but nothing put there since. @instead Copy beside it and
  /// rename(2).
  /// @sharp{files} Keeps times in whole seconds, no set-user-ID bits, and returns 0 if attributes
  /// cannot be set. @instead Compare where it matters.
  /// @sharp{files} Writes through a dangling link, even if `noOverwrite`. @instead Remove such
  /// links.
  static int copyFile(const std::string& source, const std::string& target, bool noOverwrite,
                      bool keepAttributes);

  /// @}
  /// @name Path and input safety
  /// @{

  /// Returns whether `name` holds none of 15 characters, the line feed and:
  ///
  ///     / \ : * ? " ' < > | ` ; & $
  ///
  /// @sharp{safety} "", "..", spaces and other control characters pass. @instead Refuse them
  /// yourself.
  static bool isSafeFileName(const std::string& name);

  /// Returns whether `text` contains none of the unsafe words, case included: the values in
  /// "[UnsafeWord]" of "secure.cfg" (see `getConfFile`), read on every call unless `text` is empty.
  /// @sharp{safety} True if the file cannot be read, after "file open fail, " and its path on
  /// standard error. @instead Watch standard error.
  static bool checkUnSafeStr(const std::string& text);

  /// @}
};

#endif
