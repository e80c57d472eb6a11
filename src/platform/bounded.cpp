#include "platform/bounded.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <cwchar>

extern "C" {

int memcpy_s(void* dest, std::size_t size, const void* src, std::size_t count) {
  if (count == 0 && dest != nullptr) return 0;
  if (dest == nullptr || src == nullptr) return EINVAL;
  if (count > size) return ERANGE;
  std::memcpy(dest, src, count);
  return 0;
}

int memset_s(void* dest, std::size_t size, int value, std::size_t count) {
  if (dest == nullptr) return EINVAL;
  if (count > size) return ERANGE;
  std::memset(dest, value, count);
  return 0;
}

int strncpy_s(char* dest, std::size_t size, const char* src, std::size_t count) {
  if (dest == nullptr || size == 0) return EINVAL;
  dest[0] = '\0';
  if (src == nullptr) return EINVAL;
  const std::size_t length = strnlen(src, count);
  if (length >= size) return ERANGE;
  std::memcpy(dest, src, length);
  dest[length] = '\0';
  return 0;
}

int snprintf_s(char* dest, std::size_t size, std::size_t count, const char* format, ...) {
  if (dest == nullptr || size == 0 || format == nullptr) return -1;
  const std::size_t room = count < size ? count + 1 : size;
  std::va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(dest, room, format, args);
  va_end(args);
  if (length < 0) dest[0] = '\0';
  return length >= 0 && static_cast<std::size_t>(length) < room ? length : -1;
}

int vswprintf_s(wchar_t* dest, std::size_t size, const wchar_t* format, std::va_list args) {
  if (dest == nullptr || size == 0 || format == nullptr) return -1;
  const int length = std::vswprintf(dest, size, format, args);
  if (length < 0) dest[0] = L'\0';
  return length;
}
}
