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

/// The second of the two utility classes; the remarks at `VexaCommonUtils` and at its groups hold
/// here too.
class VEXA_EXPORT VexaCommonUtils_i {
 public:
  /// @name Environment and configuration paths
  /// Threads: as getenv(3), safe against each other, not against a concurrent setenv(3).
  /// @{

  /// Returns `text` with each reference `${NAME}` replaced, by the rules of
  /// `VexaCommonUtils::replaceEnvVar`.
  static std::string VexareplaceEnvVar(const std::string& text);
  /// Returns a copy of `text`, nothing expanded: a placeholder.
  static std::string VexareplaceMacroVar(const std::string& text);

  /// Returns the path of the configuration file `fileName`, which is appended as given and may hold
  /// subdirectories: the first that exists (access(2), F_OK) of `_APP_SHARE_DIR` + "/conf/" and
  /// `APP_ROOT` + "/conf/", else `COMMON_LIB_PATH` + "/conf/", whether it exists there or not.
  /// Searched on every call.
  static std::string getConfFile(const std::string& fileName);

  /// @}
  /// @name Settings and deployment switches
  /// Words ("enable", "disable", "true") are compared exactly, case included. Threads: any, while
  /// none changes the environment.
  /// @{

  /// Asks the settings store, the library "libsettingrest.so", for the value of `key`. The store is
  /// loaded by the first call that finds it and stays mapped for the life of the process; later
  /// calls take no lock and are not serialised. What the store throws passes through.
  /// @return the store's result, 0 on success; -1 when the library or its entry point cannot be
  ///         found, `value` unchanged then; the next call tries again
  static int getSettingParamValue(const std::string& key, std::string& value);
  /// Asks the settings store for the parameters of `group`, a text of the store's own format.
  /// @return as `getSettingParamValue`; `params` is unchanged for -1
  static int getSettingGroupParams(const std::string& group,
                                   std::map<std::string, std::string>& params);
  /// Asks the settings store for `primaryKey`, then, unless that succeeded with a value that is not
  /// empty, for `fallbackKey`. `value` is handed to both as it stands and is never cleared here: on
  /// failure it holds what the store left in it.
  /// @return whether one of them succeeded with a value that is not empty
  static bool GetSetParamValue(const std::string& primaryKey, const std::string& fallbackKey,
                               std::string& value);
  /// Tells whether services listen on the loopback address; as `VexaCommonUtils::isListenAllIp`,
  /// with "ListenLoopbackIP".
  static bool isListenLoopback();
  /// Tells whether CORBA traffic must be encrypted: "SSLNoProtection" in the settings store, the
  /// branch of `APP_NAME` before "global", is "disable" or set nowhere. Read on every call. The
  /// value begins as "disable" and is not cleared between the look-ups, whose second result is not
  /// tested: a store that succeeds with an empty value everywhere gives false.
  static bool isCorbaSSLOnly();
  /// Tells whether "ts_mode" is "true" in "[TS]" of `COMMON_SHARE_PATH` +
  /// "/etc/conf/TSSetting.cfg", "/export/home/omc" standing in for an empty variable. The first
  /// answer read is kept for the life of the process; without a readable file the answer is false
  /// and nothing kept. Takes no lock: concurrent first calls may each read the file.
  static bool isTsMode();
  /// Tells whether "/etc/os-release" holds the line NAME="ZirelOS" and nothing else on it. Read on
  /// every call, in pieces of at most 1023 bytes: a piece of a longer line is compared as a line.
  static bool isZirel();

  /// @}
  /// @name SSL option file
  /// Threads: any, while none changes the environment; those that make the first call together
  /// generate the same file one after the other, and it is missing in between.
  /// @{

  /// Returns the path of the configuration file `fileName`, as `getConfFile` does, and for
  /// "svc_ssl.conf" exactly the path of the SSL option file of this process instance:
  /// `_APP_SHARE_DIR` + "/svc_ssl_" + `PROCESS_INSTANCE_ID` + ".conf", mode 0640 under any umask.
  ///
  /// The first successful call generates that file; later ones return its path and touch nothing.
  /// A settings store that fails meanwhile leaves the defaults in it for the life of the process.
  /// Of "-SSLAuthenticate", "-SSLVersion" and "-SSLNoProtection" each one that the template does
  /// not name anywhere is inserted, on a line of its own, before the first double quote behind
  /// "-SSLCAfile", with its value from the settings store or "NONE", "TLSv1.2" and "disable" (the
  /// last one is added for "enable" only, and has no value).
  ///
  /// What is at the path is removed first and a new file is created; links are never followed. If
  /// the directory does not let it be removed, an existing file is overwritten: a regular file of
  /// this user or root with no other name, whose mode can be set to 0640 before it is written.
  /// @return the path; "" when the template cannot be read or the file cannot be written, no file
  ///         being left then; the next call tries again
  /// @throws std::out_of_range ("basic_string::replace") when an option must be added and there is
  ///         no double quote behind "-SSLCAfile", or no such option; the older file is gone then
  static std::string get_svc_ssl_conf(const std::string& fileName);
  /// Returns the SSL mode code of the platform, always 2.
  static int VexaGetSSLMode();

