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

/// The second of the two utility classes. What `VexaCommonUtils` and its groups say, on thread
/// safety too, holds here as well.
class VEXA_EXPORT VexaCommonUtils_i {
 public:
  /// @name Environment and configuration paths
  /// @{

  /// Returns `text` with each reference `${NAME}` replaced, by the rules of
  /// `VexaCommonUtils::replaceEnvVar`.
  static std::string VexareplaceEnvVar(const std::string& text);

  /// Returns a copy of `text`.
  /// @sharp{environment} A stub kept for binary compatibility: expands nothing. @instead Do not
  /// call it.
  static std::string VexareplaceMacroVar(const std::string& text);

  /// Returns the path of the configuration file `fileName`, which may hold subdirectories: the
  /// first that exists (access(2)) of `_APP_SHARE_DIR` + "/conf/" and `APP_ROOT` + "/conf/", else
  /// `COMMON_LIB_PATH` + "/conf/". Searched on every call.
  /// @sharp{environment} Returns the last path even if nothing is there; an unreadable file, or a
  /// directory, hides those after it. @instead Handle a failed open.
  /// @sharp{environment} `fileName` is appended unchecked and may climb with "..". @instead Check
  /// untrusted names.
  static std::string getConfFile(const std::string& fileName);

  /// @}
  /// @name Settings and deployment switches
  /// @{

  /// Reads the value of `key` from the settings store, the library "libsettingrest.so".
  /// @return the store's result, 0 on success; -1, `value` unchanged, if the library or its entry
  ///         point cannot be found: the next call tries again
  /// @sharp{settings} Once loaded, the store is called from several threads at once, and what it
  /// throws passes through. @instead Install a thread-safe store.
  /// @process{permanent} The first lookup that finds the store loads it, its symbols global, until
  /// the process ends. @instead Restart the process after replacing the store.
  static int getSettingParamValue(const std::string& key, std::string& value);

  /// Reads the parameters of `group`, a string in the store's own format, from the settings store.
  /// @return as `getSettingParamValue`; `params` is unchanged for -1
  static int getSettingGroupParams(const std::string& group,
                                   std::map<std::string, std::string>& params);

  /// Reads `primaryKey` from the settings store and, unless it has a value that is not empty,
  /// `fallbackKey`.
  /// @return whether one of the lookups succeeded with a value that is not empty
  /// @sharp{settings} Never clears `value`: on failure it holds what the store left. @instead Read
  /// it only after true.
  static bool GetSetParamValue(const std::string& primaryKey, const std::string& fallbackKey,
                               std::string& value);

  /// Returns whether services listen on the loopback address: "ListenLoopbackIP", read like the
  /// switch of `VexaCommonUtils::isListenAllIp`.
  static bool isListenLoopback();

  /// Returns whether CORBA traffic must be encrypted: "SSLNoProtection" in the settings store, the
  /// branch of `APP_NAME` before "global", is "disable" or not set. Read on every call.
  /// @sharp{settings} The value is "disable" at first and not cleared between the lookups: a store
  /// that succeeds with an empty value, and no other, gives false. @instead Leave the key out.
  static bool isCorbaSSLOnly();

  /// Returns whether "ts_mode" in "[TS]" of `COMMON_SHARE_PATH` (if empty, "/export/home/omc") +
  /// "/etc/conf/TSSetting.cfg" is "true". Without a readable file, returns false and caches
  /// nothing.
  /// @sharp{settings} Caches the first result read from a file until the process ends, without a
  /// lock: concurrent first calls may each read it. @instead Restart the process after a change.
  static bool isTsMode();

  /// Returns whether a line of "/etc/os-release" is NAME="ZirelOS". Read on every call.
  /// @sharp{settings} A space or carriage return after the name gives false; 1023-byte pieces of
  /// longer lines count as lines. @instead Keep the file as the distribution ships it.
  static bool isZirel();

  /// @}
  /// @name SSL option file
  /// Thread-safe unless another thread changes the environment.
  /// @{

