#ifndef VEXA_COMMON_UTILS_H
#define VEXA_COMMON_UTILS_H

/// @file
/// The first utility class.

#include <list>
#include <string>
#include <vector>

#include "VexaExport.h"

/// The first of the two utility classes: static operations by family. `VexaCommonUtils_i` is the
/// second. Unless a member says otherwise, it is thread-safe, reports failure only by its result,
/// throws nothing but `std::bad_alloc`, and must not be passed a null pointer.
class VEXA_EXPORT VexaCommonUtils {
 public:
  /// @name Environment and configuration paths
  /// No directory needs to exist. Thread-safe unless another thread changes the environment. @{

  /// Returns the environment variable `name`, read on every call; "" if null or not set.
  /// @sharp{environment} Unset or empty gives "", and paths like "/conf". @instead Use getenv(3).
  static std::string Vexagetenv(const char* name);

  /// Returns `text` with each `$(`NAME`)` replaced by that environment variable, in one pass from
  /// left to right: `$(`HOME`)`/x becomes "/home/u/x". NAME is any text up to the first ")".
  /// @sharp{environment} Unterminated references and unset or empty variables stay as written;
  /// values are not expanded again. @instead Search the result for the opening token.
  static std::string replaceEnvVar(const std::string& text);

  /// Returns `text` with each name between percent signs replaced, by the rules of `replaceEnvVar`.
  /// @sharp{environment} Signs pair from the left: a single one shifts all pairs after it.
  static std::string replEnvVar(const std::string& text);

  /// Returns `COMMON_LIB_PATH` + "/conf".
  static std::string getCommonConfigPath();

  /// Returns the same as `getCommonConfigPath`; both names are part of the contract.
  static std::string getConfigPath();

  /// Returns `APP_ROOT` + "/conf".
  static std::string getAppConfigPath();

  /// Returns `_APP_SHARE_DIR` + "/conf".
  static std::string getAPPShareConfigPath();

  /// Returns the trace directory, which ends in "/": "tracedir" in "[TraceDir]" of "setting.cfg"
  /// (see `VexaCommonUtils_i::getConfFile`), `${NAME}` expanded, or if empty `_APP_LOG_DIR` +
  /// "/log/"; the latter, not cached, without a readable file.
  /// @sharp{environment} Caches the first result read from a file. @instead Restart the process.
  static std::string getTracePath();

  /// Returns `VEXA_DUMP_ALL_LOCKS_FILE` (also if empty), or "/tmp/lockInfo.dump" if it is not set.
  static std::string getDumpAllLocksFile();

  /// @} @name Settings and deployment switches
  /// See the configuration page. Thread-safe unless another thread changes the environment. @{

  /// Returns whether services listen on all addresses: "ListenAllIp" in "[IP]" of "setting.cfg" is
  /// "enable" or, if empty there, in the settings store, first in the branch of `APP_NAME`, then in
  /// "global". Read on every call.
  /// @sharp{settings} False without a readable "setting.cfg", whatever the store holds, as is
  /// `VexaCommonUtils_i::isListenLoopback`. @instead Deploy the file, even an empty one.
  /// @sharp{settings} Switches compare exactly: "Enable" is not "enable".
  /// @sharp{settings} The second lookup's result is not tested, also for `isListenLoopback` and
  /// `isCorbaSSLOnly`. @instead Let a store write nothing when it fails.
  static bool isListenAllIp();

  /// Returns `VexaCommonUtils_i::isCorbaSSLOnly`; both names are part of the contract.
  static bool isCorbaSSLOnly();

  /// Returns true (1).
  /// @sharp{settings} A stub kept for binary compatibility: reads nothing.
  static bool IsGlobalVersion();

  /// Returns the database type: "type" of the first element under the first name (in byte order:
  /// "Main" before "backup") of "databases" in the JSON file `APP_CONF_FILE`, unchanged.
  /// @return "sybase", not cached, if the variable is empty, the file cannot be read or parsed (for
  ///         lack of memory, too), or the type is missing, empty or not a string
  /// @sharp{settings} Caches the first type read. @instead Restart the process after a change.
  static std::string getDBType();

