// The only source that includes <iostream>, which creates the streams in every source with it.
#include "os/standard_streams.h"

#include <exception>
#include <iostream>

namespace commutil {

namespace {

/// Writes to the stream's buffer, where the caller's settings of the stream do not apply.
void writeLine(std::streambuf* buffer, std::string_view text) {
  if (buffer == nullptr) return;
  try {
    buffer->sputn(text.data(), static_cast<std::streamsize>(text.size()));
    buffer->sputc('\n');
    buffer->pubsync();
  } catch (...) {
    // Not reported, like any failed write. Only the unwinding of a canceled thread, which is not an
    // exception, must continue.
    if (std::current_exception() == nullptr) throw;
  }
}

}  // namespace

void printLine(std::string_view text) { writeLine(std::cout.rdbuf(), text); }

void printErrorLine(std::string_view text) { writeLine(std::cerr.rdbuf(), text); }

}  // namespace commutil
