#include "commutil-settings/line_splitter.h"

namespace agent {

bool LineSplitter::feed(std::string_view bytes,
                        const std::function<void(std::string_view)>& onLine) {
  for (std::size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
    if (end > m_limit - m_rest.size()) return false;
    if (m_rest.empty()) {
      onLine(bytes.substr(0, end));
    } else {
      m_rest.append(bytes.substr(0, end));
      onLine(m_rest);
      std::string().swap(m_rest);  // a long line is rare: its memory is not kept
    }
    bytes.remove_prefix(end + 1);
  }
  if (bytes.size() > m_limit - m_rest.size()) return false;
  m_rest.append(bytes);
  return true;
}

}  // namespace agent
