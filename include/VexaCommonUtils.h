#ifndef VEXA_COMMON_UTILS_H
#define VEXA_COMMON_UTILS_H

/// @file
/// The first utility class.

#include <list>
#include <string>
#include <vector>

#include "VexaExport.h"

/// The first of the two utility classes: static operations, grouped by family. `VexaCommonUtils_i`
/// is the second.
///
/// Unless a member says otherwise, it is thread-safe, reports failure only by its result, throws
/// nothing but `std::bad_alloc`, and must not be passed a null pointer.
class VEXA_EXPORT VexaCommonUtils {
 public:
  /// @name Environment and configuration paths
  /// No directory needs to exist. Thread-safe unless another thread changes the environment,
  /// setenv(3).
  /// @{

  /// Returns the environment variable `name`, read on every call; "" if `name` is null or it is not
  /// set.
  /// @sharp{environment} Unset and empty variables both give "", and paths from them begin with "/"
  /// ("/conf"). @instead Check the deployment's variables at start, or use getenv(3).
  static std::string Vexagetenv(const char* name);

  /// Returns `text` with each reference `$(`NAME`)` replaced by the value of that environment
  /// variable.
  ///
  ///     replaceEnvVar("$(HOME)/x")  ->  "/home/u/x"
  ///
  /// One pass, left to right. NAME is everything up to the first ")", spaces and signs included, up
  /// to a NUL. An unterminated reference stays as written.
  /// @sharp{environment} References to unset or empty variables stay, and do not nest; values are
  /// not expanded again. @instead Search the result for the opening token.
  static std::string replaceEnvVar(const std::string& text);

  /// Returns `text` with each name between percent signs replaced, by the rules of `replaceEnvVar`.
  /// @sharp{environment} Percent signs pair from left to right: between the second and the third
  /// one there is plain text. @instead Keep single percent signs out of such strings.
  static std::string replEnvVar(const std::string& text);

  /// Returns `COMMON_LIB_PATH` + "/conf".
  static std::string getCommonConfigPath();

  /// Returns the same as `getCommonConfigPath`; both names are part of the contract.
  static std::string getConfigPath();

  /// Returns `APP_ROOT` + "/conf".
  static std::string getAppConfigPath();

  /// Returns `_APP_SHARE_DIR` + "/conf".
  static std::string getAPPShareConfigPath();

  /// Returns the trace directory, which always ends in "/": "tracedir" in "[TraceDir]" of
  /// "setting.cfg" (see `VexaCommonUtils_i::getConfFile`), `${NAME}` expanded, or if empty
  /// `_APP_LOG_DIR` + "/log/". The latter, not cached, without a readable file.
  /// @sharp{environment} Caches the first result read from a file. @instead Restart the process.
  static std::string getTracePath();

  /// Returns `VEXA_DUMP_ALL_LOCKS_FILE`, or "/tmp/lockInfo.dump" if it is not set.
  /// @sharp{environment} An empty variable gives an empty path. @instead Unset it.
  static std::string getDumpAllLocksFile();

  /// @}
  /// @name Settings and deployment switches
  /// The configuration page names every file and key. Thread-safe unless another thread changes the
  /// environment.
  /// @{

  /// Returns whether services listen on all addresses: "ListenAllIp" in "[IP]" of "setting.cfg" is
  /// "enable" or, if the file leaves it empty, in the settings store, the branch of `APP_NAME`
  /// before "global". Read on every call.
  /// @sharp{settings} False without a readable "setting.cfg", whatever the store holds; so is
  /// `VexaCommonUtils_i::isListenLoopback`. @instead Deploy the file, even an empty one.
  /// @sharp{settings} All switches compare exactly: "Enable" is not "enable". @instead Use lower
  /// case.
  /// @sharp{settings} The result of the second lookup is not tested: what a failing store writes
  /// counts, here, for `VexaCommonUtils_i::isListenLoopback` and for
  /// `VexaCommonUtils_i::isCorbaSSLOnly`. @instead Let a store write nothing when it fails.
  static bool isListenAllIp();

