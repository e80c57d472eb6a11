#ifndef VEXA_WIDE_IO_H
#define VEXA_WIDE_IO_H

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cwchar>
#include <istream>
#include <ostream>

#include "VexaExport.h"

/// @file
/// The wide streams, their manipulators and operators, and wide printing.

/// Reads wide text, bytes and numbers from a stdio file handle. The C library decodes wide
/// characters in the process locale that is set when the handle is first read wide.
///
/// Strings and arrays must not be null unless a member says otherwise. Throws nothing. Not
/// thread-safe: one thread at a time uses a stream.
/// @sharp{wide} The standard base has no stream buffer: nothing can be read, written, formatted or
/// tested through it. @instead Use only the members and operators of the wide streams.
/// @sharp{wide} The first operation makes a handle wide or one of bytes, see fwide(3). Operations
/// of the other kind, numbers being bytes, fail until the file is opened anew; a wide read returns
/// WEOF each time, and `Vexawifstream::fail` does not tell. @instead Format numbers with
/// `Vexaswprintf()`.
class VEXA_EXPORT Vexawifstream : public std::istream {
 public:
  /// Creates a closed stream.
  Vexawifstream();
  /// Closes an open handle.
  ~Vexawifstream() override;

  /// Opens the file `path` after closing an open handle: as "r" for `mode` 8 (`std::ios::in`), as
  /// "r+" for any other, see fopen(3). On failure the stream is closed and `errno` is set. Does
  /// nothing if `path` is null.
  /// @sharp{wide} Every stream compares the whole mode: `std::ios::in` with `binary` opens for
  /// update, `std::ios::out` with `trunc` appends. @instead Pass 8, 16 or 1.
  void open(const char* path, int mode);
  /// Closes an open handle.
  void close();
  /// Returns whether a handle is open.
  bool isValid();
  /// Returns feof(3), nonzero once a read has met the end; -1 if closed.
  int eof();
  /// Returns ferror(3), nonzero once a read has failed; 1 if closed.
  int fail();

  /// Moves to `offset` bytes from the start, see fseek(3).
  /// @return 0; -1 on failure or if closed
  /// @sharp{wide} On a handle that was read wide, the C library never returns from a seek into a
  /// multibyte character, or after one that is cut at the end of the file. @instead Seek to 0 or to
  /// a result of `Vexawifstream::ftellg`.
  int fseekg(long offset);
  /// Returns the position in bytes, see ftell(3); -1 if closed.
  long ftellg();

  /// Reads one wide character.
  /// @return the result of fgetwc(3): the character; WEOF at the end and, with `errno` EILSEQ, for
  ///         an invalid sequence
  /// @sharp{wide} Crashes on a closed stream, as do the `get` and the `>>` of a wide character, and
  /// the `put` and the `<<` of wide text. @instead Check `Vexawifstream::isValid` after an open.
  /// @sharp{wide} Wide reads stay at an invalid sequence: a loop until `Vexawifstream::eof` never
  /// ends. @instead End the loop on `Vexawifstream::fail` too.
  std::wint_t get();
  /// Reads one wide character as `get` does and sets `c` to the result, WEOF included.
  /// @return the same value
  int get(wchar_t& c);

  /// @name Lines of wide text
  /// The four reads store the results of fgetwc(3) in `buf` until a line feed, the end of the file,
  /// or `n` - 1 values; `n` of 0 means no limit. An invalid sequence fills `buf` with WEOF up to
  /// the limit. NULs in the file are data. Other elements stay unchanged; a closed stream changes
  /// none.
  /// @{

  /// Reads a line without its line feed; the NUL replaces it, or follows the last value.
  /// @param buf  `n` elements
  /// @param n    1 reads nothing and sets `buf[0]` to NUL
  /// @sharp{wide} The WEOF of a read that meets the end of the file stays before the NUL, as in
  /// `Vexawifstream::getline`. @instead Search for WEOF, or test `Vexawifstream::eof`.
  void get(wchar_t* buf, std::size_t n);
  /// Reads a line of up to `n` - 1 values into `buf` as the `get` above; `delim` ends it too, and
  /// is replaced.
  void get(wchar_t* buf, std::size_t n, unsigned int delim);

