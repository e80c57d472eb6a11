// Builds texts without clearing their bytes first. The one source that needs the string of C++23:
// earlier ones have no lawful way to do this. Re-entrant; no state.
#include "bytes/raw_text.h"

namespace commutil {

std::string writtenText(std::size_t size, TextWriter write, void* context) {
  std::string text;
  // Not the size that comes with `data`: g++ 12 hands out the capacity there, 30 for 16 to 29.
  text.resize_and_overwrite(
      size, [=](char* data, std::size_t /*capacity*/) { return write(context, data, size); });
  return text;
}

}  // namespace commutil
