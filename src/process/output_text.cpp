#include "process/output_text.h"

#include <cstring>

namespace commutil {
namespace {

constexpr std::size_t kPieceSize = 127;
constexpr auto npos = std::string_view::npos;

/// Returns the bytes of `block` after its last line end; all of it without one.
std::size_t bytesOfOpenLine(std::string_view block) {
  const void* const newline = ::memrchr(block.data(), '\n', block.size());
  if (newline == nullptr) return block.size();
  return static_cast<std::size_t>(block.data() + block.size() - 1 -
                                  static_cast<const char*>(newline));
}

}  // namespace

void OutputText::append(std::string_view block) {
  if (m_cut || block.find('\0') != npos) {
    appendPieces(block);
    return;
  }
  m_text.append(block);
  const std::size_t open = bytesOfOpenLine(block);
  m_length = ((open == block.size() ? m_length : 0) + open) % kPieceSize;
}

void OutputText::appendPieces(std::string_view block) {
  while (!block.empty()) {
    const std::size_t newline = block.substr(0, kPieceSize - m_length).find('\n');
    const std::string_view piece =
        block.substr(0, newline == npos ? kPieceSize - m_length : newline + 1);
    const std::size_t nul = piece.find('\0');
    if (!m_cut) m_text.append(piece.substr(0, nul));
    m_cut = m_cut || nul != npos;
    m_length += piece.size();
    if (newline != npos || m_length == kPieceSize) {
      m_length = 0;
      m_cut = false;
    }
    block.remove_prefix(piece.size());
  }
}

}  // namespace commutil
