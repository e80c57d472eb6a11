#pragma once

#include <cstdarg>
#include <cstddef>

extern "C" {

int memcpy_s(void* dest, std::size_t size, const void* src, std::size_t count);
int memset_s(void* dest, std::size_t size, int value, std::size_t count);
int strncpy_s(char* dest, std::size_t size, const char* src, std::size_t count);
int snprintf_s(char* dest, std::size_t size, std::size_t count, const char* format, ...);
int vswprintf_s(wchar_t* dest, std::size_t size, const wchar_t* format, std::va_list args);
}
