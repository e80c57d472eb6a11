#ifndef VEXA_COMMON_UTILS_H
#define VEXA_COMMON_UTILS_H

/// @file
/// The first utility class.

#include <list>
#include <string>
#include <vector>

#include "VexaExport.h"

/// The first of the two utility classes: static operations, grouped by family. The second is
/// `VexaCommonUtils_i`.
///
/// Unless a member says otherwise, it is thread-safe, reports failure only by its result, throws
/// nothing but `std::bad_alloc`, and must not be passed a null pointer.
class VEXA_EXPORT VexaCommonUtils {
 public:
  /// @name Environment and configuration paths
  /// Paths are composed from environment variables; no directory needs to exist. Thread-safe unless
  /// another thread changes the environment (setenv(3)).
  /// @{

  /// Returns the value of the environment variable `name`, read on every call; "" if `name` is null
  /// or the variable is not set.
  /// @sharp{environment} Does not distinguish an unset variable from an empty one, so a path built
  /// from an unset variable begins with "/" ("/conf"). @instead Use getenv(3) where the difference
  /// matters; check the deployment's variables at start.
  static std::string Vexagetenv(const char* name);

  /// Returns `text` with each reference `$(NAME)` replaced by the value of that environment
  /// variable.
  ///
  ///     replaceEnvVar("$(HOME)/x")  ->  "/home/u/x"
  ///
  /// One pass from left to right. NAME is everything up to the first ")", spaces and signs
  /// included, and is passed to getenv(3) as a C string. An unterminated reference stays as
  /// written.
  /// @sharp{environment} A reference to an unset or empty variable stays in the string; references
  /// do not nest, and a value is not expanded again. @instead Search the result for the opening
  /// token.
  static std::string replaceEnvVar(const std::string& text);

  /// Returns `text` with each reference `%NAME%` replaced, by the rules of `replaceEnvVar`.
  /// @sharp{environment} Percent signs pair from left to right, whatever is between them:
  /// `%A%B%C%` refers to A and C. @instead Keep single percent signs out of such strings.
  static std::string replEnvVar(const std::string& text);

  /// Returns `COMMON_LIB_PATH` + "/conf".
  static std::string getCommonConfigPath();
  /// Returns the same as `getCommonConfigPath`; both names are part of the contract.
  static std::string getConfigPath();
  /// Returns `APP_ROOT` + "/conf".
  static std::string getAppConfigPath();
  /// Returns `_APP_SHARE_DIR` + "/conf".
  static std::string getAPPShareConfigPath();

  /// Returns the trace directory, which always ends in "/".
  ///
  /// It is "tracedir" of section "[TraceDir]" in "setting.cfg" (found by
  /// `VexaCommonUtils_i::getConfFile`) with `${NAME}` references expanded, or `_APP_LOG_DIR` +
  /// "/log/" if that is empty or missing. Without a readable file the default is returned and
  /// nothing is cached.
  /// @sharp{environment} Caches the first result read from a file until the process ends. @instead
  /// Restart the process after a change.
  static std::string getTracePath();

  /// Returns the value of `VEXA_DUMP_ALL_LOCKS_FILE`, or "/tmp/lockInfo.dump" if it is not set.
  /// @sharp{environment} An empty variable gives an empty path. @instead Unset it to get the
  /// default.
  static std::string getDumpAllLocksFile();

  /// @}
  /// @name Settings and deployment switches
  /// Values ("enable", "disable", "true") are compared exactly, case included. The configuration
  /// page names every file and key. Thread-safe unless another thread changes the environment.
  /// @{

  /// Returns whether services listen on all addresses: "ListenAllIp" in "[IP]" of "setting.cfg" is
  /// "enable" or, if the file leaves it empty, in the settings store, the branch of `APP_NAME`
  /// before "global". Read on every call.
  /// @sharp{settings} False without a readable "setting.cfg", whatever the settings store holds.
  /// @instead Deploy the file, even an empty one.
  /// @sharp{settings} All switches compare exactly: "Enable" is not "enable". @instead Write values
  /// in lower case.
  /// @sharp{settings} The result of the store's second lookup is not tested: what a failing store
  /// writes counts, here as in `VexaCommonUtils_i::isListenLoopback` and
  /// `VexaCommonUtils_i::isCorbaSSLOnly`. @instead Let a store write nothing when it fails.
  static bool isListenAllIp();