  /// Returns `VexaCommonUtils_i::isCorbaSSLOnly`; both names are part of the contract.
  static bool isCorbaSSLOnly();

  /// Returns true, which converts to 1.
  /// @sharp{settings} A stub kept for binary compatibility: reads nothing. @instead Do not call it.
  static bool IsGlobalVersion();

  /// Returns the database type: "type" of the first element under the first name of "databases" in
  /// the JSON file `APP_CONF_FILE`, unchanged; "sybase", not cached, if the variable is empty, the
  /// file cannot be read or parsed, or the type is missing, empty or not a string.
  /// @sharp{settings} "sybase" also stands for a failure to read or parse the file, lack of memory
  /// included. @instead Deploy `APP_CONF_FILE` before the first query.
  /// @sharp{settings} The first name in byte order counts: "Main" before "backup".
  /// @sharp{settings} Caches the first type read. @instead Restart the process after a change.
  static std::string getDBType();

  /// @}
  /// @name Strings
  /// Bytes and ASCII only: the locale is never read. A NUL is a byte like any other unless a member
  /// says otherwise. Cost is linear. One object may be passed for several arguments. Throws only
  /// `std::bad_alloc` and, if no string can hold a result, `std::length_error`. Thread-safe.
  /// @{

  /// Returns the bytes of `s` in reverse order.
  static std::string Vexareverse(std::string& s);

  /// Returns `s` without leading spaces (0x20).
  static std::string Vexaltrim(std::string& s);

  /// Returns `s` without leading and trailing spaces (0x20).
  /// @sharp{strings} Trims spaces only, like `VexaCommonUtils::Vexaltrim`; does not modify `s`.
  /// @instead Use `VexaCommonUtils_i::VexatrimAll`.
  static std::string Vexatrim(std::string& s);

  /// Replaces every `from` in `s` by `to`, in place, left to right, without overlap; inserted bytes
  /// are not searched again.
  /// @return a copy of the modified `s`
  /// @throws std::length_error  no string can hold the result; `s` is unchanged
  /// @sharp{strings} An empty `from` changes nothing.
  static std::string Vexareplace(std::string& s, std::string& from, std::string& to);

  /// Replaces every `from` in `s` by `to`, as `Vexareplace` does.
  /// @sharp{strings} The string to change comes last.
  static void stringReplace(const std::string& from, const std::string& to, std::string& s);

  /// Appends the tokens of `s`, separated by `delims`, to `out`: "a" and "b" for "a,,b," and ",".
  /// None is empty if `delims` is one byte.
  /// @sharp{strings} A token starts at a byte not in `delims` and ends only at all of `delims`:
  /// "xaybz" split by "ab" is one token, "abxab" gives "x". @instead Use one-byte delimiters.
  /// @sharp{strings} An empty `delims` gives an empty token per byte of `s`. @instead Check it.
  static void split(const std::string& s, const std::string& delims, std::list<std::string>& out);

  /// Appends the tokens of `s`, separated by runs of bytes from `delims`, to `out`; none is empty.
  /// @return the number of elements in `out`; 0, `out` unchanged, if `s` cannot be copied
  /// @sharp{strings} Reads the first 1024 bytes of `s`, up to a NUL, as does the form for a set.
  /// @instead Use `VexaCommonUtils::split`.
  /// @sharp{strings} The result counts earlier elements of `out` too. @instead Clear `out` first.
  static unsigned long splitAll(const std::string& s, const std::string& delims,
                                std::vector<std::string>& out);

  /// Writes `value` in decimal and a NUL to `buf`.
  /// @param buf  at least 22 bytes
  /// @return `buf`; null if `buf` is null or formatting fails
  /// @sharp{strings} Does not know the size of `buf`; `VexaCommonUtils::ultoa` and
  /// `VexaCommonUtils_i::ulltoa` return `buf` even if formatting fails. @instead Pass 22 bytes or
  /// more.
  static char* ltoa(long value, char* buf);

