// The subcommands of base64: streams of any length in constant memory.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <cstdio>
#include <string>

#include "output.h"
#include "tool.h"

namespace {

// Whole groups, so that the pieces' results join to the result of the whole.
constexpr std::size_t kEncodePiece = 3 * 16 * 1024;
constexpr std::size_t kDecodePiece = 4 * 16 * 1024;

/// Reads the next piece of standard input; shorter than `size` only at its end.
std::string readPiece(std::size_t size) {
  std::string piece(size, '\0');
  piece.resize(std::fread(piece.data(), 1, size, stdin));
  return piece;
}

/// Returns the exit code after reading; a failed write is told by the caller of all subcommands.
int inputRead() {
  if (std::ferror(stdin) == 0) return kOk;
  complain("standard input cannot be read");
  return kNo;
}

struct NoOptions {};

int encode(const NoOptions& /*options*/) {
  while (std::ferror(stdout) == 0) {
    const std::string piece = readPiece(kEncodePiece);
    printBytes(VexaCommonUtils_i::encodeData(piece.data(), static_cast<unsigned>(piece.size())));
    if (piece.size() < kEncodePiece) break;
  }
  return inputRead();
}

/// Tells whether decoding ends inside `piece`, at a byte that is no data character.
bool endsIn(const std::string& piece) {
  for (const char c : piece)
    if (!VexaCommonUtils::isBase64(static_cast<unsigned char>(c))) return true;
  return false;
}

int decode(const NoOptions& /*options*/) {
  while (std::ferror(stdout) == 0) {
    const std::string piece = readPiece(kDecodePiece);
    printBytes(VexaCommonUtils::base64Decode(piece));
    if (piece.size() < kDecodePiece || endsIn(piece)) break;
  }
  return inputRead();
}

}  // namespace

void addBase64(Tool& tool) {
  CLI::App* const base64 =
      tool.app.add_subcommand("base64", "Encode or decode standard input to standard output.");
  base64->require_subcommand(1);
  const auto noOptions = [](CLI::App&, NoOptions&) {};
  tool.add<NoOptions>(*base64, "encode",
                      "Encode; the result has no line breaks, not even at its end.", noOptions,
                      encode);
  tool.add<NoOptions>(
      *base64, "decode",
      "Decode; everything from the first \"=\" or other byte that is no data character is\n"
      "ignored, line breaks included.",
      noOptions, decode);
}