  /// Returns the path of the configuration file `fileName`, as `getConfFile` does; for
  /// "svc_ssl.conf" that of this process's SSL option file, `_APP_SHARE_DIR` + "/svc_ssl_" +
  /// `PROCESS_INSTANCE_ID` + ".conf".
  ///
  /// The first successful call creates that file, mode 0640 under any umask, from the template
  /// "svc_ssl.conf". Of "-SSLAuthenticate", "-SSLVersion" and "-SSLNoProtection" it adds those that
  /// are not in the template, each after a line feed, before the first double quote after
  /// "-SSLCAfile". Values come from the settings store, or are "NONE" and "TLSv1.2"; the last
  /// option has none, and is added only for "enable".
  ///
  /// What is at the path is removed first; no link is followed. If the directory forbids removal, a
  /// regular file of this user or root without other names is overwritten after its mode was set.
  /// @return the path; "" if the template cannot be read or the file written: the next call tries
  ///         again
  /// @throws std::out_of_range ("basic_string::replace") if an option is missing and there is no
  ///         "-SSLCAfile", or no double quote after it
  /// @sharp{ssl} Any failure, an exception included, leaves no file, not even an earlier run's.
  /// @instead Treat "" as fatal; check the template at installation.
  /// @sharp{ssl} An option anywhere in the template counts, in a comment or as the start of a
  /// longer word too. @instead Keep option names out of comments.
  /// @sharp{ssl} After a success, a removed file or a changed setting is not noticed. @instead
  /// Restart the process.
  /// @sharp{ssl} If the store fails meanwhile, the file holds the defaults until the process ends.
  /// @instead Check at start that the store returns the settings; restart after an outage.
  /// @sharp{ssl} Each of several threads that call first creates the file: it is missing in
  /// between. @instead Call it once before threads start.
  /// @sharp{ssl} Quoted arguments span lines, but ACE's classic Service Configurator ends a string
  /// at the line's end. @instead Use a reader that allows this, such as one that splits with
  /// `ACE_ARGV`.
  /// @process{permanent} Writes that file.
  static std::string get_svc_ssl_conf(const std::string& fileName);

  /// Returns the platform's SSL mode code, always 2.
  static int VexaGetSSLMode();

  /// @}
  /// @name Strings
  /// @{

  /// Returns `s` without leading and trailing bytes that are in the set `chars`, usually `"
  /// \t\r\n"`; `s` as it is if `chars` is null or empty.
  static std::string VexatrimAll(const std::string& s, const char* chars);

  /// Returns `VexatrimAll` of `s` and `chars`; both names are part of the contract.
  static std::string trimString(const std::string& s, const char* chars);

  /// Inserts the tokens of `s`, separated by runs of bytes from `delims`, into `out`, within the
  /// limits of the form for a vector, `VexaCommonUtils::splitAll`. `out` is unchanged if `s` cannot
  /// be copied.
  static void splitAll(const std::string& s, const std::string& delims, std::set<std::string>& out);

  /// Writes `value` in decimal and a NUL to `buf`, at least 22 bytes; returns `buf`, which may be
  /// null.
  static char* ulltoa(unsigned long long value, char* buf);

  /// Returns whether every byte of `s` is one of '0' to '9'.
  /// @sharp{strings} True for the empty string. @instead Also test for emptiness.
  static bool Isdigitstr(const std::string& s);

  /// Returns the percentage `x` rounded up to a whole number; 100 if `x` is more or not a number.
  /// @sharp{strings} 99 to below 100 gives 99; above -1 gives 0, -1 and below wraps at 2^64 (-1
  /// gives about 1.8e19), below -2^63 gives 2^64. @instead Pass 0 to 100.
  static double getUpperIntVal(double x);

  /// @}
  /// @name Base64
  /// @{

  /// Returns the base64 of the `length` bytes at `data`, in any locale: `encodeData("M", 1)`
  /// returns "TQ==". `data` may be null if `length` is 0.
  static std::string encodeData(const char* data, unsigned int length);

  /// Returns `VexaCommonUtils::base64Decode` of `encoded`; both names are part of the contract.
  static std::string decodeData(const std::string& encoded);

  /// @}
  /// @name Identifiers and time stamps
  /// @{