  /// @}
  /// @name Strings
  /// Bytes and ASCII only. Threads: any.
  /// @{

  /// Returns `s` without the leading and trailing bytes that are in the set `chars`; "" when it
  /// holds no other; unchanged when `chars` is null or empty. The usual set is `" \t\r\n"`.
  static std::string VexatrimAll(const std::string& s, const char* chars);
  /// Returns what `VexatrimAll` does of `s` and `chars`.
  static std::string trimString(const std::string& s, const char* chars);

  /// Inserts the tokens of `s` into `out`, which is not cleared; runs of bytes from `delims`
  /// separate them and no token is empty. Only the first 1024 bytes of `s` are seen, and nothing
  /// behind a NUL in `s` or in `delims`. `out` is unchanged when the text cannot be copied.
  static void splitAll(const std::string& s, const std::string& delims, std::set<std::string>& out);

  /// Writes `value` in decimal, with a terminator, to `buf` of at least 22 bytes.
  /// @return `buf`; null only when `buf` is null
  static char* ulltoa(unsigned long long value, char* buf);

  /// Tells whether every byte of `s` is one of '0' to '9'; true for the empty text.
  static bool Isdigitstr(const std::string& s);

  /// Lifts a percentage to the next whole number, but never to 100 from below.
  /// @param x a percentage, not negative
  /// @return 100 from 100 on and for what is not a number; 99 from 99 on; else `x` rounded up. The
  ///         whole part is unsigned: between -1 and 0 it is 0, from -1 down it wraps at 2^64 (-1
  ///         gives about 1.8e19), and below -2^63 it is 2^64.
  static double getUpperIntVal(double x);

  /// @}
  /// @name Base64
  /// RFC 4648, standard alphabet. Threads: any, while none sets the locale.
  /// @{

  /// Returns the base64 text (RFC 4648) of `length` bytes at `data`: 4 characters for every 3 bytes
  /// begun, the last ones "=" where bytes are missing, without line breaks. The alphabet does not
  /// depend on the locale. `data` may be null when `length` is 0; the result is "" then.
  ///
  ///     encodeData("Man", 3)  ->  "TWFu"
  ///     encodeData("M", 1)    ->  "TQ=="
  static std::string encodeData(const char* data, unsigned int length);

  /// Returns the bytes that the base64 text `encoded` stands for, as
  /// `VexaCommonUtils::base64Decode` does.
  static std::string decodeData(const std::string& encoded);

  /// @}
  /// @name Identifiers and time stamps
  /// Threads: any.
  /// @{

  /// Returns 32 upper-case hexadecimal digits: 20 for the time in units of 100 nanoseconds since
  /// the Unix epoch, always whole microseconds, and 12 for the host's MAC address, read on every
  /// call; zeros where it cannot be read. The text is no RFC 4122 UUID, and neither secret nor
  /// unique: two calls within one microsecond on one host return the same, so callers that need
  /// more add a distinction of their own. A failing clock counts as one second before the epoch.
  ///
  ///     generateUUID()  ->  "0000003C6568F17ACB40020AFB009CFF"
  /// @return the identifier; "" when the address cannot be copied
  static std::string generateUUID();

  /// @}
  /// @name Database query text
  /// Threads: as `VexaCommonUtils::getDBType`.
  /// @{

  /// Returns a complete LIKE operand for `text`: `VexaCommonUtils::transDBSearchString` of its
  /// `VexaCommonUtils::transDBUpdateString`, with the wildcards of `mode`, between single quotes,
  /// followed by `VexaCommonUtils::getEscapeString`. The database type is asked twice, once for an
  /// empty `text`. A `mode` outside the enumeration adds no wildcard.
  /// If only one of the two reads fails, escapes and clause are those of different dialects, and a
  /// `%` in `text` may be a wildcard; a type that was read once is kept and cannot fail.
  ///
  ///     TransferLikeSql("a_b'c", FUZZY_QUERY_BOTH)  ->  "'%a\\_b''c%' escape '\\' "  Oracle family
  ///                                                     "'%a[_]b''c%'"                any other
  static std::string TransferLikeSql(const std::string& text, Vexacommon::FuzzyQueryMode mode);

