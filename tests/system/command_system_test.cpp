#include <gtest/gtest.h>
#include <sched.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/namespaces.h"

using commutil_test::CapturedOutput;
using commutil_test::enterNamespaces;
using commutil_test::mountTmpfs;
using commutil_test::replaceFile;
using commutil_test::runInChild;
using commutil_test::TempDir;

namespace {

std::string output(const char* command) {
  std::string text = "junk";
  VexaCommonUtils_i::getSystemExecResult(command, text);
  return text;
}

}  // namespace

TEST(ExecResultSystem, TakesAnOutputOf100MiB) {
  constexpr std::size_t kSize = 100UL << 20;
  struct Row {
    const char* command;
    std::string line;
  };
  const Row rows[] = {
      {"yes 'a line of text' | head -c 104857600", "a line of text\n"},
      {"head -c 104857600 /dev/zero | tr '\\0' x", "x"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.command);
    const std::string text = output(row.command);
    ASSERT_EQ(kSize, text.size());
    EXPECT_EQ(0, text.compare(0, row.line.size(), row.line));
    // A string that equals itself shifted by a line repeats that line throughout.
    EXPECT_EQ(0, std::memcmp(text.data(), text.data() + row.line.size(), kSize - row.line.size()));
  }
}

TEST(ExecResultSystem, TakesNothingFrom100MiBOfNuls) {
  EXPECT_EQ("", output("head -c 104857600 /dev/zero"));
  EXPECT_EQ("end", output("head -c 104857598 /dev/zero; printf '\\nend'"));
}

TEST(CommandSystem, FailsWithoutAShell) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNS);
    const std::string shell = std::filesystem::canonical("/bin/sh");
    replaceFile(shell, "", 0644);
    EXPECT_EQ(-1, VexaCommonUtils::system("exit 0"));
    EXPECT_EQ(-1, VexaCommonUtils_i::execve_s("exit 0"));
    EXPECT_EQ(nullptr, VexaCommonUtils_i::pipeline_s("exit 0"));
    EXPECT_EQ("", output("echo x"));
    EXPECT_EQ(0, VexaCommonUtils_i::runCommand("true", true, true)) << "needs no shell";
  });
}

TEST(CommandSystem, IsNotStartedWithoutTheNullDevice) {
  runInChild([] {
    enterNamespaces(CLONE_NEWNS);
    const TempDir directory;
    mountTmpfs("/dev");
    CapturedOutput standardOutput(1);
    const std::string touch = "touch " + (directory / "started");
    EXPECT_EQ(-1, VexaCommonUtils_i::runCommand(touch.c_str(), true, true));
    EXPECT_EQ("", standardOutput.stop());
    EXPECT_FALSE(std::filesystem::exists(directory / "started"));
  });
}

TEST(CommandSystem, InheritsTheOutputsUnlessTheOperationRedirectsThem) {
  runInChild([] {
    CapturedOutput standardOutput(1);
    CapturedOutput standardError(2);
    char name[] = "sh";
    char option[] = "-c";
    char script[] = "echo vector; echo vector >&2";
    char* const arguments[] = {name, option, script, nullptr};
    EXPECT_EQ(0, VexaCommonUtils::system("echo system; echo system >&2"));
    EXPECT_EQ(0, VexaCommonUtils_i::runCommand("/bin/sh", arguments));
    EXPECT_EQ(0, VexaCommonUtils_i::runCommand("sh -c 'echo line; echo line >&2'", true, true));
    EXPECT_EQ("captured\n", output("echo captured; echo captured >&2"));
    EXPECT_EQ("system\nvector\ncaptured\n", standardError.stop());
    EXPECT_EQ("system\nvector\n", standardOutput.stop());
  });
}