  /// Returns 32 upper-case hexadecimal digits such as "0000003C6568F17ACB40020AFB009CFF": 20 for
  /// the time in units of 100 ns since the Unix epoch, in whole microseconds (-1 s if the clock
  /// fails), and 12 for the host's MAC address, read on every call (zeros if it cannot be read).
  /// @return the identifier; "" if the address cannot be copied
  /// @sharp{identifiers} Not secret, not an RFC 4122 UUID, and equal for two calls in one
  /// microsecond. @instead Add a counter.
  static std::string generateUUID();

  /// @}
  /// @name Database query text
  /// @{

  /// Returns `text` as a quoted LIKE operand, escaped by `VexaCommonUtils::transDBUpdateString` and
  /// `VexaCommonUtils::transDBSearchString`, with the wildcards of `mode` (none if it is not an
  /// enumerator) and the clause of `VexaCommonUtils::getEscapeString`.
  ///
  ///     TransferLikeSql("a_b'c", FUZZY_QUERY_BOTH)  ->  "'%a\\_b''c%' escape '\\' "  Oracle family
  ///                                                     "'%a[_]b''c%'"                any other
  ///
  /// @sharp{query} Reads the database type twice (once for an empty `text`): until it is cached,
  /// one failed read mixes the dialects, and a `%` of `text` may stay a wildcard. @instead
  /// Configure the type, and call `VexaCommonUtils::getDBType` once at start.
  static std::string TransferLikeSql(const std::string& text, Vexacommon::FuzzyQueryMode mode);

  /// @}
  /// @name Addresses and host names
  /// Address families are the platform's numbers: 2 is IPv4 (AF_INET), 10 is IPv6 (AF_INET6).
  /// @{

  /// Parses the dotted IPv4 address `ip`: exactly four fields of decimal digits, none empty. A NUL
  /// is not a digit.
  /// @param octets  set to one byte for each field; on failure, for each field before it
  ///         ("1.2.3.4.5" gives five, a string without "." none)
  /// @return 0, or -1 on failure
  /// @sharp{addresses} Compares the low 32 bits of strtol(3)'s value with 255: "4294967297.0.0.1"
  /// begins with 1. @instead Use `VexaCommonUtils::isValidIP` too; read `octets` only after 0.
  static int validateIPv4(const std::string& ip, std::vector<unsigned char>& octets);

  /// Rewrites an IPv6 address in full form, in which addresses are compared: lower case, eight
  /// groups, no leading zeros. "FE80::0001" becomes "fe80:0:0:0:0:0:0:1".
  /// @param ip  any form of inet_pton(3); an IPv4-mapped or -compatible address keeps its "::"
  ///         ("::ffff:1.2.3.4")
  /// @return 10 for IPv6; `ip` unchanged, 2 for what `validateIPv4` accepts, 0 for anything else, a
  ///         zone suffix ("fe80::1%eth0") included
  static int formatStringIP(std::string& ip);

  /// Sets `ip`, an address or host name, to its address, an IPv6 one in full form. What
  /// `validateIPv4` does not accept is resolved, and one address chosen, by `ACE_INET_Addr::set`.
  /// @return the family of the address; `ip` unchanged, 2 for what `validateIPv4` accepts, 0 on
  ///         failure
  /// @sharp{addresses} Waits for the name service; if ACE is built with IPv6, a name's IPv4 address
  /// is mapped ("::ffff:10.1.1.1", family 10). @instead Use `VexaCommonUtils_i::formatStringIP` if
  /// no names occur.
  static int formatStringIP_DNS(std::string& ip);

  /// Parses `text` into the address field of `sockaddr`, a `sockaddr_in` for `family` 2 or a
  /// `sockaddr_in6` for 10; other fields stay.
  /// @return 1; 0, nothing changed, if `text` is not an address of that family, see inet_pton(3);
  ///         -1 for another family, a null pointer or `len` below 1
  /// @sharp{addresses} 1 is success; `len` is not compared with the record's size. @instead Test
  /// for 1.
  static int stringIPToAddress(int family, const char* text, void* sockaddr, int len);

