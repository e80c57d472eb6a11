#pragma once

#include <cstddef>
#include <string>
#include <type_traits>

// Builds strings without clearing their bytes first, which for large strings costs as much as
// writing them.

namespace commutil {

/// Writes up to `size` bytes at `data` and returns their number; throws nothing.
using TextWriter = std::size_t (*)(void* context, char* data, std::size_t size);

/// Returns the string that `write(context, data, size)` writes.
std::string writtenText(std::size_t size, TextWriter write, void* context);

/// The same for a callable `write(data, size)`.
template <class Write>
std::string writtenText(std::size_t size, Write&& write) {
  using Callable = std::remove_reference_t<Write>;
  const TextWriter call = [](void* context, char* data, std::size_t room) -> std::size_t {
    return (*static_cast<Callable*>(context))(data, room);
  };
  return writtenText(size, call, &write);
}

}  // namespace commutil