  /// Writes `value` in decimal and a NUL to `buf`.
  /// @param buf  at least 22 bytes
  /// @return `buf`, which may be null
  static char* ultoa(unsigned long value, char* buf);

  /// Returns the spaces that pad `s` to 32 columns; "" if `s` has 32 bytes or more.
  static std::string tabs(const std::string& s);

  /// @}
  /// @name Character sets and locale
  /// Between multibyte strings in the locale's encoding and wide strings. Thread-safe unless
  /// another thread sets the locale.
  /// @{

  /// Converts `src` into `dst` as mbstowcs(3) does, and writes a NUL after it and at the last
  /// element. Does nothing if either is null.
  /// @param dst  at least strlen(`src`) + 1 elements
  /// @sharp{encodings} Ends silently at an invalid sequence, with no NUL but the last element's.
  /// @instead Use the form that returns a `std::wstring`, and compare sizes.
  static void STR2WSTR(const char* src, wchar_t* dst);

  /// Returns `s` as a wide string, up to its first NUL or invalid sequence.
  /// @process{permanent} The first conversion, also of "" but not of null, sets the process locale
  /// from the environment, see `VexaLocale::Instance`. @instead Call that before threads start.
  static std::wstring STR2WSTR(const std::string& s);

  /// Returns `src` as a multibyte string, see wcstombs(3); "" if `src` is null.
  /// @sharp{encodings} Returns "" if the locale cannot encode a single character, or for 2 GiB and
  /// more. @instead Test for emptiness.
  static std::string WSTR2STR(const wchar_t* src);

  /// Returns a copy of `s` up to its NUL; "" if `s` is null.
  /// @sharp{encodings} Converts nothing, like `VexaCommonUtils::UTF8TOLOC`. @instead Use a UTF-8
  /// locale.
  static std::string LOC2UTF8(const char* s);

  /// Returns a copy of `s` up to its NUL; "" if `s` is null.
  static std::string UTF8TOLOC(const char* s);

  /// @}
  /// @name Base64
  /// RFC 4648, the standard alphabet, padded, without line breaks. No operation fails. Thread-safe
  /// unless another thread sets the locale.
  /// @{

  /// Returns whether `c` is a data character: "+", "/", or a letter or digit of the locale,
  /// isalnum(3).
  /// @sharp{base64} In an 8-bit locale other letters count too; decoders give them index 255.
  /// @instead Decode in the "C" locale or a UTF-8 one.
  static bool isBase64(unsigned char c);

  /// Returns the decoded bytes of the data characters at the start of `encoded`, padded or not:
  /// "TWFu" gives "Man", and so does "TWFu TWFu".
  /// @sharp{base64} Ends silently at the first byte that is not a data character: line break, "-",
  /// "_". A single character left over gives nothing. @instead Encode the result again and compare.
  /// @sharp{base64} The length is taken modulo 4 GiB. @instead Decode pieces of a multiple of four.
  static std::string base64Decode(const std::string& encoded);

  /// @}
  /// @name Identifiers and time stamps
  /// Thread-safe unless another thread changes the environment.
  /// @{

  /// Returns the local time in 14 digits, year to second, such as "20260305070809", see
  /// localtime(3).
  /// @param markDst  whether to append "DST" while daylight-saving time is in force
  /// @return the time stamp; "" if the time cannot be expressed. Years outside 0 to 9999 are in
  ///         full, with sign.
  /// @sharp{identifiers} Marks an unknown daylight-saving state "DST" too. @instead Set the time
  /// zone.
  /// @sharp{identifiers} Uses the zone that tzset(3) found first. @instead Call it after changing
  /// `TZ`.
  static std::string getTimeStamp(bool markDst);

