#include <cstdio>
#include <string>

#include "VexaCommonUtils_i.h"
#include "os/handles.h"

namespace {

constexpr std::size_t kLinePiece = 1023;

/// Reads the next line with its line feed, or the next piece of a longer one, into `piece`. Returns
/// whether there was one.
bool readLinePiece(std::FILE* file, std::string& piece) {
  piece.clear();
  int c = 0;
  while (piece.size() < kLinePiece && c != '\n' && (c = ::getc_unlocked(file)) != EOF)
    piece += static_cast<char>(c);
  return !piece.empty();
}

}  // namespace

bool VexaCommonUtils_i::isZirel() {
  const commutil::FileHandle file(std::fopen("/etc/os-release", "rte"));
  if (!file) return false;
  std::string line;
  while (readLinePiece(file.get(), line)) {
    if (line.back() == '\n') line.pop_back();
    if (line == "NAME=\"ZirelOS\"") return true;
  }
  return false;
}