  /// Returns the same as `VexaCommonUtils_i::isCorbaSSLOnly`; both names are part of the contract.
  static bool isCorbaSSLOnly();

  /// Returns true, which converts to 1; reads nothing.
  static bool IsGlobalVersion();

  /// Returns the database type from the JSON file named by `APP_CONF_FILE`: "type" of the first
  /// element under the first name, in byte order, of "databases", unchanged.
  ///
  /// Returns "sybase", and caches nothing, if the variable is empty, the file cannot be read or
  /// parsed, or the type is missing, empty or not a string.
  /// @sharp{settings} "sybase" stands for every failure too, lack of memory while reading included;
  /// of several databases the first name in byte order decides, "Main" before "backup". @instead
  /// Deploy `APP_CONF_FILE` before the first query.
  /// @sharp{settings} Caches the first type read until the process ends. @instead Restart the
  /// process after a change.
  static std::string getDBType();

  /// @}
  /// @name Strings
  /// Bytes and ASCII only: the locale is never read. A NUL is a byte like any other unless a member
  /// says otherwise. Cost is linear. One object may be passed for several arguments. Throws nothing
  /// but `std::bad_alloc` and, for a result that exceeds `std::string::max_size()`,
  /// `std::length_error`. Thread-safe.
  /// @{

  /// Returns the bytes of `s` in reverse order.
  static std::string Vexareverse(std::string& s);
  /// Returns `s` without leading spaces (0x20).
  static std::string Vexaltrim(std::string& s);
  /// Returns `s` without leading and trailing spaces (0x20).
  /// @sharp{strings} Trims spaces only, not tabs or line ends, as does
  /// `VexaCommonUtils::Vexaltrim`; `s` is taken by plain reference but not modified. @instead Use
  /// `VexaCommonUtils_i::VexatrimAll`.
  static std::string Vexatrim(std::string& s);

  /// Replaces every `from` in `s` by `to`, in place, left to right, without overlap. Inserted bytes
  /// are not searched again.
  /// @return a copy of the modified `s`
  /// @throws std::length_error  no string can hold the result; `s` is unchanged
  /// @sharp{strings} An empty `from` changes nothing.
  static std::string Vexareplace(std::string& s, std::string& from, std::string& to);
  /// Replaces every `from` in `s` by `to`, as `Vexareplace` does.
  /// @sharp{strings} The string to change is the last argument.
  static void stringReplace(const std::string& from, const std::string& to, std::string& s);

  /// Appends the tokens of `s`, separated by `delims`, to `out`. No token is empty for a delimiter
  /// of one byte.
  ///
  ///     split("a,,b,", ",", out)  appends "a" and "b"
  ///
  /// @sharp{strings} A token starts at a byte that is not in `delims` and ends only at `delims` as
  /// a whole string: "xaybz" split by "ab" is one token, "abxab" gives "x". @instead Use one-byte
  /// delimiters.
  /// @sharp{strings} An empty `delims` gives an empty token for each byte of `s`. @instead Check
  /// the delimiter.
  static void split(const std::string& s, const std::string& delims, std::list<std::string>& out);

  /// Appends the tokens of `s`, separated by runs of bytes from `delims`, to `out`. No token is
  /// empty; without delimiters `s` is one token.
  /// @return the number of elements in `out`; 0, `out` unchanged, if `s` cannot be copied
  /// @sharp{strings} Reads only the first 1024 bytes of `s`, up to the first NUL, as does the form
  /// for a set. @instead Use `VexaCommonUtils::split` for longer strings.
  /// @sharp{strings} The result counts earlier elements of `out` too. @instead Clear `out` first.
  static unsigned long splitAll(const std::string& s, const std::string& delims,
                                std::vector<std::string>& out);

