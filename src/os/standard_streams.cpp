// The one source that includes <iostream>, whose hidden object makes the streams in every source
// that does. For operations that print. No state of its own.
#include "os/standard_streams.h"

#include <exception>
#include <iostream>

namespace commutil {

namespace {

/// Through the stream's buffer: only there do a caller's settings of the stream not count.
void writeLine(std::streambuf* buffer, std::string_view text) {
  if (buffer == nullptr) return;
  try {
    buffer->sputn(text.data(), static_cast<std::streamsize>(text.size()));
    buffer->sputc('\n');
    buffer->pubsync();
  } catch (...) {
    // Like any failed write it is not reported. Only the unwinding of a canceled thread, which no
    // exception stands for, must go on.
    if (std::current_exception() == nullptr) throw;
  }
}

}  // namespace

void printLine(std::string_view text) { writeLine(std::cout.rdbuf(), text); }

void printErrorLine(std::string_view text) { writeLine(std::cerr.rdbuf(), text); }

}  // namespace commutil