  /// @}
  /// @name Addresses and host names
  /// Address families are the platform's numbers: 2 is IPv4 (AF_INET), 10 is IPv6 (AF_INET6).
  /// Threads: any.
  /// @{

  /// Parses the dotted IPv4 text `ip`: exactly four fields of decimal digits, leading zeros
  /// accepted, of which the low 32 bits of strtol(3)'s value count and must not exceed 255
  /// ("4294967297.0.0.1" begins with 1). No field may be empty; blanks and NUL bytes are no digits.
  /// @param octets  cleared; then takes one byte for each field
  /// @return 0 with four bytes in `octets`; else -1, with the bytes of the fields before the
  ///         failure (for "1.2.3.4.5" all five, for a text without "." none)
  static int validateIPv4(const std::string& ip, std::vector<unsigned char>& octets);

  /// Brings an address into the one text form that addresses are compared in.
  /// @param ip  rewritten for IPv6 alone, any form that inet_pton(3) reads: lower case, no leading
  ///            zeros, "::" expanded to eight groups ("FE80::0001" becomes "fe80:0:0:0:0:0:0:1");
  ///            an IPv4-mapped or -compatible address keeps its "::" ("::ffff:1.2.3.4")
  /// @return 2 for what `validateIPv4` accepts, `ip` unchanged; 10 for IPv6; 0 for anything else, a
  ///         zone suffix ("fe80::1%eth0") included, `ip` unchanged
  static int formatStringIP(std::string& ip);

  /// The same for an address or a host name: what `validateIPv4` does not accept is resolved by
  /// `ACE_INET_Addr::set`, which waits for the system's name service, and takes the address that it
  /// takes. Where ACE is built with IPv6 the IPv4 address of a name comes in mapped form
  /// ("::ffff:10.1.1.1", family 10).
  /// @param ip  replaced by the address found, an IPv6 one in full form
  /// @return 2 for what `validateIPv4` accepts, `ip` unchanged; else the family of the address
  ///         found; 0 when there is none, `ip` unchanged
  static int formatStringIP_DNS(std::string& ip);

  /// Parses `text` into the address field of a socket address; its other fields stay as they are.
  /// @param family    2 or 10
  /// @param sockaddr  a `sockaddr_in` or `sockaddr_in6`, by `family`
  /// @param len       at least 1; not compared with the record's size
  /// @return 1; 0 when `text` is no address of that family (record unchanged), see inet_pton(3); -1
  ///         for another family, a null pointer or a `len` below 1
  static int stringIPToAddress(int family, const char* text, void* sockaddr, int len);

  /// Prints the address field of a socket address as inet_ntop(3) does, "::" not expanded. The
  /// family that the record itself holds is not looked at.
  /// @param family    2 or 10
  /// @param sockaddr  a `sockaddr_in` or `sockaddr_in6`, by `family`; not modified
  /// @param len       not negative; not compared with the record's size
  /// @param bufLen    bytes of `buf`: at least 48, for IPv4 too
  /// @return 0 and the NUL-terminated text in `buf`; -1, `buf` unchanged, for another family, a
  ///         null pointer, a negative `len` or a smaller `bufLen`
  static int addressToStringIP(int family, void* sockaddr, int len, char* buf, int bufLen);

  /// Appends a text for each IPv4 and IPv6 address of the machine's interfaces to `addresses`, in
  /// the order of getifaddrs(3), loopback and repeated ones included; adds nothing when the system
  /// gives no list.
  ///
  /// An IPv6 text is not the address: it shows the 16 bytes that begin four bytes into the socket
  /// address, flow information first ("2001:db8:1:2:3:4:5:6" appears as "::2001:db8:1:2:3:4").
  /// Each call leaves the list that it read allocated: a process that calls it for ever grows.
  /// @return 0
  static int getAllIPAddr(std::list<std::string>& addresses);

  /// @}
  /// @name Netmasks and interfaces
  /// Nothing is cached. Threads: any.
  /// @{

  /// Finds the interface that carries the IPv6 address `ip`, any form that inet_pton(3) reads; the
  /// kernel's first one wins, see getifaddrs(3). `ip` is left in full form ("fe80:0:0:0:0:0:0:1"),
  /// also when no interface carries it. Each call leaves the list that it read allocated: a process
  /// that calls it for ever grows.
  /// @return 0 and the name in `interfaceName`; -1 (`interfaceName` unchanged) when `ip` is not
  ///         IPv6 (`ip` unchanged too) or no interface carries it
  static int getInterfaceOfIPV6(std::string& ip, std::string& interfaceName);