  /// @}
  /// @name Database query text
  /// Strings for SQL composed by hand. The dialect follows `getDBType`, read on every call:
  /// "oracle" and "tessarn", in any case, are the Oracle family. Bytes not named are copied, NUL
  /// included. Thread-safe, as `getDBType` is.
  /// @{

  /// Returns `text` with every single quote doubled, for use between single quotes.
  /// @sharp{query} Backslashes and NUL bytes stay. @instead Bind parameters if the database minds
  /// them.
  static std::string transDBUpdateString(const std::string& text);

  /// Returns `text` with the LIKE wildcards escaped for the configured database.
  ///
  ///     transDBSearchString("50%_x")  ->  "50\\%\\_x"  Oracle family
  ///                                       "50[%][_]x"  any other
  ///
  /// The Oracle family gets a backslash before each backslash, `%` and `_`; others get brackets
  /// around each `%`, `_`, `[` and `]`. The type is not read for an empty `text`.
  /// @sharp{query} Leaves quotes; for the Oracle family needs `VexaCommonUtils::getEscapeString`.
  /// @instead Use `VexaCommonUtils_i::TransferLikeSql`, or escape
  /// `VexaCommonUtils::transDBUpdateString` of the text.
  /// @sharp{query} Unknown types count as Sybase or Microsoft SQL Server. @instead Deploy
  /// `APP_CONF_FILE`.
  static std::string transDBSearchString(const std::string& text);

  /// Returns the clause that a LIKE with the escapes of `transDBSearchString` needs.
  ///
  ///     getEscapeString()  ->  " escape '\\' "  Oracle family
  ///                            ""               any other
  static std::string getEscapeString();

  /// Returns `text` for "oracle", in any case; else, also for "tessarn", `transDBSearchString` of
  /// `transDBUpdateString` of it.
  /// @sharp{query} Leaves quotes of "oracle" text; "tessarn" text gets backslashes. @instead Use
  /// `VexaCommonUtils_i::TransferLikeSql`.
  static std::string TransferLikeSqlForSybAndMSSQL(const std::string& text);

  /// @}
  /// @name Addresses and host names
  /// Nothing is cached. Lookups wait for the name service, see nsswitch.conf(5). Strings count up
  /// to their first NUL. Thread-safe.
  /// @{

  /// Returns whether `ip` is a dotted IPv4 address (RFC 791): exactly four fields of decimal
  /// digits, up to 255 each, at most 15 bytes. Allocates nothing. `CheckIp` is the lax test.
  /// @sharp{addresses} Leading zeros are decimal, as for `VexaCommonUtils_i::validateIPv4`;
  /// inet_aton(3) reads octal. @instead Normalize "010.001.000.255" before passing it on.
  static bool isValidIP(const std::string& ip);

  /// Returns the node name of this machine, at most 255 characters, see uname(2); "" on failure.
  static std::string hostname();

  /// Returns the operating system's name and release, see uname(2); "" on failure.
  /// @sharp{addresses} Has no separator: "Linux6.1.0". @instead Use uname(2) for the parts.
  static std::string sysname();

  /// Returns the first IPv4 address of the node name, see gethostbyname_r(3); "" if there is none.
  static std::string hostipaddr();

  /// Resolves the host name `name` to its first IPv4 address, see gethostbyname_r(3). A dotted IPv4
  /// address resolves to itself.
  /// @param ip  set to the address, or to "" on failure; may be `name` itself
  /// @return 0; -1 if `name` is empty or has no such address
  /// @sharp{addresses} Takes only the first IPv4 address, often a loopback one for the own name, as
  /// does `VexaCommonUtils::hostipaddr`; fails if names and addresses exceed 4096 bytes. @instead
  /// Use getaddrinfo(3).
  static int getIPbyHostname(const std::string& name, std::string& ip);