  /// Writes `value` in decimal and a NUL to `buf`.
  /// @param buf  at least 22 bytes
  /// @return `buf`; null if `buf` is null or formatting fails
  /// @sharp{strings} `VexaCommonUtils::ultoa` and `VexaCommonUtils_i::ulltoa` return `buf` even if
  /// formatting fails.
  static char* ltoa(long value, char* buf);
  /// Writes `value` in decimal and a NUL to `buf`.
  /// @param buf  at least 22 bytes
  /// @return `buf`, which may be null
  static char* ultoa(unsigned long value, char* buf);

  /// Returns the spaces that pad `s` to 32 columns; "" if `s` has 32 bytes or more.
  static std::string tabs(const std::string& s);

  /// @}
  /// @name Character sets and locale
  /// Conversions between the locale's multibyte encoding and wide strings. The first one sets the
  /// process locale from the environment (`VexaLocale::Instance`), also for an empty argument but
  /// not for a null one. Thread-safe unless another thread sets the locale.
  /// @{

  /// Converts `src` into `dst` as mbstowcs(3) does, and writes a NUL after the text and at the last
  /// element. Does nothing if either is null.
  /// @param dst  at least strlen(`src`) + 1 elements
  /// @sharp{encodings} Ends silently at an invalid sequence, with no NUL after the text but the
  /// last element's. @instead Use the form that returns a `std::wstring`, and compare sizes.
  static void STR2WSTR(const char* src, wchar_t* dst);
  /// Returns `s` as a wide string, up to its first NUL or invalid sequence.
  /// @process{permanent} The first conversion sets the process locale from the environment, as do
  /// `VexaCommonUtils::WSTR2STR` and `VexaLocale::Instance`. @instead Call `VexaLocale::Instance`
  /// before threads start.
  static std::wstring STR2WSTR(const std::string& s);
  /// Returns `src` as a multibyte string, see wcstombs(3); "" if `src` is null.
  /// @sharp{encodings} Returns "" if a single character cannot be encoded in the locale, or for 2
  /// GiB and more. @instead Test for emptiness.
  static std::string WSTR2STR(const wchar_t* src);
  /// Returns a copy of `s` up to its NUL; "" if `s` is null.
  /// @sharp{encodings} Converts nothing, as does `VexaCommonUtils::UTF8TOLOC`. @instead Run the
  /// process in a UTF-8 locale.
  static std::string LOC2UTF8(const char* s);
  /// Returns a copy of `s` up to its NUL; "" if `s` is null.
  static std::string UTF8TOLOC(const char* s);

  /// @}
  /// @name Base64
  /// RFC 4648 with the standard alphabet, padded, without line breaks. Any byte may occur; no
  /// operation fails. Thread-safe unless another thread sets the locale.
  /// @{

  /// Returns whether `c` is a data character: "+", "/", or accepted by isalnum(3) in the current
  /// locale.
  /// @sharp{base64} In an 8-bit locale more letters than the alphabet's count; decoders give them
  /// index 255. @instead Decode in the "C" locale or a UTF-8 one.
  static bool isBase64(unsigned char c);

  /// Returns the decoded bytes of the data characters at the start of `encoded`. Padding may be
  /// missing.
  ///
  ///     base64Decode("TWFu")       ->  "Man"
  ///     base64Decode("TWFu TWFu")  ->  "Man"
  ///
  /// @sharp{base64} Ends silently at the first "=" or byte that is not a data character, line
  /// breaks,
  /// "-" and "_" included; a single character left over gives nothing. @instead Encode the result
  /// again and compare, as the family's example does.
  /// @sharp{base64} The length of `encoded` is taken modulo 4 GiB. @instead Decode longer input in
  /// pieces of a multiple of four.
  static std::string base64Decode(const std::string& encoded);

  /// @}
  /// @name Identifiers and time stamps
  /// Thread-safe unless another thread changes the environment.
  /// @{

  /// Returns the current local time as 14 digits, year to second, see localtime(3).
  ///
  ///     getTimeStamp(false)  ->  "20260305070809"
  ///
  /// @param markDst  whether to append "DST" while daylight-saving time is in force
  /// @return the time stamp; "" if the time cannot be expressed. A year outside 0 to 9999 is
  /// written
  ///         in full, with its sign.
  /// @sharp{identifiers} An unknown daylight-saving state is marked "DST" too. @instead Set the
  /// time zone.
  /// @sharp{identifiers} Uses the zone that tzset(3) found first: a later change of `TZ` has no
  /// effect. @instead Call tzset(3) after changing it.
  static std::string getTimeStamp(bool markDst);

