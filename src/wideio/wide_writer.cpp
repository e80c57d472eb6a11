// The writing side of the wide streams, with its manipulators.
#include "VexaWideIO.h"

#include <cstdio>
#include <cwchar>

#include "os/wide_stdio.h"

namespace {

constexpr int kWriteMode = 16;

void putOpen(std::ostream& stream, wchar_t c) {
  auto& writer = static_cast<Vexawofstream&>(stream);
  if (writer.isValid()) writer.put(c);
}

}  // namespace

Vexawofstream::Vexawofstream() : std::ostream(nullptr), m_file(nullptr) {}

Vexawofstream::~Vexawofstream() { Vexawofstream::close(); }

void Vexawofstream::open(const char* path, int mode) {
  if (path == nullptr) return;
  close();
  m_file = std::fopen(path, mode == kWriteMode ? "w" : "a");
}

void Vexawofstream::close() {
  if (m_file == nullptr) return;
  commutil::closeWide(m_file);
  m_file = nullptr;
}

bool Vexawofstream::isValid() { return m_file != nullptr; }

int Vexawofstream::eof() { return m_file == nullptr ? -1 : std::feof(m_file); }

int Vexawofstream::fail() { return m_file == nullptr ? 1 : std::ferror(m_file); }

std::wint_t Vexawofstream::put(wchar_t c) { return commutil::putWideCharacter(m_file, c); }

int Vexawofstream::put(const wchar_t* s) { return commutil::putWideText(m_file, s); }

int Vexawofstream::put(char c) { return m_file == nullptr ? 0 : std::fputc(c, m_file); }

int Vexawofstream::put(const char* s) { return m_file == nullptr ? 0 : std::fputs(s, m_file); }

std::size_t Vexawofstream::write(const void* buf, std::size_t size, std::size_t count) {
  return m_file == nullptr ? 0 : std::fwrite(buf, size, count, m_file);
}

std::ostream& wendl(std::ostream& stream) {
  putOpen(stream, L'\n');
  return wflush(stream);
}

std::ostream& wends(std::ostream& stream) {
  putOpen(stream, L'\0');
  return stream;
}

std::ostream& wflush(std::ostream& stream) {
  // fflush of a null handle would flush every stream of the process.
  if (std::FILE* const file = static_cast<Vexawofstream&>(stream).m_file) {
    commutil::flushWide(file);
  }
  return stream;
}
