#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <memory>
#include <new>

namespace commutil_soak {

struct Unmap {
  std::size_t size = 0;
  void operator()(void* memory) const { ::munmap(memory, size); }
};
template <class T>
using Shared = std::unique_ptr<T[], Unmap>;

/// Returns `count` new objects in memory that later children of this process share with it.
template <class T>
Shared<T> shareWithChildren(std::size_t count) {
  const std::size_t size = count * sizeof(T);
  void* const memory =
      ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  T* const objects = static_cast<T*>(memory);
  std::uninitialized_value_construct_n(objects, count);
  return Shared<T>(objects, Unmap{size});
}

}  // namespace commutil_soak