  /// @} @name Strings
  /// Bytes and ASCII only: the locale is never read, and a NUL is an ordinary byte, unless a member
  /// says otherwise. Cost is linear. One object may be passed for several arguments. Throws only
  /// `std::bad_alloc` and, if no string can hold a result, `std::length_error`. Thread-safe. @{

  /// Returns the bytes of `s` in reverse order.
  static std::string Vexareverse(std::string& s);

  /// Returns `s` without leading spaces (0x20).
  static std::string Vexaltrim(std::string& s);

  /// Returns `s` without leading and trailing spaces (0x20).
  /// @sharp{strings} Trims only spaces, in a copy. @instead Use `VexaCommonUtils_i::VexatrimAll`.
  static std::string Vexatrim(std::string& s);

  /// Replaces every `from` in `s` by `to`, in place, left to right; inserted bytes are not searched
  /// again, and an empty `from` changes nothing.
  /// @return a copy of the modified `s`
  /// @throws std::length_error  no string can hold the result; `s` is unchanged
  static std::string Vexareplace(std::string& s, std::string& from, std::string& to);

  /// Replaces `from` in `s` by `to`, as `Vexareplace` does. The string to change comes last.
  static void stringReplace(const std::string& from, const std::string& to, std::string& s);

  /// Appends the tokens of `s`, separated by `delims`, to `out`: "a" and "b" for "a,,b," and ",".
  /// @sharp{strings} A token starts at a byte not in `delims` and ends only at all of `delims`:
  /// "xaybz" split by "ab" is one token, "abxab" gives "x". @instead Use one-byte delimiters.
  /// @sharp{strings} An empty `delims` gives an empty token per byte of `s`. @instead Check it.
  static void split(const std::string& s, const std::string& delims, std::list<std::string>& out);

  /// Appends the tokens of `s`, separated by runs of bytes from `delims`, to `out`; none is empty.
  /// @return the number of elements in `out`, earlier ones included; 0, `out` unchanged, if `s`
  ///         cannot be copied
  /// @sharp{strings} Reads at most 1024 bytes, up to a NUL. @instead `VexaCommonUtils::split`.
  static unsigned long splitAll(const std::string& s, const std::string& delims,
                                std::vector<std::string>& out);

  /// Writes `value` in decimal and a NUL to `buf`, which must have 22 bytes; returns `buf`.
  /// @return null if `buf` is null or formatting fails, when `VexaCommonUtils::ultoa` and
  ///         `VexaCommonUtils_i::ulltoa` return `buf`
  static char* ltoa(long value, char* buf);

  /// Writes `value` in decimal and a NUL to `buf`, at least 22 bytes; returns `buf`, also if null.
  static char* ultoa(unsigned long value, char* buf);

  /// Returns the spaces that pad `s` to 32 columns; "" if `s` has 32 bytes or more.
  static std::string tabs(const std::string& s);

  /// @} @name Character sets and locale
  /// Between multibyte strings in the locale's encoding and wide strings. Thread-safe unless
  /// another thread sets the locale. @{

  /// Converts `src` into `dst` as mbstowcs(3) does, and writes a NUL after it and at the last
  /// element. Does nothing if either is null.
  /// @param dst  at least strlen(`src`) + 1 elements
  /// @sharp{encodings} Ends silently at an invalid sequence, with no NUL but the last element's.
  static void STR2WSTR(const char* src, wchar_t* dst);

  /// Returns `s` as a wide string, up to its first NUL or invalid sequence.
  /// @process{permanent} The first conversion, also of "" but not of null, sets the process locale
  /// from the environment, see `VexaLocale::Instance`. @instead Call that before threads start.
  static std::wstring STR2WSTR(const std::string& s);

  /// Returns `src` as a multibyte string, see wcstombs(3); "" if `src` is null.
  /// @sharp{encodings} "" also if the locale cannot encode a character, or for 2 GiB and more.
  static std::string WSTR2STR(const wchar_t* src);

