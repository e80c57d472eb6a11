// Builds strings without clearing their bytes first. The only C++23 source: earlier standards have
// no legal way to do this.
#include "bytes/raw_text.h"

namespace commutil {

std::string writtenText(std::size_t size, TextWriter write, void* context) {
  std::string text;
  // Not the size passed with `data`: g++ 12 passes the capacity, 30 for 16 to 29.
  text.resize_and_overwrite(
      size, [=](char* data, std::size_t /*capacity*/) { return write(context, data, size); });
  return text;
}

}  // namespace commutil
