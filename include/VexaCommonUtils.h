#ifndef VEXA_COMMON_UTILS_H
#define VEXA_COMMON_UTILS_H

/// @file
/// The first utility class.

#include <list>
#include <string>
#include <vector>

#include "VexaExport.h"

/// The first of the two utility classes: static operations only, grouped below by family. The
/// second is `VexaCommonUtils_i`.
///
/// Unless a member says otherwise it holds no state, may be called from any number of threads at
/// once, reports failure by its result alone, throws nothing but `std::bad_alloc` and must not be
/// given a null pointer.
class VEXA_EXPORT VexaCommonUtils {
 public:
  /// @name Environment and configuration paths
  /// Nothing is kept but the trace directory. An unset variable reads as "", and no directory needs
  /// to exist. Threads: as getenv(3), safe against each other, not against a concurrent setenv(3).
  /// @{

  /// Returns a copy of the value of the environment variable `name`, byte for byte; "" when `name`
  /// is null, and when the variable is not set, which a caller cannot tell from one set to "". Read
  /// on every call.
  static std::string Vexagetenv(const char* name);

  /// Returns `text` with each reference to an environment variable, `$(`NAME`)`, replaced by its
  /// value. One pass from left to right; values are not scanned again and references do not nest.
  /// NAME is what stands up to the first ")", blanks and signs included, and is given to getenv(3)
  /// as a C string. A reference to a variable that is unset or empty stays as written, and so does
  /// one without its end.
  ///
  ///     replaceEnvVar("$(HOME)/x")  ->  "/home/u/x"
  static std::string replaceEnvVar(const std::string& text);

  /// Returns `text` with each reference between two percent signs replaced, by the rules of
  /// `replaceEnvVar`. Percent signs pair from left to right:
  ///
  ///     replEnvVar("%A%B%C%")  refers to A and C
  static std::string replEnvVar(const std::string& text);

  /// Returns `COMMON_LIB_PATH` + "/conf", without a "/" at its end.
  static std::string getCommonConfigPath();
  /// Returns the same as `getCommonConfigPath`.
  static std::string getConfigPath();
  /// Returns `APP_ROOT` + "/conf", without a "/" at its end.
  static std::string getAppConfigPath();
  /// Returns `_APP_SHARE_DIR` + "/conf", without a "/" at its end.
  static std::string getAPPShareConfigPath();

  /// Returns the trace directory, always with a "/" at its end: "tracedir" of "[TraceDir]" in
  /// "setting.cfg" (see `VexaCommonUtils_i::getConfFile`), `${NAME}` references expanded, or
  /// `_APP_LOG_DIR` + "/log/" where that is empty or missing. The first answer given while the file
  /// could be read is kept for the life of the process; without a readable file the default is
  /// returned and nothing kept.
  static std::string getTracePath();

  /// Returns the value of `VEXA_DUMP_ALL_LOCKS_FILE` as it is, even when empty;
  /// "/tmp/lockInfo.dump" when the variable is not set.
  static std::string getDumpAllLocksFile();

  /// @}
  /// @name Settings and deployment switches
  /// Words ("enable", "disable", "true") are compared exactly, case included. The configuration
  /// page names every file and key. Threads: any, while none changes the environment.
  /// @{

  /// Tells whether services listen on all addresses: "ListenAllIp" is "enable" in "[IP]" of
  /// "setting.cfg" or, where the file leaves it empty, in the settings store, the branch of
  /// `APP_NAME` before "global". False without a readable "setting.cfg", whatever the store holds.
  /// Read on every call. The result of the store's second look-up is not tested: text that a
  /// failing store writes counts.
  static bool isListenAllIp();

  /// Returns what `VexaCommonUtils_i::isCorbaSSLOnly` does.
  static bool isCorbaSSLOnly();

  /// Returns true always, which converts to 1; reads nothing.
  static bool IsGlobalVersion();

  /// Returns the database type that the JSON file named by `APP_CONF_FILE` gives: "type" of the
  /// first element under the first name, in byte order, of "databases", unchanged. The first type
  /// read is kept for the life of the process. Returns "sybase", and keeps nothing, when the
  /// variable is empty, the file cannot be read or parsed, or the type is missing, empty or no
  /// text. Lack of memory while reading and parsing counts as a failure to read.
  static std::string getDBType();

