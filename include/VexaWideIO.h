#ifndef VEXA_WIDE_IO_H
#define VEXA_WIDE_IO_H

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cwchar>
#include <istream>
#include <ostream>

#include "VexaExport.h"

/// Reads wide text, bytes and numbers from a stdio file handle. Wide characters are decoded by the
/// C library under the process locale that is set when the handle is first read wide.
///
/// The standard base has no stream buffer: nothing may be read, formatted or tested through it;
/// every operation is one of the members and operators below. As in stdio, the first operation on a
/// handle makes it wide or one of bytes (fwide(3)); operations of the other kind then fail in the C
/// library's own way until the file is opened anew. A wide read of bytes gives WEOF each time.
///
/// No operation throws. Objects are not shared between threads without a lock of the caller's.
class VEXA_EXPORT Vexawifstream : public std::istream {
 public:
  /// A closed stream.
  Vexawifstream();
  /// Closes an open handle.
  ~Vexawifstream() override;

  /// Opens the file `path`, closing an open handle first: mode 8 (`std::ios::in`) as "r", every
  /// other value as "r+" (fopen(3)). A failure leaves the stream closed and the reason in `errno`.
  /// A null `path` does nothing at all.
  void open(const char* path, int mode);
  /// Closes an open handle; else does nothing.
  void close();
  /// Tells whether a handle is open.
  bool isValid();
  /// Returns feof(3): non-zero once a read has met the end; -1 when closed.
  int eof();
  /// Returns ferror(3): non-zero once a read has failed; 1 when closed.
  int fail();

  /// Moves to `offset` bytes from the start with fseek(3), whose result it returns; -1 when closed.
  /// After wide reading go only to what `ftellg` returned: glibc's fseek may never come back from
  /// the middle of a character of several bytes.
  int fseekg(long offset);
  /// Returns the position in bytes with ftell(3); -1 when closed.
  long ftellg();

  /// Reads one wide character with fgetwc(3) and returns it; WEOF at the end and, with `errno`
  /// EILSEQ, for an invalid sequence. The stream must be open.
  std::wint_t get();
  /// The same, storing what it returns, WEOF too, in `c`.
  int get(wchar_t& c);

  // The four wide line reads store what fgetwc(3) gives, value by value, into `buf` until a line
  // feed is read, the end is met or `n` - 1 values are stored. The WEOF of the read that meets the
  // end is stored as well. An invalid sequence is WEOF without an end: reading stays there and the
  // array is filled with WEOF up to the limit. NULs of the file are data. With `n` of 0 there is no
  // limit. Elements that are not named stay as they were; a closed stream writes none.

  /// Reads a line, dropping its line feed: the NUL is written over it, else behind the last value.
  /// `buf` holds `n` elements. With `n` of 1 nothing is read and `buf[0]` becomes the NUL.
  void get(wchar_t* buf, std::size_t n);
  /// The same, also ending at the value `delim`, which is dropped.
  void get(wchar_t* buf, std::size_t n, unsigned int delim);

  /// Reads a line, keeping its line feed: the NUL is written behind it. Without one the NUL leaves
  /// an element out: after `n` - 1 values it is `buf[n]`, and `buf[n - 1]` stays unwritten; after
  /// the end of the file it is the second element behind the last value. `buf` holds `n` + 1
  /// elements. With `n` of 1 nothing is read and `buf[1]` becomes the NUL.
  void getline(wchar_t* buf, std::size_t n);
  /// The same, also ending at the value `delim`, over which the NUL is written. When neither ends
  /// the read, or `n` is 1 and nothing is read, the element behind the last value is looked at: a
  /// line feed that the array held there before stays, with the NUL behind it, else it becomes the
  /// NUL.
  void getline(wchar_t* buf, std::size_t n, unsigned int delim);

  /// Reads one byte into `c` and returns it as a signed char value: the byte 255 gives -1. Returns
  /// 0 and leaves `c` alone when closed, at the end of the file and on the read that meets it.
  int get(char& c);
  /// Reads a line of bytes, dropping its line feed, as the wide `get` does; the end is not stored.
  void get(char* buf, std::size_t n);
  /// The same, also ending at the byte `delim`, which is dropped; compared as signed char values.
  void get(char* buf, std::size_t n, int delim);

