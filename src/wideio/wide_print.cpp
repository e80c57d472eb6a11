#include "VexaWideIO.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <memory>

#include "platform/bounded.h"

namespace {

constexpr std::size_t kBufferSize = 4096;

}  // namespace

void Vexavswprintf(wchar_t* buf, const wchar_t* format, std::va_list args) {
  if (format == nullptr || buf == nullptr) return;
  vswprintf_s(buf, kBufferSize, format, args);
}

void Vexaswprintf(wchar_t* buf, const wchar_t* format, ...) {
  std::va_list args;
  va_start(args, format);
  Vexavswprintf(buf, format, args);
  va_end(args);
}

void Vexawprintf(const wchar_t* format, ...) {
  const std::unique_ptr<wchar_t[]> buf(new wchar_t[kBufferSize]);
  memset_s(buf.get(), kBufferSize * sizeof(wchar_t), 0, kBufferSize * sizeof(wchar_t));
  std::va_list args;
  va_start(args, format);
  Vexavswprintf(buf.get(), format, args);
  va_end(args);
  std::fputws(buf.get(), stdout);
  std::fflush(stdout);
}

void Vexafwprintf(std::FILE* stream, wchar_t* buf, const wchar_t* format, ...) {
  std::va_list args;
  va_start(args, format);
  Vexavswprintf(buf, format, args);
  va_end(args);
  std::fputws(buf, stream);
}
