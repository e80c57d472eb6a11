// Reads small configuration files whole, for the readers of settings. Re-entrant; no state.
#include "platform/file_text.h"

#include <fcntl.h>

#include "platform/file_io.h"
#include "platform/handles.h"

namespace commutil {

bool readFileText(const std::string& path, std::string& text) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return false;
  std::string content;
  if (!readAll(file.get(), content)) return false;
  text = std::move(content);
  return true;
}

}  // namespace commutil