  /// Finds the official host name of the IPv4 address `ip`, see gethostbyaddr_r(3).
  /// @param name  set to the host name, or to "" on failure; may be `ip` itself
  /// @return 0; -1 if `ip` is not an address or has no name
  /// @sharp{addresses} Reads all forms of inet_aton(3), "10.1.257" too, and nothing after a space;
  /// refuses 0.0.0.0/8. @instead Check with `VexaCommonUtils::isValidIP`.
  static int getHostnamebyIP(const std::string& ip, std::string& name);

  /// @}
  /// @name Netmasks and interfaces
  /// Nothing is cached. Thread-safe.
  /// @{

  /// Finds the netmask of the local IPv4 address `ip`, by `GetNetmaskByIpUseioctl` or else
  /// `GetNetmaskByIpUseifconfig`. What `CheckIp` refuses fails at once: nothing but digits, dots
  /// and outer whitespace reaches the shell. `ip` is not modified.
  /// @param netmask  set to the mask, or to "" on failure
  /// @return 0, or -1 on failure
  /// @throws std::out_of_range as `GetNetmaskByIpUseifconfig` does; `netmask` is "" then
  /// @sharp{interfaces} Refuses "127.0.0.1" and IPv6. @instead Use `GetNetmaskByIpUseioctl`.
  static int getNetmaskByIP(std::string& ip, std::string& netmask);

  /// @}
  /// @name Commands
  /// Every operation waits on the caller's thread without a time limit, see timeout(1). The shell
  /// gets commands as they are: check untrusted input, or pass it to
  /// `VexaCommonUtils_i::runCommand`. Thread-safe, but `system` and `VexaCommonUtils_i::execve_s`
  /// change signal settings.
  /// @{

  /// Runs `command` in the shell, its input at its end, output and error the process's, and waits
  /// for it.
  /// @return the raw wait status, see wait(2); -1 if the shell cannot be started or waited for
  /// @process{permanent} `SIGCHLD` takes its default disposition, by `VexaCommonUtils_i::execve_s`
  /// too. @instead Set the handler again.
  /// @process{temporary} The calling thread's signal mask is empty while the command runs, for the
  /// command too. It stays empty if no process can be created. @instead Set the mask again after a
  /// failure.
  /// @sharp{commands} Exit code 3 gives 768, SIGKILL 9, a shell reaped elsewhere 0. @instead Use
  /// `WEXITSTATUS`; leave children to their creator.
  static int system(const char* command);

  /// @}
  /// @name Users and processes
  /// Thread-safe, but `switchOmcUser` changes the identity of all threads.
  /// @{

  /// Makes the process run as the service user "ossuser" in a PAM session of service "su":
  /// credentials and session, setgid(2), initgroups(3), setuid(2). Calls exclude each other.
  /// @return 0 on success, or at once if the real user is not root; a positive PAM error code if
  ///         pam_start(3) fails; -1 on any other failure, such as a password entry above 1024 bytes
  /// @sharp{users} Returns 0 if the process is not root. A failure does not undo earlier steps, but
  /// ends a PAM transaction without session. @instead End the process on any other result.
  /// @sharp{users} The group is the user's primary group in the user database.
  /// @process{permanent} User and groups of all threads change; a PAM session stays open. @instead
  /// Call it once, before threads start.
  /// @process{temporary} The file-creation mask of all threads is 027 while PAM runs.
  static int switchOmcUser();

  /// Finds the user and the remote address of the session on the terminal at standard input, from
  /// "/usr/bin/whoami" and "/usr/bin/who -m".
  /// @param user  set without surrounding whitespace
  /// @param address  set to what is from the last "(" to the last ")", or to the end if that is
  ///         before it
  /// @return 0; -1 if there is no terminal, a tool prints nothing, or a parenthesis is missing
  /// @sharp{users} `address` includes its parentheses; a failure may change `user`. @instead Read
  /// both only after 0.
  static int getSessionDetails(std::string& user, std::string& address);

