#include "difference.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace {

using Lines = std::vector<std::string_view>;

constexpr std::size_t kContext = 3;

Lines linesOf(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find('\n'), text.size() - 1) + 1;
    lines.push_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return lines;
}

void print(char mark, const Lines& lines, std::size_t begin, std::size_t end, std::string& result) {
  for (std::size_t i = begin; i < end; ++i) {
    result.append(1, mark).append(lines[i]);
    if (lines[i].back() != '\n') result += "\n\\ No newline at end of file\n";
  }
}

/// A hunk's range: an empty one is after the line before it.
std::string range(std::size_t begin, std::size_t end) {
  return std::to_string(end > begin ? begin + 1 : begin) + "," + std::to_string(end - begin);
}

}  // namespace

std::string difference(std::string_view before, std::string_view after) {
  if (before == after) return {};
  const Lines a = linesOf(before);
  const Lines b = linesOf(after);
  const std::size_t shorter = std::min(a.size(), b.size());
  std::size_t head = 0;
  while (head < shorter && a[head] == b[head]) ++head;
  std::size_t tail = 0;
  while (tail < shorter - head && a[a.size() - 1 - tail] == b[b.size() - 1 - tail]) ++tail;
  const std::size_t begin = head - std::min(head, kContext);
  const std::size_t context = std::min(tail, kContext);
  std::string result = "@@ -" + range(begin, a.size() - tail + context) + " +" +
                       range(begin, b.size() - tail + context) + " @@\n";
  print(' ', a, begin, head, result);
  print('-', a, head, a.size() - tail, result);
  print('+', b, head, b.size() - tail, result);
  print(' ', a, a.size() - tail, a.size() - tail + context, result);
  return result;
}
