// The combined wide stream, which forwards each operation to its reader or its writer.
#include "VexaWideIO.h"

namespace {

// The values of std::ios_base::app, in and out, compared as whole modes.
constexpr int kAppend = 1;
constexpr int kRead = 8;
constexpr int kWrite = 16;
constexpr int kOpenBits = kAppend | kRead | kWrite;
constexpr int kClosed = ~kOpenBits;

}  // namespace

Vexawfstream::Vexawfstream() : m_mode(kClosed) {}

Vexawfstream::~Vexawfstream() = default;

void Vexawfstream::open(const char* path, int mode) {
  if ((m_mode & kOpenBits) != 0) close();
  // The mode is set even if the side could not open its file, because closing depends on it.
  m_mode = mode == kRead || mode == kWrite ? mode : kAppend;
  if (m_mode == kRead) {
    Vexawifstream::open(path, m_mode);
  } else {
    Vexawofstream::open(path, m_mode);
  }
}

void Vexawfstream::close() {
  if (m_mode == kRead) {
    Vexawifstream::close();
  } else {
    Vexawofstream::close();
  }
  m_mode = kClosed;
}

int Vexawfstream::eof() { return m_mode == kRead ? Vexawifstream::eof() : Vexawofstream::eof(); }

int Vexawfstream::fail() { return m_mode == kRead ? Vexawifstream::fail() : Vexawofstream::fail(); }

std::wint_t Vexawfstream::get() { return Vexawifstream::get(); }

int Vexawfstream::get(wchar_t& c) { return Vexawifstream::get(c); }

void Vexawfstream::get(wchar_t* buf, std::size_t n) { Vexawifstream::get(buf, n); }

void Vexawfstream::get(wchar_t* buf, std::size_t n, unsigned int delim) {
  Vexawifstream::get(buf, n, delim);
}

void Vexawfstream::getline(wchar_t* buf, std::size_t n) { Vexawifstream::getline(buf, n); }

void Vexawfstream::getline(wchar_t* buf, std::size_t n, unsigned int delim) {
  Vexawifstream::getline(buf, n, delim);
}

int Vexawfstream::get(char& c) { return Vexawifstream::get(c); }

void Vexawfstream::get(char* buf, std::size_t n) { Vexawifstream::get(buf, n); }

void Vexawfstream::get(char* buf, std::size_t n, int delim) { Vexawifstream::get(buf, n, delim); }

std::size_t Vexawfstream::read(void* buf, std::size_t size, std::size_t count) {
  return Vexawifstream::read(buf, size, count);
}

std::wint_t Vexawfstream::put(wchar_t c) { return Vexawofstream::put(c); }

int Vexawfstream::put(const wchar_t* s) { return Vexawofstream::put(s); }

int Vexawfstream::put(char c) { return Vexawofstream::put(c); }

int Vexawfstream::put(const char* s) { return Vexawofstream::put(s); }

std::size_t Vexawfstream::write(const void* buf, std::size_t size, std::size_t count) {
  return Vexawofstream::write(buf, size, count);
}