  /// Reads decimal digits and returns their value by strtol(3): 0 without any, LONG_MAX beyond the
  /// range. No sign and no blank may lead. The byte behind the digits stays unread, but a line feed
  /// is consumed. Of 100 digits in a row the last is dropped, and what follows is left.
  ///
  /// Returns -1 when closed and where the byte behind cannot be given back, as on a pipe.
  long getn();
  /// The same for digits and points, by strtod(3), which takes the locale's decimal point and ends
  /// at a second one; -1.0 in place of -1.
  double getd();

  /// Reads up to `count` records of `size` bytes with fread(3), whose result it returns; 0 when
  /// `buf` is null or the stream closed.
  std::size_t read(void* buf, std::size_t size, std::size_t count);

 private:
  std::FILE* m_file;
};

/// Writes wide text, bytes and numbers to a stdio file handle. The remarks at `Vexawifstream` hold
/// here too: nothing may be written through the standard base, and a handle that began with wide
/// text refuses bytes, numbers among them, as one that began with bytes refuses wide text.
///
/// What is written is buffered until a flush, `close` or the destructor.
class VEXA_EXPORT Vexawofstream : public std::ostream {
 public:
  /// A closed stream.
  Vexawofstream();
  /// Closes an open handle.
  ~Vexawofstream() override;

  /// Opens the file `path`, closing an open handle first: mode 16 (`std::ios::out`) as "w", which
  /// empties it, every other value as "a" (fopen(3)). A failure leaves the stream closed and the
  /// reason in `errno`. A null `path` does nothing at all.
  void open(const char* path, int mode);
  /// Flushes and closes an open handle; else does nothing. A write that fails here is not reported:
  /// flush and ask `fail` first where that matters.
  void close();
  /// Tells whether a handle is open.
  bool isValid();
  /// Returns feof(3); -1 when closed.
  int eof();
  /// Returns ferror(3): non-zero once a write has failed; 1 when closed.
  int fail();

  /// Writes one wide character with fputwc(3), whose result it returns: WEOF on failure. The stream
  /// must be open.
  std::wint_t put(wchar_t c);
  /// Writes wide text with fputws(3), whose result it returns: -1 on failure. The stream must be
  /// open.
  int put(const wchar_t* s);
  /// Writes one byte with fputc(3) and returns it as an unsigned char value, EOF on failure; 0 when
  /// closed.
  int put(char c);
  /// Writes text with fputs(3), whose result it returns: EOF on failure; 0 when closed.
  int put(const char* s);

  /// Writes `count` records of `size` bytes with fwrite(3), whose result it returns; 0 when closed.
  std::size_t write(const void* buf, std::size_t size, std::size_t count);

 private:
  friend VEXA_EXPORT std::ostream& wflush(std::ostream& stream);

  std::FILE* m_file;
};

/// Either a reader or a writer of one file, by the mode it was opened with. The members it
/// inherits from one side only (`fseekg`, `ftellg`, `getn`, `getd`) are the reader's. `isValid` is
/// ambiguous, as both sides have it: ask `fail`, or a side by its name.
class VEXA_EXPORT Vexawfstream : public Vexawifstream, public Vexawofstream {
 public:
  /// A closed stream.
  Vexawfstream();
  /// Closes an open handle of either side.
  ~Vexawfstream() override;

  /// Closes the side in use, then opens `path`: mode 8 for reading ("r"), mode 16 for writing from
  /// the start ("w"), every other value for appending ("a"). The mode is taken even when the file
  /// cannot be opened or `path` is null: the stream is then a closed reader or writer.
  void open(const char* path, int mode);
  /// Closes the side in use.
  void close();
  /// The same of the reader's side after an open with mode 8, else of the writer's.
  int eof();
  /// The same of the reader's side after an open with mode 8, else of the writer's.
  int fail();

  // The reader's operations, on the reader's side.

  std::wint_t get();
  int get(wchar_t& c);
  void get(wchar_t* buf, std::size_t n);
  void get(wchar_t* buf, std::size_t n, unsigned int delim);
  void getline(wchar_t* buf, std::size_t n);
  void getline(wchar_t* buf, std::size_t n, unsigned int delim);
  int get(char& c);
  void get(char* buf, std::size_t n);
  void get(char* buf, std::size_t n, int delim);
  std::size_t read(void* buf, std::size_t size, std::size_t count);