  /// Returns a copy of `s` up to its NUL; "" if `s` is null.
  /// @sharp{encodings} Like `VexaCommonUtils::UTF8TOLOC` a copy. @instead Use a UTF-8 locale.
  static std::string LOC2UTF8(const char* s);

  /// Returns a copy of `s` up to its NUL; "" if `s` is null.
  static std::string UTF8TOLOC(const char* s);

  /// @} @name Base64
  /// RFC 4648, the standard alphabet, padded, without line breaks. No operation fails. Thread-safe
  /// unless another thread sets the locale. @{

  /// Returns whether `c` is "+", "/", or a letter or digit of the locale, isalnum(3).
  /// @sharp{base64} In an 8-bit locale other letters count, as index 255. @instead Use a UTF-8 one.
  static bool isBase64(unsigned char c);

  /// Returns the decoded bytes of the data characters at the start of `encoded`, padded or not:
  /// "TWFu" gives "Man", and so does "TWFu TWFu".
  /// @sharp{base64} Ends silently at any other byte (line break, "-", "_"); a single character left
  /// over gives nothing. @instead Encode the result again and compare.
  /// @sharp{base64} The length is taken modulo 4 GiB. @instead Decode pieces of a multiple of four.
  static std::string base64Decode(const std::string& encoded);

  /// @} @name Identifiers and time stamps
  /// Thread-safe unless another thread changes the environment. @{

  /// Returns the local time, year to second: "20260305070809"; "" if it cannot be expressed. Years
  /// outside 0 to 9999 are in full, with sign.
  /// @param markDst  whether to append "DST" while daylight-saving time is in force, or unknown
  /// @sharp{identifiers} Keeps the zone after a change of `TZ`. @instead Call tzset(3) then.
  static std::string getTimeStamp(bool markDst);

  /// @} @name Database query text
  /// For SQL composed by hand. The dialect follows `getDBType`, read on every call: "oracle" and
  /// "tessarn", in any case, are the Oracle family, others count as Sybase or Microsoft SQL Server.
  /// Bytes not named are copied, NUL included. Thread-safe, as `getDBType` is. @{

  /// Returns `text` with every single quote doubled, for use between single quotes.
  /// @sharp{query} Backslashes and NUL bytes stay. @instead Bind parameters if these matter.
  static std::string transDBUpdateString(const std::string& text);

  /// Returns `text` with LIKE wildcards escaped: in the Oracle family a backslash before backslash,
  /// `%` and `_`; else brackets around `%`, `_`, `[` and `]`: "50%" becomes `50\%` or "50[%]".
  /// @sharp{query} Leaves quotes; the Oracle family needs `VexaCommonUtils::getEscapeString`.
  /// @instead Use `VexaCommonUtils_i::TransferLikeSql`, or escape quotes first.
  static std::string transDBSearchString(const std::string& text);

  /// Returns the clause for the escapes of `transDBSearchString`: " escape '\\' " in the Oracle
  /// family, else "".
  static std::string getEscapeString();

  /// Returns `text` for "oracle"; else, also for "tessarn", escapes quotes, then LIKE wildcards.
  /// @sharp{query} Escapes nothing for "oracle". @instead Use `VexaCommonUtils_i::TransferLikeSql`.
  static std::string TransferLikeSqlForSybAndMSSQL(const std::string& text);

  /// @} @name Addresses and host names
  /// Nothing is cached. Lookups wait for the name service, see nsswitch.conf(5). Strings count up
  /// to their first NUL. Thread-safe. @{

  /// Returns whether `ip` is a dotted IPv4 address (RFC 791): exactly four fields of decimal
  /// digits, up to 255 each, at most 15 bytes. Allocates nothing. `CheckIp` is the lax test.
  /// @sharp{addresses} Leading zeros are decimal, also for `VexaCommonUtils_i::validateIPv4`;
  /// inet_aton(3) reads octal. @instead Normalize "010.001.000.255" before passing it on.
  static bool isValidIP(const std::string& ip);

