#include "VexaWideIO.h"

#include <array>
#include <cstdlib>

#include "os/handle_lock.h"
#include "os/wide_stdio.h"

using commutil::HandleLock;

namespace {

constexpr int kReadMode = 8;

/// The bytes of a number: 99 that count and the one that ends it.
using NumberText = std::array<char, 100>;

/// Reads values with fgetwc(3) into `buf` until the end of the handle, a stored line feed or
/// `delim`, or `limit` values (at least 1). A failed read stores WEOF and, unless it is at the end,
/// the next one follows. Returns the index of the line feed or delimiter that ended the read, or
/// else the number of values; later elements stay unwritten.
std::size_t readWide(std::FILE* file, wchar_t* buf, std::size_t limit, std::wint_t delim) {
  const HandleLock lock(file);
  std::size_t i = 0;
  while (i != limit && ::feof_unlocked(file) == 0) {
    const std::size_t taken = commutil::takeDecoded(file, buf + i, limit - i, delim);
    i += taken;
    if (taken == 0) buf[i++] = static_cast<wchar_t>(::fgetwc_unlocked(file));
    const wchar_t last = buf[i - 1];
    if (last == L'\n' || static_cast<std::wint_t>(last) == delim) return i - 1;
  }
  return i;
}

void readByteLine(std::FILE* file, char* buf, std::size_t n, signed char delim) {
  if (n == 1) {
    buf[0] = '\0';
    return;
  }
  const HandleLock lock(file);
  std::size_t i = 0;
  while (::feof_unlocked(file) == 0) {
    const int c = ::getc_unlocked(file);
    if (c == EOF || c == '\n' || static_cast<signed char>(c) == delim) break;
    buf[i++] = static_cast<char>(c);
    if (i == n - 1) break;
  }
  buf[i] = '\0';
}

bool isNumberByte(int c, bool withPoint) {
  return (c >= '0' && c <= '9') || (withPoint && c == '.');
}

/// Reads the characters of a number and puts the byte after it back, unless it is a line feed.
/// Returns false if the handle cannot step back.
bool readNumber(std::FILE* file, NumberText& text, bool withPoint) {
  const HandleLock lock(file);
  std::size_t i = 0;
  int c = EOF;
  while (::feof_unlocked(file) == 0) {
    c = ::getc_unlocked(file);
    if (!isNumberByte(c, withPoint)) break;
    text[i++] = static_cast<char>(c);
    if (i == text.size()) {
      text.back() = '\0';
      return true;
    }
  }
  if (::feof_unlocked(file) != 0 || c == '\n') return true;
  return std::fseek(file, -1, SEEK_CUR) == 0;
}

}  // namespace

Vexawifstream::Vexawifstream() : std::istream(nullptr), m_file(nullptr) {}

Vexawifstream::~Vexawifstream() { Vexawifstream::close(); }

void Vexawifstream::open(const char* path, int mode) {
  if (path == nullptr) return;
  close();
  m_file = std::fopen(path, mode == kReadMode ? "r" : "r+");
}

void Vexawifstream::close() {
  if (m_file == nullptr) return;
  std::fclose(m_file);
  m_file = nullptr;
}

bool Vexawifstream::isValid() { return m_file != nullptr; }

int Vexawifstream::eof() { return m_file == nullptr ? -1 : std::feof(m_file); }

int Vexawifstream::fail() { return m_file == nullptr ? 1 : std::ferror(m_file); }

int Vexawifstream::fseekg(long offset) {
  return m_file == nullptr ? -1 : std::fseek(m_file, offset, SEEK_SET);
}

long Vexawifstream::ftellg() { return m_file == nullptr ? -1 : std::ftell(m_file); }

std::wint_t Vexawifstream::get() { return std::fgetwc(m_file); }

int Vexawifstream::get(wchar_t& c) {
  c = static_cast<wchar_t>(std::fgetwc(m_file));
  return c;
}

void Vexawifstream::get(wchar_t* buf, std::size_t n) { get(buf, n, L'\n'); }

void Vexawifstream::get(wchar_t* buf, std::size_t n, unsigned int delim) {
  if (m_file == nullptr) return;
  const std::size_t last = n == 1 ? 0 : readWide(m_file, buf, n - 1, delim);
  buf[last] = L'\0';
}

void Vexawifstream::getline(wchar_t* buf, std::size_t n) {
  if (m_file == nullptr) return;
  // The NUL is one element further than necessary: callers rely on these positions.
  const std::size_t last = n == 1 ? 0 : readWide(m_file, buf, n - 1, L'\n');
  buf[last + 1] = L'\0';
}

void Vexawifstream::getline(wchar_t* buf, std::size_t n, unsigned int delim) {
  if (m_file == nullptr) return;
  const std::size_t last = n == 1 ? 0 : readWide(m_file, buf, n - 1, delim);
  // Without a line end this checks the array's old contents; a line feed there is kept too.
  buf[buf[last] == L'\n' ? last + 1 : last] = L'\0';
}

int Vexawifstream::get(char& c) {
  if (m_file == nullptr || std::feof(m_file) != 0) return 0;
  const int byte = std::fgetc(m_file);
  if (byte == EOF) return 0;
  c = static_cast<char>(byte);
  return static_cast<signed char>(byte);
}

void Vexawifstream::get(char* buf, std::size_t n) { get(buf, n, '\n'); }

void Vexawifstream::get(char* buf, std::size_t n, int delim) {
  if (m_file != nullptr) readByteLine(m_file, buf, n, static_cast<signed char>(delim));
}

long Vexawifstream::getn() {
  NumberText text{};
  if (m_file == nullptr || !readNumber(m_file, text, false)) return -1;
  return std::strtol(text.data(), nullptr, 10);
}

double Vexawifstream::getd() {
  NumberText text{};
  if (m_file == nullptr || !readNumber(m_file, text, true)) return -1.0;
  return std::strtod(text.data(), nullptr);
}

std::size_t Vexawifstream::read(void* buf, std::size_t size, std::size_t count) {
  return buf == nullptr || m_file == nullptr ? 0 : std::fread(buf, size, count, m_file);
}