  /// Reads a line with its line feed, and sets the element after that to NUL.
  /// @param buf  `n` + 1 elements
  /// @param n    1 reads nothing and sets `buf[1]` to NUL
  /// @sharp{wide} Without a line feed, the NUL leaves out an element, which stays as it was: it is
  /// `buf[n]` after `n` - 1 values, else the second one after the last value. @instead Fill an
  /// array of `n` + 1 elements with zeros.
  void getline(wchar_t* buf, std::size_t n);
  /// Reads a line into `buf` of `n` + 1 elements as the `getline` above; `delim` ends it too, and
  /// is replaced by the NUL.
  /// @sharp{wide} If neither ends the read, or `n` is 1 and nothing is read, the NUL is the element
  /// after the last value, or the next one if that holds a line feed from before. @instead Fill the
  /// array with zeros.
  void getline(wchar_t* buf, std::size_t n, unsigned int delim);

  /// @}

  /// Reads one byte into `c`.
  /// @return the byte as a signed char; 0, `c` unchanged, if closed or if there is no byte to read
  /// @sharp{wide} Returns -1 for the byte 255, and 0 for a NUL byte as well as for the end.
  /// @instead Test `Vexawifstream::eof`.
  int get(char& c);
  /// Reads a line of bytes into `buf` of `n` elements without its line feed, as the wide `get`
  /// does; the end is not stored.
  void get(char* buf, std::size_t n);
  /// Reads a line of bytes into `buf` of `n` elements as the `get` above; the byte `delim`,
  /// compared as a signed char, ends it too.
  void get(char* buf, std::size_t n, int delim);

  /// Reads a decimal number. The byte after it stays unread, but a line feed is consumed.
  /// @return its value, see strtol(3): 0 without digits, LONG_MAX beyond the range; -1 if closed,
  ///         or if the byte after it cannot be put back, as on a pipe
  /// @sharp{wide} Accepts no sign or leading space, and -1 may be a failure, as for
  /// `Vexawifstream::getd` and the `>>` of numbers. @instead Skip spaces first, or read lines and
  /// parse them.
  /// @sharp{wide} Of 100 digits in a row the last is dropped, and what follows stays unread.
  /// @sharp{wide} On a handle that was read wide, reads nothing but steps back a byte, into a
  /// multibyte character too (see `Vexawifstream::fseekg`). @instead Use a handle of bytes.
  long getn();
  /// Reads digits and points as `getn` reads digits.
  /// @return their value, see strtod(3), up to a second point; -1.0 if `getn` would return -1
  /// @sharp{wide} Follows the locale's decimal point, as does the `<<` of reals. @instead Write and
  /// read in one locale.
  double getd();

  /// Reads up to `count` records of `size` bytes into `buf`.
  /// @return the number of whole records, see fread(3); 0 if `buf` is null or the stream is closed
  std::size_t read(void* buf, std::size_t size, std::size_t count);

 private:
  std::FILE* m_file;
};

/// Writes wide text, bytes and numbers to a stdio file handle, buffered until a flush, `close` or
/// the destructor. The remarks at `Vexawifstream` apply. Not thread-safe.
class VEXA_EXPORT Vexawofstream : public std::ostream {
 public:
  /// Creates a closed stream.
  Vexawofstream();
  /// Closes an open handle.
  ~Vexawofstream() override;

  /// Opens the file `path` after closing an open handle: as "w", which truncates it, for `mode` 16
  /// (`std::ios::out`), as "a" for any other, see fopen(3). On failure the stream is closed and
  /// `errno` is set. Does nothing if `path` is null.
  void open(const char* path, int mode);
  /// Flushes and closes an open handle.
  /// @sharp{wide} Does not report a failed write, nor does the destructor. @instead Call `wflush()`
  /// and `Vexawofstream::fail` first.
  void close();
  /// Returns whether a handle is open.
  bool isValid();
  /// Returns feof(3); -1 if closed.
  int eof();
  /// Returns ferror(3), nonzero once a write has failed; 1 if closed.
  int fail();

  /// Writes the wide character `c` to the open stream.
  /// @return the result of fputwc(3): `c`; WEOF on failure
  std::wint_t put(wchar_t c);
  /// Writes the wide string `s` to the open stream.
  /// @return the result of fputws(3): -1 on failure
  /// @sharp{wide} As slow as fputws(3) in an encoding other than UTF-8, to a pipe that does not
  /// wait, and with a C library other than glibc 2.36, as is the `<<` of wide text; glibc
  /// before 2.39 then writes 16 bytes per system call. @instead Convert large strings with
  /// `VexaCommonUtils::WSTR2STR` and write bytes.
  int put(const wchar_t* s);
  /// Writes the byte `c`.
  /// @return the result of fputc(3): the byte as an unsigned char, EOF on failure; 0 if closed
  int put(char c);
  /// Writes the string `s`.
  /// @return the result of fputs(3): EOF on failure; 0 if closed
  int put(const char* s);

