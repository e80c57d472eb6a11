// The subcommands of base64, for streams of any length in constant memory.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "output.h"
#include "tool.h"

namespace {

// Whole groups, so that the results of the pieces form the result of the whole.
constexpr std::size_t kEncodePiece = 3 * 16 * 1024;
constexpr std::size_t kDecodePiece = 4 * 16 * 1024;

/// Reads the next piece of standard input; shorter than `size` only at its end.
std::string readPiece(std::size_t size) {
  std::string piece(size, '\0');
  piece.resize(std::fread(piece.data(), 1, size, stdin));
  return piece;
}

/// Returns the exit code after reading. main() reports a failed write.
int inputRead() { return std::ferror(stdin) == 0 ? kOk : fail("standard input cannot be read"); }

struct NoOptions {};

int encode(const NoOptions& /*options*/) {
  while (std::ferror(stdout) == 0) {
    const std::string piece = readPiece(kEncodePiece);
    printBytes(VexaCommonUtils_i::encodeData(piece.data(), static_cast<unsigned>(piece.size())));
    if (piece.size() < kEncodePiece) break;
  }
  return inputRead();
}

/// Follows the decoded input, piece by piece, and finds the first byte that decoding ignores. The
/// padding that completes the last group and line ends after it do not count.
class LeftOver {
 public:
  /// Adds the next piece. Returns whether all of it is data.
  bool add(std::string_view piece) {
    for (const char c : piece) {
      if (m_firstLeft) return false;
      if (!accept(c)) m_firstLeft = m_position;
      ++m_position;
    }
    return m_state == State::data;
  }

  /// Returns where the ignored input begins, counted from 0; nothing if there is none.
  std::optional<std::uint64_t> position() const {
    if (m_firstLeft) return m_firstLeft;
    return m_data % 4 == 1 ? std::optional(m_lastData) : std::nullopt;
  }

 private:
  enum class State { data, padding, lineEnds };

  bool accept(char c) {
    if (m_state == State::data && VexaCommonUtils::isBase64(static_cast<unsigned char>(c))) {
      m_lastData = m_position;
      ++m_data;
      return true;
    }
    if (c == '\n' || c == '\r') {
      m_state = State::lineEnds;
      return true;
    }
    if (c != '=' || m_state == State::lineEnds || m_data % 4 < 2) return false;
    m_state = State::padding;
    return m_data % 4 + ++m_pads <= 4;
  }

  State m_state = State::data;
  std::uint64_t m_position = 0;
  std::uint64_t m_data = 0;      // data characters so far
  std::uint64_t m_lastData = 0;  // position of the last one
  unsigned m_pads = 0;
  std::optional<std::uint64_t> m_firstLeft;
};

/// Reads on after the data until decoding ignores a byte or the input ends.
void readOn(LeftOver& leftOver) {
  while (!leftOver.position()) {
    const std::string piece = readPiece(kDecodePiece);
    if (piece.empty()) return;
    leftOver.add(piece);
  }
}

int decode(const NoOptions& /*options*/) {
  LeftOver leftOver;
  while (std::ferror(stdout) == 0) {
    const std::string piece = readPiece(kDecodePiece);
    printBytes(VexaCommonUtils::base64Decode(piece));
    if (!leftOver.add(piece)) {
      readOn(leftOver);
      break;
    }
    if (piece.size() < kDecodePiece) break;
  }
  const int code = inputRead();
  if (code != kOk || !leftOver.position()) return code;
  return fail("standard input from byte " + std::to_string(*leftOver.position() + 1) +
              " on is not decoded");
}

}  // namespace

void addBase64(Tool& tool) {
  Command& base64 =
      tool.addGroup(tool.command, "base64", "Encode or decode standard input to standard output.");
  const auto noOptions = [](Command&, NoOptions&) {};
  tool.add<NoOptions>(base64, "encode",
                      "Encode; the result has no line breaks, not even at its end.", noOptions,
                      encode);
  tool.add<NoOptions>(
      base64, "decode",
      "Decode up to the first \"=\" or other byte that is not base64, a line break included.\n"
      "Exit code 1 if other input follows than padding and line ends.",
      noOptions, decode);
}