  /// Returns the node name of this machine, at most 255 characters, see uname(2); "" on failure.
  static std::string hostname();

  /// Returns the operating system's name and release, "Linux6.1.0", see uname(2); "" on failure.
  static std::string sysname();

  /// Returns the first IPv4 address of the node name, see gethostbyname_r(3); "" if there is none.
  static std::string hostipaddr();

  /// Resolves `name` to its first IPv4 address, see gethostbyname_r(3). A dotted IPv4 address
  /// resolves to itself.
  /// @param ip  set to the address, or to "" on failure; may be `name` itself
  /// @return 0; -1 if `name` is empty or has no such address
  /// @sharp{addresses} Like `VexaCommonUtils::hostipaddr` takes only the first address, often
  /// loopback for the own name, and fails above 4096 bytes. @instead Use getaddrinfo(3).
  static int getIPbyHostname(const std::string& name, std::string& ip);

  /// Finds the official host name of the IPv4 address `ip`, see gethostbyaddr_r(3).
  /// @param name  set to the host name, or to "" on failure; may be `ip` itself
  /// @return 0; -1 if `ip` is not an address or has no name
  /// @sharp{addresses} Reads all forms of inet_aton(3), "10.1.257" too, and nothing after a space;
  /// refuses 0.0.0.0/8. @instead Check with `VexaCommonUtils::isValidIP`.
  static int getHostnamebyIP(const std::string& ip, std::string& name);

  /// @} @name Netmasks and interfaces
  /// Nothing is cached. Thread-safe. @{

  /// Finds the netmask of the local IPv4 address `ip`, which it does not modify, by
  /// `GetNetmaskByIpUseioctl` or else `GetNetmaskByIpUseifconfig`. What `CheckIp` refuses fails at
  /// once: only digits, dots and outer whitespace reach the shell.
  /// @param netmask  set to the mask, or to "" on failure
  /// @return 0, or -1 on failure
  /// @throws std::out_of_range as `GetNetmaskByIpUseifconfig` does; `netmask` is "" then
  /// @sharp{interfaces} Refuses "127.0.0.1" and IPv6. @instead Use `GetNetmaskByIpUseioctl`.
  static int getNetmaskByIP(std::string& ip, std::string& netmask);

  /// @} @name Commands
  /// Every operation waits on the caller's thread without a time limit, see timeout(1). The shell
  /// gets commands as they are: pass untrusted input to `VexaCommonUtils_i::runCommand`.
  /// Thread-safe, but `system` and `VexaCommonUtils_i::execve_s` change signal settings. @{

  /// Runs `command` in the shell, its input at its end, output and error the process's, and waits.
  /// @return the raw wait status, see wait(2); -1 if the shell cannot be started or waited for
  /// @process{permanent} Like `VexaCommonUtils_i::execve_s` sets the default disposition of
  /// `SIGCHLD`. @instead Set the handler again.
  /// @process{temporary} The calling thread's signal mask, and the command's, is empty meanwhile,
  /// and stays so if no process can be created. @instead Set the mask again after a failure.
  /// @sharp{commands} Exit code 3 gives 768, SIGKILL 9, a shell reaped elsewhere 0. @instead Use
  /// `WEXITSTATUS`; leave children to their creator.
  static int system(const char* command);

  /// @} @name Users and processes
  /// Thread-safe, but `switchOmcUser` changes the identity of all threads. @{

  /// Makes the process run as the service user "ossuser" in a PAM session of service "su":
  /// credentials and session, setgid(2) to its primary group, initgroups(3), setuid(2). Calls
  /// exclude each other.
  /// @return 0 on success, or at once if the real user is not root; a positive PAM error code if
  ///         pam_start(3) fails; -1 on any other failure, such as a password entry above 1024 bytes
  /// @sharp{users} A failure undoes no earlier step, but ends a PAM transaction without session.
  /// @instead End the process on any other result than 0.
  /// @process{permanent} User and groups of all threads change; a PAM session stays open. @instead
  /// Call it once, before threads start.
  /// @process{temporary} The file-creation mask of all threads is 027 while PAM runs.
  static int switchOmcUser();