  /// Writes `count` records of `size` bytes from `buf`.
  /// @return the number of whole records written, see fwrite(3); 0 if closed
  std::size_t write(const void* buf, std::size_t size, std::size_t count);

 private:
  /// @cond
  friend VEXA_EXPORT std::ostream& wflush(std::ostream& stream);
  /// @endcond

  std::FILE* m_file;
};

/// Reads or writes one file, by the mode of `open`. `fseekg`, `ftellg`, `getn` and `getd` are the
/// reader's. Not thread-safe.
/// @sharp{wide} `isValid` is ambiguous, because both sides have it. @instead Use
/// `Vexawfstream::fail`, or name the side: `Vexawifstream::isValid`.
class VEXA_EXPORT Vexawfstream : public Vexawifstream, public Vexawofstream {
 public:
  /// Creates a closed stream.
  Vexawfstream();
  /// Closes an open handle of either side.
  ~Vexawfstream() override;

  /// Opens `path` after closing the side in use: as "r" for `mode` 8, as "w" for 16, as "a" for any
  /// other. A failure, or a null `path`, leaves a closed stream of the new mode.
  void open(const char* path, int mode);
  /// Closes the side in use.
  void close();
  /// Returns `Vexawifstream::eof` after an open with mode 8, else `Vexawofstream::eof`.
  int eof();
  /// Returns `Vexawifstream::fail` after an open with mode 8, else `Vexawofstream::fail`.
  int fail();

  /// @name The reader's operations
  /// As `Vexawifstream` has them.
  /// @{
  std::wint_t get();    ///< @copydoc Vexawifstream::get()
  int get(wchar_t& c);  ///< @copydoc Vexawifstream::get(wchar_t&)
  /// @copydoc Vexawifstream::get(wchar_t*, std::size_t)
  void get(wchar_t* buf, std::size_t n);
  /// @copydoc Vexawifstream::get(wchar_t*, std::size_t, unsigned int)
  void get(wchar_t* buf, std::size_t n, unsigned int delim);
  /// @copydoc Vexawifstream::getline(wchar_t*, std::size_t)
  void getline(wchar_t* buf, std::size_t n);
  /// @copydoc Vexawifstream::getline(wchar_t*, std::size_t, unsigned int)
  void getline(wchar_t* buf, std::size_t n, unsigned int delim);
  int get(char& c);  ///< @copydoc Vexawifstream::get(char&)
  /// @copydoc Vexawifstream::get(char*, std::size_t)
  void get(char* buf, std::size_t n);
  /// @copydoc Vexawifstream::get(char*, std::size_t, int)
  void get(char* buf, std::size_t n, int delim);
  /// @copydoc Vexawifstream::read
  std::size_t read(void* buf, std::size_t size, std::size_t count);
  /// @}

  /// @name The writer's operations
  /// As `Vexawofstream` has them.
  /// @{
  std::wint_t put(wchar_t c);  ///< @copydoc Vexawofstream::put(wchar_t)
  int put(const wchar_t* s);   ///< @copydoc Vexawofstream::put(const wchar_t*)
  int put(char c);             ///< @copydoc Vexawofstream::put(char)
  int put(const char* s);      ///< @copydoc Vexawofstream::put(const char*)
  /// @copydoc Vexawofstream::write
  std::size_t write(const void* buf, std::size_t size, std::size_t count);
  /// @}

 private:
  int m_mode;
};

/// @name Manipulators of Vexawofstream
/// `stream` must be a Vexawofstream; a closed one stays unchanged. Not thread-safe, as the stream.
///
///     out << L"first" << wendl;
///     out << L"second" << wendl;
///
/// @{

/// Writes a wide line feed, flushes and returns `stream`.
/// @sharp{wide} Returns `std::ostream&`, as do `wends()` and `wflush()`: wide text chained after it
/// is printed as a pointer, and lost. @instead Start a new statement after a manipulator.
VEXA_EXPORT std::ostream& wendl(std::ostream& stream);
/// Writes a wide NUL and returns `stream`.
VEXA_EXPORT std::ostream& wends(std::ostream& stream);
/// Flushes and returns `stream`.
VEXA_EXPORT std::ostream& wflush(std::ostream& stream);

/// @}

/// @name Output of Vexawofstream
/// Each operator returns its stream, which must be open. Numbers are bytes, cut at 99 characters.
/// Byte strings are flushed, and a char if it was written; wide text and numbers are not. Not
/// thread-safe, as the stream.
/// @{
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, const wchar_t* s);  ///< wide string
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, wchar_t c);         ///< wide
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, const char* s);     ///< byte string
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, char c);            ///< byte
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, int value);         ///< decimal
/// Decimal.
/// @sharp{wide} Prints values beyond the signed range as negative, as does the form for
/// unsigned long. @instead Format them yourself.
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, unsigned int value);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, short value);           ///< decimal
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, unsigned short value);  ///< decimal
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, long value);            ///< decimal
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, unsigned long value);   ///< decimal
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, float value);           ///< 6 decimals
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, double value);          ///< 6 decimals
/// @}