  /// @}
  /// @name Database query text
  /// Strings for SQL that is composed by hand. The dialect follows `getDBType`, read on every call:
  /// "oracle" and "tessarn", in any case, are the Oracle family; any other type is treated as
  /// Sybase or Microsoft SQL Server. Every byte not named is copied, NUL included. Thread-safe, as
  /// `getDBType` is.
  /// @{

  /// Returns `text` with every single quote doubled, for use between single quotes.
  /// @sharp{query} Backslashes and NUL bytes stay. @instead Bind parameters where the database
  /// treats those specially.
  static std::string transDBUpdateString(const std::string& text);

  /// Returns `text` with the LIKE wildcards escaped for the configured database.
  ///
  ///     transDBSearchString("50%_x")  ->  "50\\%\\_x"  Oracle family
  ///                                       "50[%][_]x"  any other
  ///
  /// The Oracle family gets a backslash before each backslash, `%` and `_`; others get brackets
  /// around each of `%`, `_`, `[` and `]`. The type is not read for an empty `text`.
  /// @sharp{query} Leaves quotes, and needs the clause of `VexaCommonUtils::getEscapeString` for
  /// the Oracle family. @instead Use `VexaCommonUtils_i::TransferLikeSql`, or apply it to the
  /// result of `VexaCommonUtils::transDBUpdateString`.
  /// @sharp{query} An unknown database type counts as Sybase or Microsoft SQL Server. @instead
  /// Deploy `APP_CONF_FILE`.
  static std::string transDBSearchString(const std::string& text);

  /// Returns the clause that a LIKE with the escapes of `transDBSearchString` needs.
  ///
  ///     getEscapeString()  ->  " escape '\\' "  Oracle family
  ///                            ""               any other
  static std::string getEscapeString();

  /// Returns `text` unchanged for "oracle", in any case; for any other type, "tessarn" included,
  /// `transDBSearchString` of `transDBUpdateString` of it.
  /// @sharp{query} Leaves the quotes of "oracle" text, and escapes "tessarn" text with backslashes.
  /// @instead Use `VexaCommonUtils_i::TransferLikeSql` for whole operands.
  static std::string TransferLikeSqlForSybAndMSSQL(const std::string& text);

  /// @}
  /// @name Addresses and host names
  /// Nothing is cached. Lookups of names wait for the system's name service, see nsswitch.conf(5);
  /// its answer must fit in 4096 bytes, all names and addresses together. Strings count up to their
  /// first NUL. Thread-safe.
  /// @{

  /// Returns whether `ip` is a dotted IPv4 address (RFC 791): exactly four fields of decimal
  /// digits, each up to 255, at most 15 bytes. Allocates nothing. `CheckIp` is the lax test.
  /// @sharp{addresses} Leading zeros are decimal ("010.001.000.255" is true), but inet_aton(3)
  /// reads them as octal; so does `VexaCommonUtils_i::validateIPv4`. @instead Normalize before
  /// passing on.
  static bool isValidIP(const std::string& ip);

  /// Returns the node name of this machine, at most 255 characters, see uname(2); "" on failure.
  static std::string hostname();

  /// Returns the operating system's name and release, see uname(2); "" on failure.
  /// @sharp{addresses} Has no separator: "Linux6.1.0". @instead Use uname(2) for the parts.
  static std::string sysname();

  /// Returns the first IPv4 address of the machine's node name in dotted form, see
  /// gethostbyname_r(3); "" if there is none.
  static std::string hostipaddr();

  /// Resolves the host name `name` to its first IPv4 address, see gethostbyname_r(3). A dotted IPv4
  /// address resolves to itself.
  /// @param ip  set to the address, or to "" on failure; may be `name` itself
  /// @return 0; -1 if `name` is empty or has no such address
  /// @sharp{addresses} Knows IPv4 and the first address only, often a loopback one for the
  /// machine's own name, as does `VexaCommonUtils::hostipaddr`; an answer above 4096 bytes is a
  /// failure.
  /// @instead Use getaddrinfo(3).
  static int getIPbyHostname(const std::string& name, std::string& ip);