  /// Prints the address field of `sockaddr`, a `sockaddr_in` for `family` 2 or a `sockaddr_in6` for
  /// 10, to `buf` as inet_ntop(3) does, "::" not expanded. The family in the record is not read.
  /// @return 0; -1, `buf` unchanged, for another family, a null pointer or a negative `len`
  /// @sharp{addresses} -1 if `bufLen` is below 48, for IPv4 too; `len` is not compared with the
  /// record's size. @instead Pass 48.
  static int addressToStringIP(int family, void* sockaddr, int len, char* buf, int bufLen);

  /// Appends each IPv4 and IPv6 address of the machine's interfaces to `addresses`, in the order of
  /// getifaddrs(3), loopback and repeated ones included; nothing if the system returns no list.
  /// Returns 0.
  /// @sharp{addresses} For IPv6, prints the 16 bytes from the flow information on, not the address:
  /// "2001:db8:1:2:3:4:5:6" appears as "::2001:db8:1:2:3:4". @instead Use getifaddrs(3).
  /// @process{permanent} Each call leaks the interface list, as in
  /// `VexaCommonUtils_i::getInterfaceOfIPV6` and `VexaCommonUtils_i::getMacAddrOfIPV6`. @instead
  /// Call them rarely.
  static int getAllIPAddr(std::list<std::string>& addresses);

  /// @}
  /// @name Netmasks and interfaces
  /// @{

  /// Finds the first interface, see getifaddrs(3), that carries the IPv6 address `ip` in any form
  /// of inet_pton(3). Leaks like `getAllIPAddr`.
  /// @return 0; -1, `interfaceName` unchanged, if `ip` is not IPv6 (`ip` unchanged too) or no
  ///         interface carries it
  /// @sharp{interfaces} Leaves `ip` in full form ("fe80:0:0:0:0:0:0:1"), on failure too. @instead
  /// Pass a copy.
  static int getInterfaceOfIPV6(std::string& ip, std::string& interfaceName);

  /// @}
  /// @name MAC addresses
  /// Each call runs a system tool and waits for it. Thread-safe.
  /// @{

  /// Finds the MAC address of the interface that carries the IPv6 address `ip`, which is set to
  /// full form: as `getZirelMacAddrOfIPV6` if `isZirel`; otherwise in the fifth column of the first
  /// line of "/sbin/ifconfig" with the name that `getInterfaceOfIPV6` finds, as older versions
  /// print it.
  /// @return 0; -1, `*mac` unchanged, if `ip` is not IPv6, no interface carries it, or the column
  ///         is not an address
  /// @sharp{mac} Returns 0, `*mac` unchanged, if the tool is missing or prints no such line.
  /// @instead Zero `*mac` first, and test it.
  /// @sharp{mac} The interface's name enters a shell command as it is, and finds "eth10" for "eth1"
  /// too. @instead Let only administrators name interfaces.
  static int getMacAddrOfIPV6(std::string& ip, Vexacommon::LocalMACAddress* mac);

  /// Finds the MAC address of the interface that carries `ip` in the output of "/usr/sbin/ifconfig
  /// -a", the newer form ("ether" lines).
  /// @return 0; -1, `*mac` unchanged, if there is none or the tool prints nothing
  /// @sharp{mac} Finds only an `ip` in full form. @instead Use
  /// `VexaCommonUtils_i::getMacAddrOfIPV6`, which rewrites it.
  /// @sharp{mac} Takes the last interface, in name order, whose name is part of the carrier's:
  /// "eth1" for an "eth10" without an address. @instead Name interfaces so that none contains
  /// another.
  static int getZirelMacAddrOfIPV6(const std::string& ip, Vexacommon::LocalMACAddress* mac);

  /// @}
  /// @name Cluster nodes
  /// Thread-safe unless another thread changes the environment.
  /// @{

