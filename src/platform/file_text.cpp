// Reads small configuration files whole, for the readers of settings. Re-entrant; no state.
#include "platform/file_text.h"

#include <fcntl.h>

#include <cerrno>
#include <new>

#include "platform/file_io.h"
#include "platform/handles.h"

namespace commutil {
namespace {

/// Ends a call that failed with `errno`: false, but for lack of memory.
bool unreadable() {
  if (errno == ENOMEM) throw std::bad_alloc();
  return false;
}

}  // namespace

bool readFileText(const std::string& path, std::string& text) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return unreadable();
  std::string content;
  if (!readAll(file.get(), content)) return unreadable();
  text = std::move(content);
  return true;
}

}  // namespace commutil
