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
/// C library under the process locale.
///
/// The standard base has no stream buffer: nothing may be read, formatted or tested through it;
/// every operation is one of the members and operators below. Objects are not shared between
/// threads without a lock of the caller's.
class VEXA_EXPORT Vexawifstream : public std::istream {
 public:
  Vexawifstream();
  /// Closes an open handle.
  ~Vexawifstream() override;

  /// Opens `path`, closing an open handle first: mode 8 (`std::ios::in`) as "r", every other value
  /// as "r+". A null `path` does nothing; a failure leaves the stream closed.
  void open(const char* path, int mode);
  void close();
  bool isValid();  ///< the handle is open
  int eof();       ///< -1 when closed, else feof(3)
  int fail();      ///< 1 when closed, else ferror(3)

  int fseekg(long offset);  ///< fseek(3) from the start; -1 when closed
  long ftellg();            ///< ftell(3); -1 when closed

  /// Reads one wide character with fgetwc(3), WEOF at the end. The stream must be open.
  std::wint_t get();
  /// The same, stored in `c` too.
  int get(wchar_t& c);

  /// Reads a line of wide text, dropping its line feed: at most `n` - 1 values and a NUL. At the
  /// end of the file the value WEOF is stored before the NUL.
  void get(wchar_t* buf, std::size_t n);
  /// The same, also ending at `delim`, which is dropped.
  void get(wchar_t* buf, std::size_t n, unsigned int delim);

  /// Reads a line of wide text, keeping its line feed. `buf` must hold `n` + 1 elements: at the
  /// limit the NUL is written at `buf[n]` and `buf[n - 1]` stays unwritten; at the end of the file
  /// the element before the NUL stays unwritten.
  void getline(wchar_t* buf, std::size_t n);
  /// The same, also ending at `delim`, which is overwritten by the NUL.
  void getline(wchar_t* buf, std::size_t n, unsigned int delim);

  /// Reads one byte into `c` and returns it as a signed char value; 0 when closed or at the end of
  /// the file, `c` unchanged.
  int get(char& c);
  /// Reads a line of bytes, dropping its line feed: at most `n` - 1 bytes and a NUL.
  void get(char* buf, std::size_t n);
  /// The same, also ending at the byte `delim`, which is dropped.
  void get(char* buf, std::size_t n, int delim);

  /// Reads decimal digits (no sign, no leading blank) and returns their value; the byte behind
  /// them stays unread unless it is a line feed. At most 99 digits count. -1 when closed or when
  /// the file cannot seek.
  long getn();
  /// The same for digits and points, by strtod(3); -1.0 when closed or when the file cannot seek.
  double getd();

  /// fread(3); 0 when `buf` is null or the stream closed.
  std::size_t read(void* buf, std::size_t size, std::size_t count);

 private:
  std::FILE* m_file;
};

/// Writes wide text, bytes and numbers to a stdio file handle. The remarks at `Vexawifstream` hold
/// here too.
class VEXA_EXPORT Vexawofstream : public std::ostream {
 public:
  Vexawofstream();
  /// Closes an open handle.
  ~Vexawofstream() override;

  /// Opens `path`, closing an open handle first: mode 16 (`std::ios::out`) as "w", every other
  /// value as "a". A null `path` does nothing; a failure leaves the stream closed.
  void open(const char* path, int mode);
  void close();
  bool isValid();  ///< the handle is open
  int eof();       ///< -1 when closed, else feof(3)
  int fail();      ///< 1 when closed, else ferror(3)

  std::wint_t put(wchar_t c);  ///< fputwc(3). The stream must be open.
  int put(const wchar_t* s);   ///< fputws(3). The stream must be open.
  int put(char c);             ///< fputc(3); 0 when closed
  int put(const char* s);      ///< fputs(3); 0 when closed

  /// fwrite(3); 0 when closed.
  std::size_t write(const void* buf, std::size_t size, std::size_t count);

 private:
  friend VEXA_EXPORT std::ostream& wflush(std::ostream& stream);

  std::FILE* m_file;
};

/// Either a reader or a writer of one file, by the mode it was opened with.
class VEXA_EXPORT Vexawfstream : public Vexawifstream, public Vexawofstream {
 public:
  Vexawfstream();
  ~Vexawfstream() override;

  /// Closes what is open, then opens `path`: mode 8 for reading ("r"), mode 16 for writing from
  /// the start ("w"), every other value for appending ("a").
  void open(const char* path, int mode);
  void close();
  int eof();
  int fail();

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

  std::wint_t put(wchar_t c);
  int put(const wchar_t* s);
  int put(char c);
  int put(const char* s);
  std::size_t write(const void* buf, std::size_t size, std::size_t count);

 private:
  int m_mode;
};

// Manipulators for a Vexawofstream. They return std::ostream&, so wide text chained behind one
// does not reach the operators below: start a new statement after a manipulator.

VEXA_EXPORT std::ostream& wendl(std::ostream& stream);   ///< a wide line feed, then a flush
VEXA_EXPORT std::ostream& wends(std::ostream& stream);   ///< a wide NUL
VEXA_EXPORT std::ostream& wflush(std::ostream& stream);  ///< a flush

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

/// Formats into `buf`, which is taken to hold 4096 wide characters, as by vswprintf(3). An output
/// of 4096 or more leaves the empty text. A null `format` or `buf` writes nothing.
VEXA_EXPORT void Vexavswprintf(wchar_t* buf, const wchar_t* format, std::va_list args);
/// The same with variable arguments.
VEXA_EXPORT void Vexaswprintf(wchar_t* buf, const wchar_t* format, ...);
/// Formats at most 4095 wide characters, writes them to standard output and flushes it.
VEXA_EXPORT void Vexawprintf(const wchar_t* format, ...);
/// Formats into `buf` as `Vexaswprintf` does and writes `buf` to `stream`, without a flush.
/// `stream` and `buf` must not be null.
VEXA_EXPORT void Vexafwprintf(std::FILE* stream, wchar_t* buf, const wchar_t* format, ...);

#endif