  /// @}
  /// @name MAC addresses
  /// Each call runs a system tool and waits for it. Threads: any.
  /// @{

  /// Finds the MAC address of the interface that carries the IPv6 address `ip`, which is left in
  /// full form. Where `isZirel` is true it answers as `getZirelMacAddrOfIPV6`; elsewhere it finds
  /// the interface as `getInterfaceOfIPV6` and reads the fifth column of the first line of
  /// "/sbin/ifconfig" that holds the interface's name, whose older form has the address there. The
  /// name becomes part of a shell command as it stands: whoever may name interfaces may run
  /// commands.
  /// @return 0 and the bytes in `*mac`; also 0, `*mac` unchanged, when the tool is missing or gives
  ///         no line for an interface that was found; -1 (`*mac` unchanged) when `ip` is not IPv6,
  ///         no interface carries it, or the column holds no address
  static int getMacAddrOfIPV6(std::string& ip, Vexacommon::LocalMACAddress* mac);
  /// Finds the MAC address of the interface that carries `ip` in the output of
  /// "/usr/sbin/ifconfig -a", the newer form ("ether" lines).
  /// @param ip  the address in the full form of `formatStringIP`; no other form matches
  /// @return 0 and the bytes in `*mac`: of all interfaces whose name is part of the carrier's name,
  ///         in name order, the last one's ("eth1" also answers for "eth10" where that has no
  ///         address); -1 (`*mac` unchanged) when there is none or the tool printed nothing
  static int getZirelMacAddrOfIPV6(const std::string& ip, Vexacommon::LocalMACAddress* mac);

  /// @}
  /// @name Cluster nodes
  /// Threads: any, while none changes the environment.
  /// @{

  /// Appends the addresses of the cluster's remote-client nodes to `ipList`, as they stand in the
  /// node list and not checked: nodes in the byte order of their names, each one's addresses in the
  /// file's order, repeated ones kept. An element without "IP" gives "".
  ///
  /// The node list is the JSON file at `QORV_ROOT` + "/etc/sysconf/nodelists.json", read on every
  /// call. A node counts where "RemoteClient" in its "extAttr" is "true" (or the JSON value true)
  /// and nothing else.
  /// @return 0, also when no node counts; -1, `ipList` unchanged, when the variable is not set or
  ///         the file cannot be read or parsed, one nested deeper than 1000 levels included
  /// @throws Json::LogicError (a std::exception) for a document of the wrong kinds, such as an
  ///         array for "nodeList"; `ipList` then holds the nodes before the one at fault, whole
  static int GetAllWebswingNodeIPs(std::list<std::string>& ipList);

  /// @}
  /// @name Commands
  /// Every operation waits on the caller's thread, without a time limit. Threads: any, but
  /// `execve_s` changes the `SIGCHLD` disposition of the whole process.
  /// @{

  /// Runs `command` as `VexaCommonUtils::system` does, with all that is said there.
  /// @return what `system` returns; -1 when `command` is null or empty, nothing done then
  static int execve_s(const char* command);

  /// Runs a program with its standard handles on "/dev/null" and waits for it. There is no shell:
  /// blanks separate words, single or double quotes around a whole word keep its blanks, every
  /// other byte stands for itself. The first 4095 bytes and 127 words are seen.
  ///
  /// The child is made by fork(2), whose cost grows with the caller's memory; without
  /// `inheritHandles` it visits every possible descriptor. A failed fork is not told apart: any
  /// child of the process is waited for then.
  /// @param inheritEnvironment whether the child gets the caller's environment and the program is
  ///        looked up on `PATH`; else the environment is empty and the program is named by path
  /// @param inheritHandles whether the child gets the caller's open descriptors above 2
  /// @return the exit code, an exec error number such as 2 for a missing program included; 4 also
  ///         for a child killed by a signal; 0 also when the status is lost, because another thread
  ///         or a handler reaped the child, the wait was interrupted or fork failed without another
  ///         child; -1 when `command` is null, empty or blanks alone, or "/dev/null" cannot be set
  ///         (its descriptor stays open then, if it could be opened)
  static int runCommand(const char* command, bool inheritEnvironment, bool inheritHandles);

  /// Runs the program at `path`, not looked up on `PATH`, with the arguments `argv` (the program's
  /// name first, a null pointer last) and waits for it. Environment, descriptors, signal mask and
  /// ignored signals are the caller's. No shell is involved.
  ///
  /// The child shares the caller's memory until its program starts, as with vfork(2): the cost does
  /// not grow with the caller, and handlers registered by pthread_atfork(3) do not run.
  /// @return the exit code; the error number of a failed exec, such as 2 for a missing program or
  ///         13 for one that may not be run; 4 also for a child killed by a signal; 0 also when the
  ///         status is lost, because another thread or a handler reaped the child or the wait was
  ///         interrupted; -1 when an argument or `argv[0]` is null or no process can be made
  static int runCommand(const char* path, char* const* argv);