  /// Finds the official host name of the IPv4 address `ip`, see gethostbyaddr_r(3).
  /// @param name  set to the host name, or to "" on failure; may be `ip` itself
  /// @return 0; -1 if `ip` is not an address or has no name
  /// @sharp{addresses} Reads every form of inet_aton(3), "10.1.257" included, and ignores what
  /// follows a space; refuses 0.0.0.0/8. @instead Check with `VexaCommonUtils::isValidIP`.
  static int getHostnamebyIP(const std::string& ip, std::string& name);

  /// @}
  /// @name Netmasks and interfaces
  /// Nothing is cached. Thread-safe.
  /// @{

  /// Finds the netmask of the local IPv4 address `ip`: asks the kernel (`GetNetmaskByIpUseioctl`),
  /// then "ifconfig" (`GetNetmaskByIpUseifconfig`). What `CheckIp` refuses fails at once, so
  /// nothing but digits, dots and outer whitespace reaches the shell. `ip` is not modified.
  /// @param netmask  set to the mask, or to "" on failure
  /// @return 0, or -1 on failure
  /// @throws std::out_of_range as `GetNetmaskByIpUseifconfig` does; `netmask` is "" then
  /// @sharp{interfaces} Refuses "127.0.0.1" and IPv6. @instead Use `GetNetmaskByIpUseioctl` for
  /// loopback.
  static int getNetmaskByIP(std::string& ip, std::string& netmask);

  /// @}
  /// @name Commands
  /// Every operation waits on the caller's thread without a time limit; use timeout(1) for one.
  /// Thread-safe, but `system` changes the `SIGCHLD` disposition of the whole process.
  /// @{

  /// Runs `command` in the shell and waits for the shell to end. Its standard input is at its end;
  /// its output and error are the process's.
  ///
  /// The shell gets the string as it is: check untrusted input in it.
  /// @return the raw wait status, see wait(2); -1 if the shell cannot be started or waited for
  /// @process{permanent} `SIGCHLD` takes its default disposition. @instead Set the handler again.
  /// @process{temporary} The calling thread's signal mask is empty while the command runs, for the
  /// command too; the thread keeps the empty mask if no process can be created. @instead Set the
  /// mask again after a failure.
  /// @sharp{commands} Returns the raw wait status: exit code 3 is 768, death by SIGKILL is 9, and 0
  /// also if the shell was reaped elsewhere. @instead Use `WEXITSTATUS`; leave children to their
  /// creator.
  static int system(const char* command);

  /// @}
  /// @name Users and processes
  /// Thread-safe, but `switchOmcUser` changes the identity of all threads.
  /// @{

  /// Makes the process run as the service user "ossuser" with its groups, in a PAM session of
  /// service "su". Calls exclude each other. The steps are: credentials and session, setgid(2),
  /// initgroups(3), setuid(2).
  /// @return 0 on success, and at once if the real user is not root; the PAM error code (positive,
  /// see
  ///         pam_start(3)) if the transaction cannot start; -1 on any other failure, such as a
  ///         missing user or a password entry above 1024 bytes
  /// @sharp{users} Returns 0 for a process that is not root; a failure does not undo earlier steps,
  /// but ends a PAM transaction that gave no session. @instead End the process on any other result.
  /// @sharp{users} The group is the user's primary group in the user database.
  /// @process{permanent} User, group and supplementary groups of all threads change; a PAM session
  /// stays open. @instead Call it once, before threads start.
  /// @process{temporary} The file-creation mask of all threads is 027 while PAM runs.
  static int switchOmcUser();

  /// Finds the user and the remote address of the session on the terminal at standard input, from
  /// "/usr/bin/whoami" and "/usr/bin/who -m".
  /// @param user     set without surrounding whitespace
  /// @param address  set to the text from the last "(" to the last ")", or from that "(" on if they
  ///                 are the wrong way round
  /// @return 0; -1 if there is no terminal, a tool prints nothing, or a parenthesis is missing
  /// @sharp{users} `address` includes its parentheses; a failure may change `user`. @instead Read
  /// both only after 0.
  static int getSessionDetails(std::string& user, std::string& address);