  /// @}
  /// @name Strings
  /// Bytes and ASCII only: the locale is never asked. A NUL is a byte like any other unless a
  /// member says otherwise. Costs grow with the text, not with its square. One object may be passed
  /// for several arguments; each text counts as it was before the call. Threads: any.
  /// @{

  /// Returns the bytes of `s` in reverse order. `s` is not modified.
  static std::string Vexareverse(std::string& s);
  /// Returns `s` without leading blanks (0x20 only, not tabs or line ends), "" when it holds
  /// nothing else. `s` is not modified.
  static std::string Vexaltrim(std::string& s);
  /// Returns `s` without leading and trailing blanks (0x20 only; `VexaCommonUtils_i::VexatrimAll`
  /// trims others too), "" when it holds nothing else. `s` is not modified.
  static std::string Vexatrim(std::string& s);

  /// Replaces every `from` in `s` by `to`, in place, left to right and without overlap; inserted
  /// text is not searched again. An empty `from` is a caller's error and leaves `s` alone. `from`
  /// and `to` are not modified.
  /// @return a copy of the modified `s`
  /// @throws std::length_error  no string can hold the result; `s` is unchanged
  static std::string Vexareplace(std::string& s, std::string& from, std::string& to);
  /// Replaces every `from` in `s` by `to` as `Vexareplace` does; the text to change comes last.
  static void stringReplace(const std::string& from, const std::string& to, std::string& s);

  /// Appends the tokens of `s` to `out`, which is not cleared. A token starts at the first byte
  /// that is none of those in `delims` and runs to the next occurrence of `delims` as a whole text,
  /// or to the end of `s`; the next one starts behind that. With one delimiter byte this is the
  /// usual split on runs of it, without empty tokens:
  ///
  ///     split("a,,b,", ",", out)    appends "a" and "b"
  ///     split("abxab", "ab", out)   appends "x"
  ///     split("xaybz", "ab", out)   appends "xaybz"
  ///
  /// An empty `delims` gives an empty token for each byte of `s`.
  static void split(const std::string& s, const std::string& delims, std::list<std::string>& out);

  /// Appends the tokens of `s` to `out`, which is not cleared; runs of bytes from `delims` separate
  /// them and no token is empty. Only the first 1024 bytes of `s` are seen, and nothing behind a
  /// NUL in `s` or in `delims`. Without delimiters the text is one token.
  /// @return the number of elements that `out` holds afterwards, those from before included; 0 with
  ///         `out` unchanged when the text cannot be copied
  static unsigned long splitAll(const std::string& s, const std::string& delims,
                                std::vector<std::string>& out);

  /// Writes `value` in decimal, with a terminator, to `buf` of at least 22 bytes.
  /// @return `buf`; null when `buf` is null or formatting fails
  static char* ltoa(long value, char* buf);
  /// Writes `value` in decimal, with a terminator, to `buf` of at least 22 bytes.
  /// @return `buf`; null only when `buf` is null
  static char* ultoa(unsigned long value, char* buf);

  /// Returns the blanks that pad `s` to a column of 32 bytes in a listing; "" when `s` has 32 bytes
  /// or more.
  static std::string tabs(const std::string& s);

  /// @}
  /// @name Character sets and locale
  /// Text in the locale's multibyte encoding and wide text. The first conversion takes the process
  /// locale from the environment (`VexaLocale::Instance`), for an empty text too, but not for a
  /// null argument. Conversions fail without a report and keep no state between calls. Threads:
  /// any, while none sets the locale.
  /// @{

  /// Converts `src` as mbstowcs(3) does, into `dst`, which holds at least strlen(`src`) + 1
  /// elements. A NUL is written behind the text and at that last element. An invalid sequence ends
  /// the conversion: `dst` then holds what stands before it, with no NUL behind it but the last
  /// element's. Does nothing when either is null.
  static void STR2WSTR(const char* src, wchar_t* dst);
  /// Returns the wide text of `s`: up to its first NUL, or before an invalid sequence.
  static std::wstring STR2WSTR(const std::string& s);
  /// Returns the multibyte text of `src`, see wcstombs(3); "" when `src` is null, holds a character
  /// that the locale cannot encode, or gives 2 GiB and more.
  static std::string WSTR2STR(const wchar_t* src);
  /// Returns a copy of `s` up to its NUL, "" for null. The locale's encoding is taken to be UTF-8:
  /// no conversion takes place, and the locale is not asked or set.
  static std::string LOC2UTF8(const char* s);
  /// Returns a copy of `s` up to its NUL, "" for null: `LOC2UTF8` the other way round.
  static std::string UTF8TOLOC(const char* s);

