#include "VexaWideIO.h"

#include <array>
#include <cstdio>

#include "platform/bounded.h"

namespace {

constexpr std::size_t kNumberSize = 100;

// The size that the pointer forms of >> require of the caller's array.
constexpr std::size_t kArraySize = 4097;

/// Formats a number and writes it as bytes, cut at 99 characters. Never flushes.
template <class Stream, class Number>
Stream& putNumber(Stream& stream, const char* format, Number value) {
  std::array<char, kNumberSize> text{};
  snprintf_s(text.data(), text.size(), text.size() - 1, format, value);
  stream.put(text.data());
  return stream;
}

template <class Stream, class Integer>
Stream& getInteger(Stream& stream, Integer& value) {
  value = static_cast<Integer>(stream.getn());
  return stream;
}

template <class Stream, class Real>
Stream& getReal(Stream& stream, Real& value) {
  value = static_cast<Real>(stream.getd());
  return stream;
}

}  // namespace

Vexawofstream& operator<<(Vexawofstream& stream, const wchar_t* s) {
  stream.put(s);
  return stream;
}

Vexawofstream& operator<<(Vexawofstream& stream, wchar_t c) {
  stream.put(c);
  return stream;
}

Vexawofstream& operator<<(Vexawofstream& stream, const char* s) {
  stream.put(s);
  wflush(stream);
  return stream;
}

Vexawofstream& operator<<(Vexawofstream& stream, char c) {
  if (stream.put(c) != EOF) wflush(stream);
  return stream;
}

Vexawofstream& operator<<(Vexawofstream& stream, int value) {
  return putNumber(stream, "%d", value);
}

Vexawofstream& operator<<(Vexawofstream& stream, unsigned int value) {
  return putNumber(stream, "%d", static_cast<int>(value));
}

Vexawofstream& operator<<(Vexawofstream& stream, short value) {
  return putNumber(stream, "%d", int{value});
}

Vexawofstream& operator<<(Vexawofstream& stream, unsigned short value) {
  return putNumber(stream, "%d", int{value});
}

Vexawofstream& operator<<(Vexawofstream& stream, long value) {
  return putNumber(stream, "%ld", value);
}

Vexawofstream& operator<<(Vexawofstream& stream, unsigned long value) {
  return putNumber(stream, "%ld", static_cast<long>(value));
}

Vexawofstream& operator<<(Vexawofstream& stream, float value) {
  return putNumber(stream, "%f", double{value});
}

Vexawofstream& operator<<(Vexawofstream& stream, double value) {
  return putNumber(stream, "%lf", value);
}

Vexawfstream& operator<<(Vexawfstream& stream, const wchar_t* s) {
  stream.put(s);
  return stream;
}

Vexawfstream& operator<<(Vexawfstream& stream, wchar_t c) {
  stream.put(c);
  return stream;
}

Vexawfstream& operator<<(Vexawfstream& stream, const char* s) {
  stream.put(s);
  return stream;
}

Vexawfstream& operator<<(Vexawfstream& stream, char c) {
  stream.put(c);
  return stream;
}

Vexawfstream& operator<<(Vexawfstream& stream, int value) { return putNumber(stream, "%d", value); }

Vexawfstream& operator<<(Vexawfstream& stream, unsigned int value) {
  return putNumber(stream, "%d", static_cast<int>(value));
}

Vexawfstream& operator<<(Vexawfstream& stream, short value) {
  return putNumber(stream, "%d", int{value});
}

Vexawfstream& operator<<(Vexawfstream& stream, unsigned short value) {
  return putNumber(stream, "%d", int{value});
}

Vexawfstream& operator<<(Vexawfstream& stream, long value) {
  return putNumber(stream, "%ld", value);
}

Vexawfstream& operator<<(Vexawfstream& stream, unsigned long value) {
  return putNumber(stream, "%ld", static_cast<long>(value));
}

Vexawfstream& operator<<(Vexawfstream& stream, float value) {
  return putNumber(stream, "%f", double{value});
}

Vexawfstream& operator<<(Vexawfstream& stream, double value) {
  return putNumber(stream, "%lf", value);
}

Vexawifstream& operator>>(Vexawifstream& stream, wchar_t* buf) {
  stream.get(buf, kArraySize);
  return stream;
}

Vexawifstream& operator>>(Vexawifstream& stream, wchar_t& c) {
  stream.get(c);
  return stream;
}

Vexawifstream& operator>>(Vexawifstream& stream, char* buf) {
  stream.get(buf, kArraySize);
  return stream;
}

// Skips one byte: the argument does not change.
Vexawifstream& operator>>(Vexawifstream& stream, char& /*c*/) {
  char skipped = 0;
  stream.get(skipped);
  return stream;
}

Vexawifstream& operator>>(Vexawifstream& stream, int& value) { return getInteger(stream, value); }

Vexawifstream& operator>>(Vexawifstream& stream, short& value) { return getInteger(stream, value); }

Vexawifstream& operator>>(Vexawifstream& stream, long& value) { return getInteger(stream, value); }

Vexawifstream& operator>>(Vexawifstream& stream, unsigned int& value) {
  return getInteger(stream, value);
}

Vexawifstream& operator>>(Vexawifstream& stream, unsigned short& value) {
  return getInteger(stream, value);
}

Vexawifstream& operator>>(Vexawifstream& stream, unsigned long& value) {
  return getInteger(stream, value);
}

Vexawifstream& operator>>(Vexawifstream& stream, float& value) { return getReal(stream, value); }

Vexawifstream& operator>>(Vexawifstream& stream, double& value) { return getReal(stream, value); }

Vexawfstream& operator>>(Vexawfstream& stream, wchar_t* buf) {
  stream.get(buf, kArraySize);
  return stream;
}

Vexawfstream& operator>>(Vexawfstream& stream, wchar_t& c) {
  stream.get(c);
  return stream;
}

Vexawfstream& operator>>(Vexawfstream& stream, char* buf) {
  stream.get(buf, kArraySize);
  return stream;
}

// Skips one byte: the argument does not change.
Vexawfstream& operator>>(Vexawfstream& stream, char /*c*/) {
  char skipped = 0;
  stream.get(skipped);
  return stream;
}

Vexawfstream& operator>>(Vexawfstream& stream, int& value) { return getInteger(stream, value); }

Vexawfstream& operator>>(Vexawfstream& stream, short& value) { return getInteger(stream, value); }

Vexawfstream& operator>>(Vexawfstream& stream, long& value) { return getInteger(stream, value); }

Vexawfstream& operator>>(Vexawfstream& stream, unsigned int& value) {
  return getInteger(stream, value);
}

Vexawfstream& operator>>(Vexawfstream& stream, unsigned short& value) {
  return getInteger(stream, value);
}

Vexawfstream& operator>>(Vexawfstream& stream, unsigned long& value) {
  return getInteger(stream, value);
}

Vexawfstream& operator>>(Vexawfstream& stream, float& value) { return getReal(stream, value); }

Vexawfstream& operator>>(Vexawfstream& stream, double& value) { return getReal(stream, value); }