  /// Returns the kernel's id of the calling thread, see gettid(2). Never fails.
  static long getKernelThreadIDForFS();

  /// Returns 0, whatever `process` is, and leaves `cpu` and `memory` unchanged.
  /// @sharp{users} A stub kept for binary compatibility. @instead Do not call it.
  static int getProcessCPUAndMem(const std::string& process, unsigned int& cpu,
                                 unsigned int& memory);

  /// Writes three lines to `std::cout`, each flushed, the last one empty: stack traces are not
  /// supported.
  /// @sharp{users} A stub kept for binary compatibility. @instead Do not call it.
  static void printStackTrace();

  /// @}
  /// @name Files
  /// Paths count up to their first NUL. Thread-safe.
  /// @{

  /// Creates every directory along `path` with mode 0755 less the umask. An empty path does
  /// nothing.
  /// @sharp{files} Reports no error; a backslash ends a name too: `"a\b"` creates `"a"`, then
  /// `"a\b"`.
  /// @instead Check that the directory exists.
  static void mkdir_all(const std::string& path);

  /// Reads the whole file at `path`, NUL bytes included, into `content`. Opening a pipe waits for
  /// its writer, as fopen(3) does.
  /// @return 0; 1, `content` unchanged, if the file cannot be opened, has no size (a directory, a
  ///         pipe), is shorter than its size or holds 2 GiB or more
  /// @sharp{files} Returns 1 on failure; the size is taken before reading, so a kernel file of size
  /// 0 reads as empty and bytes appended meanwhile are left out. @instead Use read(2) for those.
  static int readFile(const std::string& path, std::string& content);

  /// Appends to `files` the paths of all files below `directory` whose name contains `pattern`; an
  /// empty pattern matches every name. Depth first, in directory order. Links are not followed.
  /// @return 0; -1 if `directory` cannot be opened or `errno` is not 0 at the end
  /// @sharp{files} A `directory` that ends in "/" gives paths with a doubled one; the pattern
  /// matches anywhere in a name; links, and entries whose type the file system does not report,
  /// count as files.
  /// @instead Pass the directory without "/".
  /// @sharp{files} Holds a descriptor for each level of the tree; skips a subdirectory that cannot
  /// be opened, and an error below shows only if no directory was opened after it. @instead Raise
  /// the limit for deep trees; compare counts.
  static int getFilesByDir(std::string directory, std::string pattern,
                           std::list<std::string>& files);

  /// @}
  /// @name Path and input safety
  /// Checks strings only: no link is resolved, and no file is read except by
  /// `VexaCommonUtils_i::checkUnSafeStr`. Thread-safe unless another thread changes the
  /// environment.
  /// @{

  /// Returns whether `path` is `base` or below it and neither has a component "." or "..". A
  /// backslash counts as a slash; relative paths are compared as they are.
  ///
  ///     checkPath("/data/x", "/data")      ->  true
  ///     checkPath("/database/x", "/data")  ->  false
  ///
  /// @return false also if `path` is empty or either is longer than 1024 bytes
  /// @sharp{safety} Resolves no link; looks for components up to the first NUL only; an empty
  /// `base` accepts every path without "." and "..". @instead Pass C strings, and open with
  /// `O_NOFOLLOW` where links matter.
  static bool checkPath(const std::string& path, const std::string& base);

  /// Returns `name` with each character that some file system refuses written as two: backslash
  /// `^a`,
  /// `/` `^b`, `:` `^c`, `*` `^d`, `?` `^e`, double quote `^f`, `<` `^g`, `>` `^h`, `|` `^i`, and
  /// `^`
  /// `^^`. Every other byte stays, control characters and NUL included.
  /// @sharp{safety} "." and ".." stay. @instead Prefix names that could be these.
  static std::string specialName2FileName(const std::string& name);

  /// Returns `name` with the escapes of `specialName2FileName` decoded.
  /// @sharp{safety} A `^` that starts no escape stays, so two file names may give the same name.
  /// @instead Create file names with `VexaCommonUtils::specialName2FileName` only.
  static std::string fileName2SpecialName(const std::string& name);

  /// @}
};

#endif
