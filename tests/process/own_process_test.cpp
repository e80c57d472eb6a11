#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"

using commutil_test::CapturedOutput;
using commutil_test::runInChild;

namespace {

/// Returns the result of getCommandLine in a program started with `arguments` after its name.
std::string commandLineOf(const std::string& name, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), name);
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  CapturedOutput standardOutput(1);
  EXPECT_EQ(0, VexaCommonUtils_i::runCommand(PRINT_COMMAND_LINE, argv.data()));
  return standardOutput.stop();
}

}  // namespace

// getCommandLine

TEST(CommandLine, AppendsTheWordsInOrder) {
  EXPECT_EQ("<before>\n<prog>\n<-a>\n<x>\n<y>\n", commandLineOf("prog", {"-a", "x y"}));
  EXPECT_EQ("<before>\n<prog>\n", commandLineOf("prog", {}));
  EXPECT_EQ("<before>\n<a>\n<b>\n", commandLineOf(" a ", {"", " ", "  b  ", ""}));
  EXPECT_EQ("<before>\n", commandLineOf("", {""}));
  EXPECT_EQ("<before>\n<p>\n<a\tb\nc>\n<\xff>\n", commandLineOf("p", {"a\tb\nc", "\xff"}));
}

struct LengthCase {
  std::size_t argument;  // the command line holds three bytes more: "p", NUL, argument, NUL
  std::size_t kept;
};

TEST(CommandLine, SeesItsFirst1023Bytes) {
  const LengthCase cases[] = {{1019, 1019}, {1020, 1020}, {1021, 1021},  {1022, 1021},
                              {1023, 1021}, {1024, 1021}, {100000, 1021}};
  for (const LengthCase& row : cases) {
    SCOPED_TRACE(row.argument);
    EXPECT_EQ("<before>\n<p>\n<" + std::string(row.kept, 'x') + ">\n",
              commandLineOf("p", {std::string(row.argument, 'x')}));
  }
  // A word that begins after the limit is not read; one that crosses the limit is cut.
  const std::string first(1019, 'x');
  EXPECT_EQ("<before>\n<p>\n<" + first + ">\n<y>\n", commandLineOf("p", {first, "yz"}));
  EXPECT_EQ("<before>\n<p>\n<" + first + "x>\n", commandLineOf("p", {first + "x", "yz"}));
}

TEST(CommandLine, IsThatOfTheCallingProcess) {
  std::vector<std::string> words;
  VexaCommonUtils_i::getCommandLine(words);
  ASSERT_FALSE(words.empty());
  EXPECT_THAT(words.front(), testing::HasSubstr("own_process_test"));
  const std::size_t count = words.size();
  VexaCommonUtils_i::getCommandLine(words);
  EXPECT_EQ(2 * count, words.size()) << "words are appended";
}

// getKernelThreadIDForFS, getProcessCPUAndMem, printStackTrace

TEST(ThreadId, IsTheKernelsIdOfTheCallingThread) {
  EXPECT_EQ(::getpid(), VexaCommonUtils::getKernelThreadIDForFS());
  std::thread([] {
    EXPECT_EQ(::syscall(186), VexaCommonUtils::getKernelThreadIDForFS());
    EXPECT_NE(::getpid(), VexaCommonUtils::getKernelThreadIDForFS());
  }).join();
  runInChild([] { EXPECT_EQ(::getpid(), VexaCommonUtils::getKernelThreadIDForFS()); });
}

TEST(ProcessLoad, IsAPlaceholder) {
  for (const char* process : {"", "self", "1"}) {
    unsigned cpu = 12345;
    unsigned memory = 67890;
    EXPECT_EQ(0, VexaCommonUtils::getProcessCPUAndMem(process, cpu, memory));
    EXPECT_EQ(12345U, cpu);
    EXPECT_EQ(67890U, memory);
  }
}

/// Records the contents of a stream's buffer on each flush.
class FlushRecorder : public std::stringbuf {
 public:
  std::vector<std::string> flushed;

 protected:
  int sync() override {
    flushed.push_back(str());
    return 0;
  }
};

TEST(StackTrace, IsNotSupported) {
  CapturedOutput standardOutput(1);
  VexaCommonUtils::printStackTrace();
  EXPECT_EQ("Stack Trace:\nStack trace printing not supported on this platform\n\n",
            standardOutput.stop());
}

TEST(StackTrace, IsFlushedLineByLine) {
  FlushRecorder recorder;
  std::streambuf* const before = std::cout.rdbuf(&recorder);
  VexaCommonUtils::printStackTrace();
  std::cout.rdbuf(before);
  const std::string first = "Stack Trace:\n";
  const std::string second = first + "Stack trace printing not supported on this platform\n";
  EXPECT_THAT(recorder.flushed, testing::ElementsAre(first, second, second + "\n"));
}