  // The writer's operations, on the writer's side.

  std::wint_t put(wchar_t c);
  int put(const wchar_t* s);
  int put(char c);
  int put(const char* s);
  std::size_t write(const void* buf, std::size_t size, std::size_t count);

 private:
  int m_mode;
};

// Manipulators. `stream` must be a Vexawofstream; a closed one is left alone. They return the
// std::ostream inside it, so what is chained behind one does not reach the operators below and is
// lost: start a new statement after a manipulator.
//
//   out << L"first" << wendl;
//   out << L"second" << wendl;

VEXA_EXPORT std::ostream& wendl(std::ostream& stream);   ///< a wide line feed, then a flush
VEXA_EXPORT std::ostream& wends(std::ostream& stream);   ///< a wide NUL
VEXA_EXPORT std::ostream& wflush(std::ostream& stream);  ///< a flush

// Output. Each operator returns the stream it was given. Text is written as by `put`; numbers are
// bytes, also on a handle that is wide and refuses them: "%d" for int, unsigned int (above
// 2147483647 negative), short and unsigned short, "%ld" for long and unsigned long (above the
// signed range negative), "%f" and "%lf" for the reals, cut at 99 characters. Numbers and wide text
// are never flushed.

// The stream must be open. Byte text is flushed, a char only when it was written.

VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, const wchar_t* s);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, wchar_t c);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, const char* s);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, char c);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, int value);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, unsigned int value);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, short value);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, unsigned short value);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, long value);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, unsigned long value);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, float value);
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, double value);

// Nothing is flushed. Wide text needs an open writer; anything else is dropped when closed.

VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, const wchar_t* s);
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, wchar_t c);
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, const char* s);
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, char c);
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, int value);
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, unsigned int value);
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, short value);
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, unsigned short value);
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, long value);
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, unsigned long value);
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, float value);
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, double value);

// Input. Each operator returns the stream it was given. Arrays are filled by `get` and must hold
// 4097 elements, whatever the line; numbers come from `getn` and `getd`, converted to their type. A
// wide character needs an open reader. A char is left as it is: one byte is read and discarded.

VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, wchar_t* buf);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, wchar_t& c);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, char* buf);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, char& c);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, int& value);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, short& value);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, long& value);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, unsigned int& value);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, unsigned short& value);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, unsigned long& value);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, float& value);
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, double& value);

VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, wchar_t* buf);
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, wchar_t& c);
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, char* buf);
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, char c);
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, int& value);
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, short& value);
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, long& value);
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, unsigned int& value);
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, unsigned short& value);
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, unsigned long& value);
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, float& value);
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, double& value);

// Printing. None of these returns a status or throws but `std::bad_alloc` (`Vexawprintf`); formats
// are those of vswprintf(3). Any number of threads may print; output of several to one stream may
// interleave between calls.

/// Formats into `buf`, which is taken to hold 4096 wide characters, whatever it holds. An output
/// that does not fit with its NUL, or cannot be formatted, leaves the empty text. A null `format`
/// or `buf` writes nothing.
VEXA_EXPORT void Vexavswprintf(wchar_t* buf, const wchar_t* format, std::va_list args);
/// The same with variable arguments.
VEXA_EXPORT void Vexaswprintf(wchar_t* buf, const wchar_t* format, ...);
/// Formats at most 4095 wide characters, writes them to standard output with fputws(3) and flushes
/// it. A longer output and a null `format` write the empty text. Makes a standard output that is
/// neither yet a wide one, which refuses bytes from then on (fwide(3)).
VEXA_EXPORT void Vexawprintf(const wchar_t* format, ...);
/// Formats into `buf` as `Vexaswprintf` does, then writes `buf` to `stream` with fputws(3), without
/// a flush; with a null `format` it is written as it stands. `stream` and `buf` must not be null.
VEXA_EXPORT void Vexafwprintf(std::FILE* stream, wchar_t* buf, const wchar_t* format, ...);

#endif
