#include "net/tool_stream.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <vector>

#include "support/fixtures.h"

using commutil::ToolStream;

namespace {

using Lines = std::vector<std::string>;

/// Returns the lines of the command's output, in pieces of up to seven bytes.
Lines linesOf(const std::string& command) {
  ToolStream output(command);
  Lines lines;
  for (std::array<char, 8> line{}; output.readLine(line);) lines.emplace_back(line.data());
  return lines;
}

TEST(ToolStream, ReadsLinesAndPiecesOfLongerOnes) {
  EXPECT_EQ((Lines{"one\n", "\n", "123456\n", "1234567", "\n", "1234567", "8\n", "end"}),
            linesOf("printf 'one\\n\\n123456\\n1234567\\n12345678\\nend'"));
}

TEST(ToolStream, HasTheLinesOfACommandThatFails) {
  EXPECT_EQ(Lines{"one\n"}, linesOf("echo one; exit 1"));
  EXPECT_EQ(Lines{}, linesOf("exit 1"));
}

TEST(ToolStream, HasNoLinesIfTheCommandCannotBeStarted) {
  commutil_test::runInChild([] {
    const rlimit none{0, 0};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &none));
    EXPECT_EQ(Lines{}, linesOf("echo one"));
  });
}

TEST(ToolStream, KeepsItsPipeFromOtherPrograms) {
  const int pipe = ::dup(STDIN_FILENO);  // the number that the pipe gets
  ::close(pipe);
  const ToolStream output("echo one");
  EXPECT_EQ(FD_CLOEXEC, ::fcntl(pipe, F_GETFD));
}

TEST(ToolStream, LeavesNoDescriptorAndNoChild) {
  const std::size_t before = commutil_test::openDescriptors();
  { const ToolStream unread("echo one"); }
  EXPECT_EQ(before, commutil_test::openDescriptors());
  EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
  EXPECT_EQ(ECHILD, errno);
}

}  // namespace