/// @name Output of Vexawfstream
/// Each operator returns its stream and does not flush. Wide text needs an open writer; anything
/// else is dropped without one. Numbers are written as by Vexawofstream. Not thread-safe, as the
/// stream.
/// @{
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, const wchar_t* s);      ///< wide string
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, wchar_t c);             ///< wide
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, const char* s);         ///< byte string
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, char c);                ///< byte
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, int value);             ///< decimal
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, unsigned int value);    ///< decimal
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, short value);           ///< decimal
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, unsigned short value);  ///< decimal
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, long value);            ///< decimal
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, unsigned long value);   ///< decimal
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, float value);           ///< 6 decimals
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, double value);          ///< 6 decimals
/// @}

/// @name Input of Vexawifstream
/// Each operator returns its stream. Lines and characters are read by `get`, a wide character only
/// from an open reader; integers by `getn` and reals by `getd`, converted to their type. Not
/// thread-safe, as the stream.
/// @{

/// A line.
/// @sharp{wide} Takes the array to hold 4097 elements, as does the form for bytes. @instead Pass
/// that many.
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, wchar_t* buf);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, wchar_t& c);  ///< wide
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, char* buf);   ///< line
/// Skips a byte.
/// @sharp{wide} The variable is unchanged. @instead Use `Vexawifstream::get`.
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, char& c);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, int& value);             ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, short& value);           ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, long& value);            ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, unsigned int& value);    ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, unsigned short& value);  ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, unsigned long& value);   ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, float& value);           ///< by `getd`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, double& value);          ///< by `getd`
/// @}

/// @name Input of Vexawfstream
/// As for Vexawifstream, on the reader's side; each returns its stream. Not thread-safe.
/// @{
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, wchar_t* buf);         ///< line
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, wchar_t& c);           ///< wide
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, char* buf);            ///< line
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, char c);               ///< skips a byte
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, int& value);           ///< by `getn`
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, short& value);         ///< by `getn`
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, long& value);          ///< by `getn`
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, unsigned int& value);  ///< by `getn`
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, unsigned short& value);  ///< by `getn`
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, unsigned long& value);   ///< by `getn`
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, float& value);           ///< by `getd`
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, double& value);          ///< by `getd`
/// @}

/// @name Wide printing
/// Formats are those of vswprintf(3). None returns a status; only `Vexawprintf` throws, and nothing
/// but `std::bad_alloc`. Thread-safe; output to one stream may interleave between calls.
/// @{

/// Formats `args` by `format` into `buf`. Does nothing if `format` or `buf` is null.
/// @sharp{wide} Takes `buf` to hold 4096 wide characters, as do `Vexaswprintf()` and
/// `Vexafwprintf()`; it is empty if the output and its NUL do not fit or cannot be formatted.
/// @instead Pass 4096.
/// @sharp{wide} In an optimized build, wide printing ends the process for "%n" in a format in
/// writable memory, and for positional arguments ("%2$d") that skip one: glibc's fortified checks.
/// @instead Pass literal formats that name every argument.
VEXA_EXPORT void Vexavswprintf(wchar_t* buf, const wchar_t* format, std::va_list args);
/// Formats its variable arguments by `format` into `buf`, as `Vexavswprintf` does.
VEXA_EXPORT void Vexaswprintf(wchar_t* buf, const wchar_t* format, ...);
/// Formats at most 4095 wide characters by `format`, writes them to standard output with fputws(3)
/// and flushes it. Longer output and a null `format` write the empty string.
/// @process{permanent} Standard output becomes wide, if it is neither wide nor one of bytes yet.
/// @sharp{wide} Standard output refuses bytes from then on. @instead Print everything with it, or
/// nothing.
/// @sharp{wide} Characters that the locale cannot encode are lost without a report, as in
/// `Vexafwprintf()`. @instead Call `VexaLocale::Instance` first.
VEXA_EXPORT void Vexawprintf(const wchar_t* format, ...);
/// Formats by `format` into `buf`, as `Vexaswprintf` does, and writes `buf` to `stream` with
/// fputws(3), without a flush. A null `format` writes `buf` as it is; the others must not be null.
VEXA_EXPORT void Vexafwprintf(std::FILE* stream, wchar_t* buf, const wchar_t* format, ...);

/// @}

#endif