  /// @}
  /// @name Base64
  /// RFC 4648 with its standard alphabet: padded, no line breaks, nothing compressed or enciphered.
  /// Texts and data may hold any byte; none of these operations fails. Threads: any, while none
  /// sets the locale.
  /// @{

  /// Tells whether `c` is a data character: one that isalnum(3) accepts in the current locale, "+"
  /// or "/". Outside the C locale more letters than those of the alphabet may be among them.
  static bool isBase64(unsigned char c);

  /// Decodes the longest beginning of `encoded` that consists of data characters (`isBase64`). The
  /// first "=" or other byte ends it without a report: a blank, a line break, the "-" and "_" of
  /// the URL alphabet. Padding may be missing; a single character left over gives nothing. Letters
  /// outside the alphabet, which only an 8-bit locale has, count as index 255: their bits enter the
  /// result. The length of `encoded` is taken modulo 4 GiB.
  ///
  ///     base64Decode("TWFu")       ->  "Man"
  ///     base64Decode("TWE")        ->  "Ma"
  ///     base64Decode("TWFu TWFu")  ->  "Man"
  ///
  /// @return the bytes decoded; "" when the text begins with no two data characters
  static std::string base64Decode(const std::string& encoded);

  /// @}
  /// @name Identifiers and time stamps
  /// The clock is read at the moment of the call. Threads: any, while none changes the environment.
  /// @{

  /// Returns the current local time, see localtime(3), as 14 digits: year, month, day, hour, minute
  /// and second, such as "20260305070809". "DST" follows when `markDst` is true and daylight-saving
  /// time is in force or the system cannot tell. A year outside 0 to 9999 is written in full, with
  /// its sign. Returns "" when the time cannot be expressed.
  ///
  /// The zone is the one that tzset(3) found first in this process: a later change of `TZ` counts
  /// only after another tzset(3).
  static std::string getTimeStamp(bool markDst);

  /// @}
  /// @name Database query text
  /// Text for SQL that is put together by hand. Members that depend on the dialect ask `getDBType`
  /// on every call: "oracle" and "tessarn", in any case, are the Oracle family; any other type is
  /// treated as Sybase or Microsoft SQL Server. Every byte but those named is copied, NUL included.
  /// Threads: as `getDBType`.
  /// @{

  /// Returns `text` with every single quote doubled, for use between single quotes; the type is not
  /// asked.
  static std::string transDBUpdateString(const std::string& text);

  /// Returns `text` with the LIKE wildcards escaped for the configured database: for the Oracle
  /// family a backslash before each backslash, `%` and `_` (a query needs the clause of
  /// `getEscapeString`); for others each of `%`, `_`, `[` and `]` between brackets. Quotes are left
  /// alone. An empty `text` is returned without asking for the type.
  ///
  ///     transDBSearchString("50%_x")  ->  "50\\%\\_x"  Oracle family
  ///                                       "50[%][_]x"  any other
  static std::string transDBSearchString(const std::string& text);

  /// Returns the clause that a LIKE with the escapes of `transDBSearchString` needs, 12 bytes with
  /// a blank at each end for the Oracle family.
  ///
  ///     getEscapeString()  ->  " escape '\\' "  Oracle family
  ///                            ""               any other
  static std::string getEscapeString();

  /// Returns `text` unchanged for an "oracle" database (in any case); for any other, "tessarn"
  /// included, `transDBSearchString` of `transDBUpdateString` of it.
  static std::string TransferLikeSqlForSybAndMSSQL(const std::string& text);

  /// @}
  /// @name Addresses and host names
  /// Nothing is cached: every call asks the system again. Look-ups of names wait for the system's
  /// name service, see nsswitch.conf(5). Its answer must fit in 4096 bytes, all names and addresses
  /// of the host together: a larger one is a failure. Texts count up to their first NUL byte.
  /// Threads: any.
  /// @{

