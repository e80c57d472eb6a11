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

/// Reads wide text, bytes and numbers from a stdio file handle. Wide characters are decoded by the
/// C library under the process locale that is set when the handle is first read wide.
///
/// The standard base has no stream buffer: nothing may be read, formatted or tested through it;
/// every operation is one of the members and operators below. As in stdio, the first operation on a
/// handle makes it wide or one of bytes (fwide(3)); operations of the other kind then fail in the C
/// library's own way until the file is opened anew. A wide read of bytes gives WEOF each time.
///
/// Texts and arrays must not be null unless an operation says otherwise. No operation throws.
/// Threads: one object is used by one at a time.
class VEXA_EXPORT Vexawifstream : public std::istream {
 public:
  /// A closed stream.
  Vexawifstream();
  /// Closes an open handle.
  ~Vexawifstream() override;

  /// Opens the file `path`, closing an open handle first: `mode` 8 (`std::ios::in`) as "r", every
  /// other value as "r+" (fopen(3)). A failure leaves the stream closed and the reason in `errno`.
  /// A null `path` does nothing at all.
  void open(const char* path, int mode);
  /// Closes an open handle; else does nothing.
  void close();
  /// Tells whether a handle is open.
  bool isValid();
  /// Returns feof(3), non-zero once a read has met the end; -1 when closed.
  int eof();
  /// Returns ferror(3), non-zero once a read has failed; 1 when closed.
  int fail();

  /// Moves to `offset` bytes from the start: on a handle that was read wide to 0 or to what
  /// `ftellg` gave, since from a place inside a character, or behind one cut at the end of the
  /// file, the C library does not come back.
  /// @return the result of fseek(3), 0 on success; -1 when closed
  int fseekg(long offset);
  /// Returns the position in bytes with ftell(3); -1 when closed.
  long ftellg();

  /// Reads one wide character. The stream must be open.
  /// @return the result of fgetwc(3): the character; WEOF at the end and, with `errno` EILSEQ, for
  /// an invalid sequence
  std::wint_t get();
  /// Reads one wide character as `get` does, and stores what it returns, WEOF too, in `c`.
  /// @return the same value
  int get(wchar_t& c);

  /// @name Lines of wide text
  /// The four reads store what fgetwc(3) gives, value by value, into `buf` until a line feed is
  /// read, the end is met or `n` - 1 values are stored. The WEOF of the read that meets the end is
  /// stored as well. An invalid sequence is WEOF without an end: reading stays there and the array
  /// is filled with WEOF up to the limit. NULs of the file are data. With `n` of 0 there is no
  /// limit. Elements that are not named stay as they were; a closed stream writes none.
  /// @{

  /// Reads a line, dropping its line feed: the NUL is written over it, else behind the last value.
  /// `buf` holds `n` elements. With `n` of 1 nothing is read and `buf[0]` becomes the NUL.
  void get(wchar_t* buf, std::size_t n);
  /// Reads a line of up to `n` - 1 values into `buf` as the `get` above, also ending at the value
  /// `delim`, which is dropped.
  void get(wchar_t* buf, std::size_t n, unsigned int delim);

  /// Reads a line, keeping its line feed: the NUL is written behind it. Without one the NUL leaves
  /// an element out: after `n` - 1 values it is `buf[n]`, and `buf[n - 1]` stays unwritten; after
  /// the end of the file it is the second element behind the last value. `buf` holds `n` + 1
  /// elements. With `n` of 1 nothing is read and `buf[1]` becomes the NUL.
  void getline(wchar_t* buf, std::size_t n);
  /// Reads a line into `buf` as the `getline` above, also ending at the value `delim`, over which
  /// the NUL is written. When neither ends the read, or `n` is 1 and nothing is read, the element
  /// behind the last value is looked at: a line feed that the array held there before stays, with
  /// the NUL behind it, else it becomes the NUL.
  void getline(wchar_t* buf, std::size_t n, unsigned int delim);

  /// @}

  /// Reads one byte into `c`.
  /// @return the byte as a signed char value: 255 gives -1; 0, `c` left alone, when closed, at the
  ///         end of the file and on the read that meets it
  int get(char& c);
  /// Reads a line of bytes into `buf` of `n` elements, dropping its line feed, as the wide `get`
  /// does; the end is not stored.
  void get(char* buf, std::size_t n);
  /// Reads a line of bytes into `buf` of `n` elements as the `get` above, also ending at the byte
  /// `delim`, which is dropped; compared as signed char values.
  void get(char* buf, std::size_t n, int delim);