  /// Appends the addresses of the remote-client nodes in the JSON file `QORV_ROOT` +
  /// "/etc/sysconf/nodelists.json", read on every call, to `ipList`: nodes in byte order of their
  /// names, addresses in file order, repeated ones kept. Remote clients have "true", or the JSON
  /// value true, for "RemoteClient" in "extAttr".
  /// @return 0, also without such nodes; -1, `ipList` unchanged, if the variable is not set or the
  ///         file cannot be read or parsed, for instance if nested deeper than 1000 levels
  /// @throws Json::LogicError (a `std::exception`) if members are of the wrong kinds, such as an
  ///         array for "nodeList"
  /// @sharp{nodes} An exception leaves the nodes before the faulty one, whole, in `ipList`.
  /// @instead Catch `std::exception`.
  /// @sharp{nodes} Addresses are not checked, and "" if there is no "IP"; an empty `QORV_ROOT`
  /// means the path from "/". @instead Check every address.
  static int GetAllWebswingNodeIPs(std::list<std::string>& ipList);

  /// @}
  /// @name Commands
  /// The shell gets a command as it is: check untrusted input in it, or use `runCommand`.
  /// @{

  /// Runs `command` as `VexaCommonUtils::system` does, with the same changes to the process;
  /// returns -1, nothing done, if it is null or empty.
  static int execve_s(const char* command);

  /// Runs a program without a shell, its standard handles on "/dev/null", and waits for it. Spaces
  /// separate words; single or double quotes around a whole word keep its spaces; every other byte
  /// stands for itself.
  /// @param inheritEnvironment  true: the child gets the environment, and the program is looked up
  ///         on `PATH`; false: an empty environment, and the program is named by path
  /// @param inheritHandles  whether the child gets the open descriptors above 2
  /// @return the exit code, or an exec error number such as 2 for a missing program; -1 if
  ///         `command` is null or has no word, or "/dev/null" cannot be set
  /// @sharp{commands} Either form returns 4 also for a child killed by a signal, and 0 also if
  /// another thread or a handler reaped it. @instead Let programs avoid exit codes 2, 4 and 13.
  /// @sharp{commands} Either form returns 0 if a signal interrupts the wait; the program may still
  /// run. @instead Install handlers with `SA_RESTART`, or block signals during the call.
  /// @sharp{commands} Reads 4095 bytes and 127 words; if fork(2) fails, waits for any child of the
  /// process, or returns 0 without one. @instead Use the form that takes a path.
  /// @sharp{commands} fork(2) costs more the more memory the caller has, and the child visits every
  /// possible descriptor without `inheritHandles`. @instead Inherit; mark descriptors
  /// close-on-exec.
  /// @process{permanent} The "/dev/null" descriptor stays open if the child's handles cannot be
  /// set.
  static int runCommand(const char* command, bool inheritEnvironment, bool inheritHandles);

  /// Runs the program at `path`, not looked up on `PATH`, with `argv` (its name first, a null
  /// pointer last), and waits for it. Environment, descriptors, signal mask and ignored signals are
  /// the caller's. The child shares the caller's memory until its program starts, see vfork(2), so
  /// the cost does not grow with it.
  /// @return the exit code, or an exec error number: 2 for a missing program, 13 for one that may
  ///         not be run; -1 if an argument or `argv[0]` is null or no process can be created
  /// @sharp{commands} Handlers of pthread_atfork(3) do not run. @instead Rely on none.
  /// @process{temporary} All signals are blocked in the calling thread while the child is created.
  static int runCommand(const char* path, char* const* argv);

  /// Opens a stream on the output of the shell command `command`, see popen(3), for `pclose_s` to
  /// close.
  /// @return the stream; null if the command cannot be started
  /// @process{temporary} Children, also those of other threads, inherit the stream's descriptor
  /// until `VexaCommonUtils_i::pclose_s`. @instead Close it soon.
  static std::FILE* pipeline_s(const char* command);

  /// Closes a `stream` of `pipeline_s` and waits for its command.
  /// @return the raw wait status; -1, with `errno` set, if there is none, see pclose(3)
  static int pclose_s(std::FILE* stream);

  /// Runs the shell command `command` and sets `result` to all that it, and what it left running,
  /// writes to standard output; input and error are the process's. Line ends and spaces are kept.
  /// @return 0; -1 if `result` is empty, also on failure
  /// @throws std::length_error if no string can hold the output
  /// @sharp{commands} Returns -1 for a command that prints nothing, 0 for one that prints and
  /// fails. @instead Get the exit code from `VexaCommonUtils_i::runCommand`.
  /// @sharp{commands} Lines are read in pieces of 127 bytes: what follows a NUL in its piece is
  /// lost. A read error ends the output. @instead Print text only.
  static int getSystemExecResult(const char* command, std::string& result);