  /// Tells whether `ip` is a dotted IPv4 text, strictly (RFC 791): exactly four fields of decimal
  /// digits, each up to 255, and at most 15 bytes in all. Leading zeros are accepted
  /// ("010.001.000.255"); blanks, signs, NUL bytes and IPv6 are not. Allocates nothing. See
  /// `CheckIp` for the lax test and `VexaCommonUtils_i::validateIPv4` for the parser.
  static bool isValidIP(const std::string& ip);

  /// Returns the machine's node name, see uname(2): at most 255 characters; "" on failure.
  static std::string hostname();

  /// Returns the operating system's name followed directly by its release ("Linux6.1.0"), see
  /// uname(2); "" on failure.
  static std::string sysname();

  /// Returns the first IPv4 address of the machine's own node name in dotted form, see
  /// gethostbyname_r(3); "" when there is no node name or it has no such address.
  static std::string hostipaddr();

  /// Resolves the host name `name`, see gethostbyname_r(3). A dotted IPv4 text is its own answer.
  /// @param name  a host name or a dotted IPv4 address
  /// @param ip    takes the answer; may be `name` itself
  /// @return 0 and the first IPv4 address, in the resolver's order, in dotted form in `ip`; -1 and
  ///         "" when `name` is empty or has no such address
  static int getIPbyHostname(const std::string& name, std::string& ip);

  /// Finds the official host name of an IPv4 address, see gethostbyaddr_r(3).
  /// @param ip    any form that inet_aton(3) reads: "10.1.257" and "0xa010101" too, and whatever
  ///              stands behind a blank is ignored
  /// @param name  takes the answer; may be `ip` itself
  /// @return 0 and the name in `name`; -1 and "" when `ip` is no address or has no name, and, the
  ///         resolver not asked, for every address in 0.0.0.0/8
  static int getHostnamebyIP(const std::string& ip, std::string& name);

  /// @}
  /// @name Netmasks and interfaces
  /// Nothing is cached. Threads: any.
  /// @{

  /// Finds the netmask of the local IPv4 address `ip`: asks the kernel, and runs "ifconfig" in a
  /// shell for an address that the kernel does not tell (`GetNetmaskByIpUseioctl`,
  /// `GetNetmaskByIpUseifconfig`). "127.0.0.1" and what `CheckIp` refuses, IPv6 included, fail at
  /// once, so that nothing but digits, dots and outer blanks reaches the shell. `ip` is not
  /// modified.
  /// @return 0 and the mask in `netmask`; -1 and "" on failure
  /// @throws std::out_of_range as `GetNetmaskByIpUseifconfig` does; `netmask` is "" then
  static int getNetmaskByIP(std::string& ip, std::string& netmask);

  /// @}
  /// @name Commands
  /// Every operation waits on the caller's thread, without a time limit. Threads: any, but `system`
  /// and what goes through it change the `SIGCHLD` disposition of the whole process.
  /// @{

  /// Runs `command` in the shell and waits for the shell to end. The command's standard input is
  /// at its end; its output and error are the process's.
  ///
  /// The text goes to the shell as it is: a caller that puts foreign text into it must have checked
  /// that this text holds nothing that the shell treats specially.
  ///
  /// The `SIGCHLD` disposition of the whole process becomes the default one and stays so. The
  /// calling thread's signals are all unblocked meanwhile (also for the command) and the mask is
  /// put back, except where the command could not be started: the thread keeps the empty mask then.
  /// @return the raw wait status, see wait(2): an exit code of 3 is 768, death by SIGKILL is 9; 0
  ///         when the shell was reaped elsewhere; -1 when it cannot be started or waited for
  static int system(const char* command);

  /// @}
  /// @name Users and processes
  /// Threads: any, but `switchOmcUser` changes the identity of all of them.
  /// @{

  /// Makes the process run as the platform's service user "ossuser" and its groups, in a PAM
  /// session of service "su" that stays open for the rest of the process's life. Steps: credentials
  /// and session, with a file-creation mask of 027 that is put back; setgid(2), initgroups(3),
  /// setuid(2). A failure leaves done what was done before it, but ends a PAM transaction that gave
  /// no session.
  ///
  /// Changes the identity of all threads, and the mask of all threads for a while: call it once,
  /// before threads start. Calls exclude each other.
  /// @return 0 on success, and at once for a caller whose real user is not root; the PAM error code
  ///         (positive, see pam_start(3)) when the transaction cannot start; -1 on any other
  ///         failure, such as no such user or a password entry of more than 1024 bytes
  static int switchOmcUser();