  /// Reads decimal digits. No sign and no blank may lead. The byte behind the digits stays unread,
  /// but a line feed is consumed. Of 100 digits in a row the last is dropped, and what follows is
  /// left.
  /// @return their value by strtol(3): 0 without any, LONG_MAX beyond the range; -1 when closed and
  ///         where the byte behind cannot be given back, as on a pipe
  long getn();
  /// Reads digits and points as `getn` does digits.
  /// @return their value by strtod(3), which takes the locale's decimal point and ends at a second
  ///         one; -1.0 where `getn` gives -1
  double getd();

  /// Reads up to `count` records of `size` bytes into `buf`.
  /// @return the number of whole records read, see fread(3); 0 when `buf` is null or the stream
  ///         closed
  std::size_t read(void* buf, std::size_t size, std::size_t count);

 private:
  std::FILE* m_file;
};

/// Writes wide text, bytes and numbers to a stdio file handle. The remarks at `Vexawifstream` hold
/// here too: nothing may be written through the standard base, and a handle that began with wide
/// text refuses bytes, numbers among them, as one that began with bytes refuses wide text.
///
/// What is written is buffered until a flush, `close` or the destructor. Texts and arrays must not
/// be null unless an operation says otherwise. Threads: one object is used by one at a time.
class VEXA_EXPORT Vexawofstream : public std::ostream {
 public:
  /// A closed stream.
  Vexawofstream();
  /// Closes an open handle.
  ~Vexawofstream() override;

  /// Opens the file `path`, closing an open handle first: `mode` 16 (`std::ios::out`) as "w", which
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
  /// Returns ferror(3), non-zero once a write has failed; 1 when closed.
  int fail();

  /// Writes the wide character `c`. The stream must be open.
  /// @return the result of fputwc(3): `c`; WEOF on failure
  std::wint_t put(wchar_t c);
  /// Writes the wide text `s`. The stream must be open.
  /// @return the result of fputws(3): -1 on failure
  int put(const wchar_t* s);
  /// Writes the byte `c`.
  /// @return the result of fputc(3): the byte as an unsigned char value, EOF on failure; 0 when
  ///         closed
  int put(char c);
  /// Writes the text `s`.
  /// @return the result of fputs(3): EOF on failure; 0 when closed
  int put(const char* s);

  /// Writes `count` records of `size` bytes from `buf`.
  /// @return the number of whole records written, see fwrite(3); 0 when closed
  std::size_t write(const void* buf, std::size_t size, std::size_t count);

 private:
  /// @cond
  friend VEXA_EXPORT std::ostream& wflush(std::ostream& stream);
  /// @endcond

  std::FILE* m_file;
};

/// Either a reader or a writer of one file, by the mode it was opened with. The members it
/// inherits from one side only (`fseekg`, `ftellg`, `getn`, `getd`) are the reader's. `isValid` is
/// ambiguous, as both sides have it: ask `fail`, or a side by its name. Threads: one object is used
/// by one at a time.
class VEXA_EXPORT Vexawfstream : public Vexawifstream, public Vexawofstream {
 public:
  /// A closed stream.
  Vexawfstream();
  /// Closes an open handle of either side.
  ~Vexawfstream() override;

  /// Closes the side in use, then opens `path`: `mode` 8 for reading ("r"), mode 16 for writing
  /// from the start ("w"), every other value for appending ("a"). The mode is taken even when the
  /// file cannot be opened or `path` is null: the stream is then a closed reader or writer.
  void open(const char* path, int mode);
  /// Closes the side in use.
  void close();
  /// Returns `Vexawifstream::eof` after an open with mode 8, else `Vexawofstream::eof`.
  int eof();
  /// Returns `Vexawifstream::fail` after an open with mode 8, else `Vexawofstream::fail`.
  int fail();