  /// @}
  /// @name Users and processes
  /// @{

  /// Finds the user `name`, see getpwnam_r(3): sets `entry`, whose strings are in `buffer`.
  /// @return whether the user was found
  /// @sharp{users} False also for a failed lookup or a `buffer` that is null or too small, as in
  /// `VexaCommonUtils_i::securityGetpwuid`. @instead Pass a `bufferLength` of 1024 or more.
  static bool securityGetpwnam(const std::string& name, passwd& entry, char* buffer,
                               long bufferLength);

  /// Finds the user with the id `uid`, see getpwuid_r(3). `entry`, `buffer`, `bufferLength` and the
  /// result are as for `securityGetpwnam`; returns whether the user was found.
  static bool securityGetpwuid(unsigned int uid, passwd& entry, char* buffer, long bufferLength);

  /// Appends the words of the process's command line ("/proc/PID/cmdline") to `words`; nothing if
  /// it cannot be read.
  /// @sharp{users} Splits arguments at spaces, and ends after 1023 bytes, within a word too.
  /// @instead Keep `argv` of `main`.
  static void getCommandLine(std::vector<std::string>& words);

  /// @}
  /// @name Files
  /// @{

  /// Splits `path` at its last "/": " /etc/hosts" gives "/etc" and "hosts"; "hosts" gives the
  /// working directory and "hosts".
  /// @param fileName  set to the last component
  /// @return the directory, absolute and without links (realpath(3)); "" if it does not exist or
  ///         has more than 4096 bytes; "", and `fileName` empty, if `path` ends with "/"
  /// @throws std::out_of_range if `path` is empty or only spaces; `fileName` is empty then
  /// @sharp{files} Drops spaces (0x20) around a path, and throws for one of spaces, as does
  /// `VexaCommonUtils_i::copyFile`. @instead Test for emptiness; avoid names that begin or end with
  /// spaces.
  static std::string getParentDirectory(const std::string& path, std::string& fileName);

  /// Copies the file `source` to `target`, which is created (mode 0666 less the umask) or emptied
  /// first. Links are followed at both ends; both directories must exist, see `getParentDirectory`.
  /// A pipe is read to its end. Only the opened files are read and changed, whatever other
  /// processes put at their paths.
  /// @param noOverwrite  fail if `target` exists
  /// @param keepAttributes  then set the source's times, mode, owner and group, in this order
  /// @return 0; -1 on failure, and if both are the same file, by any path or link: noticed before
  ///         it is changed or removed
  /// @throws std::out_of_range as `getParentDirectory` does
  /// @sharp{files} A copy that fails halfway, or of a directory, removes `target` with what it
  /// held, or the link that leads to it, or a device, but nothing put there after the opening.
  /// @instead Copy beside it and rename(2).
  /// @sharp{files} Keeps whole seconds and no set-user-ID bits; returns 0 if attributes could not
  /// be set. @instead Compare where it matters.
  /// @sharp{files} A dangling link is no existing `target`: the copy writes through it. @instead
  /// Remove such links.
  static int copyFile(const std::string& source, const std::string& target, bool noOverwrite,
                      bool keepAttributes);

  /// @}
  /// @name Path and input safety
  /// @{

  /// Returns whether `name` holds none of 15 characters, the line feed and:
  ///
  ///     / \ : * ? " ' < > | ` ; & $
  ///
  /// @sharp{safety} The empty name, "..", spaces, NUL and other control characters are safe.
  /// @instead Refuse those yourself.
  static bool isSafeFileName(const std::string& name);

  /// Returns whether `text` contains none of the unsafe words, case included: the values, not the
  /// keys, of "[UnsafeWord]" in "secure.cfg" (see `getConfFile`). Read on every call, but not for
  /// an empty `text`.
  /// @sharp{safety} Fails open: if the file cannot be read, writes "file open fail, " and its path
  /// to standard error and returns true. @instead Watch standard error.
  static bool checkUnSafeStr(const std::string& text);

  /// @}
};

#endif