  /// Finds the user and the remote address of the session on the terminal at standard input, as
  /// "/usr/bin/whoami" and "/usr/bin/who -m" tell them.
  /// @param user    set without the blanks around it; changed also when only the address is missing
  /// @param address set to the text from the last "(" to the last ")", both included; where they
  ///                stand the wrong way round, from that "(" on. Unchanged on failure.
  /// @return 0; -1 when there is no terminal, a tool gives no output, or a parenthesis is missing
  static int getSessionDetails(std::string& user, std::string& address);

  /// Returns the kernel's id of the calling thread, see gettid(2). In the main thread it is the
  /// process id. Never fails.
  static long getKernelThreadIDForFS();

  /// A placeholder on this platform: returns 0, whatever `process` is, and leaves `cpu` and
  /// `memory` as they are.
  static int getProcessCPUAndMem(const std::string& process, unsigned int& cpu,
                                 unsigned int& memory);

  /// Writes to standard output (`std::cout`) that stack traces are not supported: three lines, each
  /// flushed, the last one empty.
  static void printStackTrace();

  /// @}
  /// @name Files
  /// Paths are handed to the system up to their first NUL byte. Threads: any.
  /// @{

  /// Creates every directory along `path` with mode 0755 less the process's mask. Slash and
  /// backslash both end a name to create: `"a\b"` makes `"a"`, then `"a\b"`. An empty path does
  /// nothing. Errors, such as a directory that exists, are not reported: check for yourself.
  static void mkdir_all(const std::string& path);

  /// Reads the whole file at `path`, NUL bytes included.
  ///
  /// The size is what the file says before it is read: a kernel file that says 0 reads as empty,
  /// and what is appended meanwhile is left out. Opening a pipe waits for its writer, as fopen(3)
  /// does. Memory for the whole file is taken at once.
  /// @return 0 and the bytes in `content`; 1, `content` unchanged, when the file cannot be opened,
  ///         has no size (a directory, a pipe), is shorter than it said or holds 2 GiB or more
  static int readFile(const std::string& path, std::string& content);

  /// Appends to `files` the paths of all files below `directory` whose name contains `pattern`
  /// anywhere; an empty pattern matches every name. Depth first, in the order of the directories.
  ///
  /// A path is `directory` + "/" + name, so a `directory` that ends in "/" gives a doubled one.
  /// Symbolic links count as files and are not followed, nor are entries whose type the file system
  /// does not report. A directory below that cannot be opened is passed over. Every level of the
  /// tree keeps a descriptor open and names its directory by its whole path.
  /// @return 0; -1 when `directory` cannot be opened or `errno` is not 0 at the end: an error met
  ///         below shows only if no directory was opened after it
  static int getFilesByDir(std::string directory, std::string pattern,
                           std::list<std::string>& files);

  /// @}
  /// @name Path and input safety
  /// By text alone: no symbolic link is resolved and no file looked at but the list of
  /// `VexaCommonUtils_i::checkUnSafeStr`. Threads: any, while none changes the environment.
  /// @{

  /// Tells whether `path` lies under `base` and neither holds a piece "." or "..". A backslash
  /// counts as a slash; relative paths are compared as they are. An empty `base` accepts every path
  /// without such pieces. False for an empty `path` and where either is longer than 1024 bytes.
  ///
  /// Pieces are looked for up to the first NUL byte only: what holds one is no path to hand on.
  /// Example: under the base "/data" lie "/data" and "/data/x", not "/database/x".
  static bool checkPath(const std::string& path, const std::string& base);

  /// Returns `name` with each character that some file system refuses written as two: backslash
  /// `^a`, `/` `^b`, `:` `^c`, `*` `^d`, `?` `^e`, double quote `^f`, `<` `^g`, `>` `^h`, `|` `^i`,
  /// and `^` `^^`. Every other byte stays: control characters, NUL and the names "." and ".." too.
  static std::string specialName2FileName(const std::string& name);

  /// Returns `name` with the escapes of `specialName2FileName`, whose inverse it is, turned back. A
  /// `^` that starts no escape stays.
  static std::string fileName2SpecialName(const std::string& name);

  /// @}
};

#endif
