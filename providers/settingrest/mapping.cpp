#include "mapping.h"

#include <sys/mman.h>

namespace settingrest {

Mapping::Mapping(int file, std::size_t size) {
  void* const address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
  if (address != MAP_FAILED) m_bytes = {static_cast<const char*>(address), size};
}

Mapping::~Mapping() {
  if (*this) ::munmap(const_cast<char*>(m_bytes.data()), m_bytes.size());
}

}  // namespace settingrest