  /// Finds the user and remote address of the session on the terminal at standard input, from
  /// "/usr/bin/whoami" and "/usr/bin/who -m". A failure may change `user`.
  /// @param user  set without surrounding whitespace
  /// @param address  set to what is from the last "(" to the last ")", parentheses included, or to
  ///                 the end if that is before it
  /// @return 0; -1 if there is no terminal, a tool prints nothing, or a parenthesis is missing
  static int getSessionDetails(std::string& user, std::string& address);

  /// Returns the kernel's id of the calling thread, see gettid(2). Never fails.
  static long getKernelThreadIDForFS();

  /// Returns 0, whatever `process` is; `cpu` and `memory` are unchanged.
  /// @sharp{users} A stub kept for binary compatibility, as is `VexaCommonUtils::printStackTrace`.
  static int getProcessCPUAndMem(const std::string& process, unsigned int& cpu,
                                 unsigned int& memory);

  /// Writes three lines to `std::cout`, the last one empty, each flushed: no stack trace.
  static void printStackTrace();

  /// @} @name Files
  /// Paths count up to their first NUL. Thread-safe. @{

  /// Creates every directory along `path`, if not empty, with mode 0755 less the umask.
  /// @sharp{files} Reports no error. @instead Check that the directory exists.
  /// @sharp{files} A backslash ends a name too: `"a\b"` creates `"a"`, then `"a\b"`.
  static void mkdir_all(const std::string& path);

  /// Reads the file at `path` into `content`, NUL bytes included. A pipe waits for its writer.
  /// @return 0; 1, `content` unchanged, if the file cannot be opened, has no size (a directory, a
  ///         pipe), is shorter than its size or holds 2 GiB or more
  /// @sharp{files} Takes the size first: a kernel file of size 0 reads as empty, and bytes appended
  /// since are left out. @instead Use read(2) for those.
  static int readFile(const std::string& path, std::string& content);

  /// Appends the paths of files below `directory` with `pattern`, which may be empty, anywhere in
  /// their names to `files`, depth first, in directory order. Links are not followed.
  /// @return 0; -1 if `directory` cannot be opened or `errno` is not 0 at the end
  /// @sharp{files} A `directory` with a "/" at its end gives paths with two.
  /// @sharp{files} Links, and entries whose type the file system does not report, count as files.
  /// @sharp{files} Holds a descriptor per level. Skips a directory that cannot be opened; the error
  /// shows only if none was opened after it. @instead Raise the limit for deep trees.
  static int getFilesByDir(std::string directory, std::string pattern,
                           std::list<std::string>& files);

  /// @} @name Path and input safety
  /// Checks strings only. Thread-safe unless another thread changes the environment. @{

  /// Returns whether `path` is `base` or below it, and neither has a component "." or "..": below
  /// "/data", true for "/data/x", false for "/database/x". A backslash counts as a slash; relative
  /// paths are compared as they are. False if `path` is empty or either exceeds 1024 bytes.
  /// @sharp{safety} Resolves no link, and looks for components up to a NUL only. @instead Pass C
  /// strings; open with `O_NOFOLLOW` if links matter.
  /// @sharp{safety} An empty `base` accepts every path without "." and "..".
  static bool checkPath(const std::string& path, const std::string& base);

  /// Returns `name` with each character that some file system refuses escaped: backslash `^a`, `/`
  /// `^b`, `:` `^c`, `*` `^d`, `?` `^e`, double quote `^f`, `<` `^g`, `>` `^h`, `|` `^i`, `^` `^^`.
  /// @sharp{safety} Any other byte stays, and so do "." and "..". @instead Prefix such names.
  static std::string specialName2FileName(const std::string& name);

  /// Returns `name` with the escapes of `specialName2FileName` decoded.
  /// @sharp{safety} A `^` that starts no escape stays: two file names may give the same name.
  static std::string fileName2SpecialName(const std::string& name);

  /// @}
};

#endif