  /// Returns the kernel's id of the calling thread, see gettid(2). Never fails.
  static long getKernelThreadIDForFS();

  /// Returns 0, whatever `process` is; `cpu` and `memory` are unchanged.
  /// @sharp{users} A stub kept for binary compatibility. @instead Do not call it.
  static int getProcessCPUAndMem(const std::string& process, unsigned int& cpu,
                                 unsigned int& memory);

  /// Writes three lines to `std::cout`, the last one empty, each flushed: stack traces are not
  /// supported.
  /// @sharp{users} A stub kept for binary compatibility. @instead Do not call it.
  static void printStackTrace();

  /// @}
  /// @name Files
  /// Paths count up to their first NUL. Thread-safe.
  /// @{

  /// Creates every directory along `path`, if not empty, with mode 0755 less the umask.
  /// @sharp{files} Reports no error. @instead Check that the directory exists.
  /// @sharp{files} A backslash ends a name too: `"a\b"` creates `"a"`, then `"a\b"`.
  static void mkdir_all(const std::string& path);

  /// Reads the file at `path` into `content`, NUL bytes included. A pipe waits for its writer, see
  /// fopen(3).
  /// @return 0; 1, `content` unchanged, if the file cannot be opened, has no size (a directory, a
  ///         pipe), is shorter than its size or holds 2 GiB or more
  /// @sharp{files} Returns 1 on failure. The size is taken first: a kernel file of size 0 reads as
  /// empty, and bytes appended since are left out. @instead Use read(2) for those.
  static int readFile(const std::string& path, std::string& content);

  /// Appends the paths of files below `directory` with `pattern` in their names, which may be
  /// empty, to `files`, depth first, in directory order. Links are not followed.
  /// @return 0; -1 if `directory` cannot be opened or `errno` is not 0 at the end
  /// @sharp{files} A `directory` with a "/" at its end gives paths with two. @instead Pass it
  /// without.
  /// @sharp{files} Links, and entries whose type the file system does not report, count as files;
  /// the pattern matches anywhere in a name.
  /// @sharp{files} Holds a descriptor per level. Skips a directory that cannot be opened: an error
  /// below shows only if none was opened after it. @instead Raise the limit for deep trees; compare
  /// counts.
  static int getFilesByDir(std::string directory, std::string pattern,
                           std::list<std::string>& files);

  /// @}
  /// @name Path and input safety
  /// Checks strings only: no link is resolved. Thread-safe unless another thread changes the
  /// environment.
  /// @{

  /// Returns whether `path` is `base` or below it, and neither has a component "." or "..": with
  /// the base "/data", true for "/data/x", false for "/database/x". A backslash counts as a slash;
  /// relative paths are compared as they are.
  /// @return false also if `path` is empty or either is longer than 1024 bytes
  /// @sharp{safety} Resolves no link, and looks for components up to a NUL only. @instead Pass C
  /// strings; open with `O_NOFOLLOW` if links matter.
  /// @sharp{safety} An empty `base` accepts every path without "." and "..".
  static bool checkPath(const std::string& path, const std::string& base);

  /// Returns `name` with each character that some file system refuses escaped: backslash `^a`, `/`
  /// `^b`, `:` `^c`, `*` `^d`, `?` `^e`, double quote `^f`, `<` `^g`, `>` `^h`, `|` `^i`, `^` `^^`.
  /// Every other byte stays, control characters and NUL included.
  /// @sharp{safety} "." and ".." stay. @instead Prefix names that could be these.
  static std::string specialName2FileName(const std::string& name);

  /// Returns `name` with the escapes of `specialName2FileName` decoded.
  /// @sharp{safety} A `^` that starts no escape stays: two file names may give the same name.
  /// @instead Use file names of `VexaCommonUtils::specialName2FileName` only.
  static std::string fileName2SpecialName(const std::string& name);

  /// @}
};

#endif