  /// @name The reader's operations
  /// On the reader's side, as `Vexawifstream` has them.
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
  /// On the writer's side, as `Vexawofstream` has them.
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
/// `stream` must be a Vexawofstream; a closed one is left alone. They return the std::ostream
/// inside it, so what is chained behind one does not reach the operators below and is lost: start a
/// new statement after a manipulator.
///
///     out << L"first" << wendl;
///     out << L"second" << wendl;
///
/// Threads: as the stream.
/// @{

/// Writes a wide line feed, then flushes; returns `stream`.
VEXA_EXPORT std::ostream& wendl(std::ostream& stream);
/// Writes a wide NUL; returns `stream`.
VEXA_EXPORT std::ostream& wends(std::ostream& stream);
/// Flushes; returns `stream`.
VEXA_EXPORT std::ostream& wflush(std::ostream& stream);

/// @}

/// @name Output of Vexawofstream
/// Each operator returns the stream it was given, which must be open. Text is written as by `put`;
/// numbers are bytes, also on a handle that is wide and refuses them, cut at 99 characters; an
/// unsigned int from 2^31 on and an unsigned long from 2^63 on come out negative, and reals have
/// the locale's decimal point. Byte text is flushed, a char only when it was written; wide text and
/// numbers are not. Threads: as the stream.
/// @{
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, const wchar_t* s);      ///< wide text
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, wchar_t c);             ///< wide
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, const char* s);         ///< text
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, char c);                ///< a byte
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, int value);             ///< decimal
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, unsigned int value);    ///< decimal
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, short value);           ///< decimal
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, unsigned short value);  ///< decimal
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, long value);            ///< decimal
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, unsigned long value);   ///< decimal
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, float value);           ///< 6 decimals
VEXA_EXPORT Vexawofstream& operator<<(Vexawofstream& stream, double value);          ///< 6 decimals
/// @}

/// @name Output of Vexawfstream
/// Each operator returns the stream it was given. Nothing is flushed. Wide text needs an open
/// writer; anything else is dropped when there is none. Numbers are written as by Vexawofstream.
/// Threads: as the stream.
/// @{
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, const wchar_t* s);      ///< wide text
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, wchar_t c);             ///< wide
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, const char* s);         ///< text
VEXA_EXPORT Vexawfstream& operator<<(Vexawfstream& stream, char c);                ///< a byte
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
/// Each operator returns the stream it was given. Lines and characters are read by `get`; an array
/// must hold 4097 elements, whatever the line, and a wide character needs an open reader. Integers
/// come from `getn`, reals from `getd`, converted to their type. A char is left as it is: one byte
/// is read and discarded. Threads: as the stream.
/// @{
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, wchar_t* buf);  ///< a line
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, wchar_t& c);    ///< wide
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, char* buf);     ///< a line
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, char& c);       ///< skips a byte
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, int& value);    ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, short& value);  ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, long& value);   ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, unsigned int& value);    ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, unsigned short& value);  ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, unsigned long& value);   ///< by `getn`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, float& value);           ///< by `getd`
VEXA_EXPORT Vexawifstream& operator>>(Vexawifstream& stream, double& value);          ///< by `getd`
/// @}

/// @name Input of Vexawfstream
/// As for Vexawifstream, on the reader's side; each returns the stream it was given. Threads: as
/// the stream.
/// @{
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, wchar_t* buf);         ///< a line
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, wchar_t& c);           ///< wide
VEXA_EXPORT Vexawfstream& operator>>(Vexawfstream& stream, char* buf);            ///< a line
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
/// None of these returns a status or throws but `std::bad_alloc` (`Vexawprintf`); formats are those
/// of vswprintf(3). Threads: any; output of several to one stream may interleave between calls.
/// @{

/// Formats `args` by `format` into `buf`, which is taken to hold 4096 wide characters, whatever it
/// holds. An output that does not fit with its NUL, or cannot be formatted, leaves the empty text.
/// A null `format` or `buf` writes nothing.
VEXA_EXPORT void Vexavswprintf(wchar_t* buf, const wchar_t* format, std::va_list args);
/// Formats its variable arguments by `format` into `buf` as `Vexavswprintf` does.
VEXA_EXPORT void Vexaswprintf(wchar_t* buf, const wchar_t* format, ...);
/// Formats at most 4095 wide characters by `format`, writes them to standard output with fputws(3)
/// and flushes it. A longer output and a null `format` write the empty text. Makes a standard
/// output that is neither yet a wide one, which refuses bytes from then on (fwide(3)).
VEXA_EXPORT void Vexawprintf(const wchar_t* format, ...);
/// Formats into `buf` by `format` as `Vexaswprintf` does, then writes `buf` to `stream` with
/// fputws(3), without a flush; with a null `format` it is written as it stands. `stream` and `buf`
/// must not be null.
VEXA_EXPORT void Vexafwprintf(std::FILE* stream, wchar_t* buf, const wchar_t* format, ...);

/// @}

#endif
