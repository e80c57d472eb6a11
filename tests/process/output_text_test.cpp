#include "process/output_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>

namespace {

/// Reads the whole output in pieces of up to 127 bytes that end at a line feed, as C strings.
std::string pieceByPiece(const std::string& output) {
  std::string text;
  for (std::size_t at = 0; at < output.size();) {
    const std::string_view rest = std::string_view(output).substr(at, 127);
    const std::string_view piece = rest.substr(0, rest.find('\n') + 1);
    const std::string_view whole = piece.empty() ? rest : piece;
    text += whole.substr(0, whole.find('\0'));
    at += whole.size();
  }
  return text;
}

TEST(OutputText, DependsOnPiecesButNotOnBlocks) {
  std::mt19937 random(127);
  for (int round = 0; round < 5'000; ++round) {
    std::string output(random() % 1000, 'x');
    for (char& byte : output)
      if (random() % 100 < 2) byte = random() % 2 == 0 ? '\n' : '\0';
    std::string text;
    commutil::OutputText collected(text);
    for (std::string_view rest = output; !rest.empty();) {
      const std::string_view block = rest.substr(0, 1 + random() % 300);
      collected.append(block);
      rest.remove_prefix(block.size());
    }
    ASSERT_EQ(pieceByPiece(output), text);
  }
}

}  // namespace