  /// Opens a stream on the standard output of a shell command, see popen(3). The caller reads it
  /// and closes it with `pclose_s`. As with `VexaCommonUtils::system`, the text goes to the shell
  /// as it is, and the caller must have checked foreign text in it.
  /// @return the stream; null when the command cannot be started
  static std::FILE* pipeline_s(const char* command);

  /// Closes a stream of `pipeline_s` and waits for its command.
  /// @return the raw wait status; -1, with `errno` set, when there is none; see pclose(3)
  static int pclose_s(std::FILE* stream);

  /// Runs a shell command and collects all that it, and what it left running, writes to its
  /// standard output; its input and error are the process's. As with `VexaCommonUtils::system`, the
  /// text goes to the shell as it is, and the caller must have checked foreign text in it.
  ///
  /// Lines are read in pieces of at most 127 bytes, and what follows a NUL within its piece is
  /// lost; all else is kept exactly, line ends and blanks included. A read error ends the output.
  /// @param result replaced by the output, "" on failure
  /// @return 0 when `result` is not empty, whatever the command's exit code; else -1
  /// @throws std::length_error when the output exceeds what a string can hold
  static int getSystemExecResult(const char* command, std::string& result);

  /// @}
  /// @name Users and processes
  /// Threads: any.
  /// @{

  /// Looks a user up by name, see getpwnam_r(3).
  /// @param entry  the user's entry on success; its texts stand in `buffer`
  /// @param buffer room of `bufferLength` bytes for these texts; 1024 do for most users
  /// @return whether the user was found; false for a missing user as for a failed look-up, a buffer
  ///         that is missing or too small included
  static bool securityGetpwnam(const std::string& name, passwd& entry, char* buffer,
                               long bufferLength);

  /// Looks a user up by id, see getpwuid_r(3).
  /// @param uid    the user's id
  /// @param entry  the user's entry on success; its texts stand in `buffer`
  /// @param buffer room of `bufferLength` bytes for these texts
  /// @return as `securityGetpwnam`
  static bool securityGetpwuid(unsigned int uid, passwd& entry, char* buffer, long bufferLength);

  /// Appends the words of the process's command line ("/proc/PID/cmdline") to `words`, at most its
  /// first 1023 bytes; a word cut there is kept in its cut form. Blanks separate words: an argument
  /// "x y" becomes two of them. `words` is unchanged when the command line cannot be read.
  static void getCommandLine(std::vector<std::string>& words);

  /// @}
  /// @name Files
  /// Paths are handed to the system up to their first NUL byte. Threads: any.
  /// @{

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
  /// Only the files that were opened are read and changed, whatever other processes put at their
  /// paths meanwhile. A copy that fails half-way is removed, with what the target held before; so
  /// is a link that leads to it, or a device, but nothing that was put at `target` after the
  /// opening. A pipe as source is read to its end.
  /// @param noOverwrite     fail when `target` exists; a link that leads nowhere does not
  /// @param keepAttributes  afterwards set the source's times (whole seconds), mode, then owner and
  ///                        group as far as the system allows; set-user-ID bits get lost on the way
  /// @return 0; -1 on any failure and when both are the same file, by whatever path or link: that
  ///         is noticed before the file is changed or removed
  /// @throws std::out_of_range for an empty or all-blank path
  static int copyFile(const std::string& source, const std::string& target, bool noOverwrite,
                      bool keepAttributes);

  /// @}
  /// @name Path and input safety
  /// Threads: any, while none changes the environment.
  /// @{

  /// Tells whether `name` holds none of the 15 characters that are unsafe in a file name:
  ///
  ///     / \ : * ? " ' < > | ` ; & $
  ///
  /// and the line feed. An empty name is safe, as are "..", blanks and NUL bytes.
  static bool isSafeFileName(const std::string& name);

  /// Tells whether `text` holds none of the unsafe words: the values, not the keys, of section
  /// "[UnsafeWord]" of "secure.cfg" (see `getConfFile`), read afresh on each call. Case counts, and
  /// a word is found anywhere. An empty `text` is safe without a look at the file.
  ///
  /// Fails open: where the file cannot be read it writes "file open fail, " and the file's path to
  /// standard error and returns true.
  static bool checkUnSafeStr(const std::string& text);

  /// @}
};

#endif
