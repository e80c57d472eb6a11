// The library's calls of popen(3), which this program replaces, with pclose(3): any stream serves
// as well as a pipe.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "support/c_library.h"

namespace {

using commutil_test::cLibrary;

struct Call {
  std::string command;
  std::string mode;

  bool operator==(const Call& other) const {
    return command == other.command && mode == other.mode;
  }
};

/// A shell whose commands print what the test sets; none is run.
struct FakeShell {
  explicit FakeShell(std::string text) : output(std::move(text)) { current = this; }
  ~FakeShell() {
    EXPECT_EQ(calls.size(), closed) << "each stream is closed once";
    current = nullptr;
  }
  FakeShell(const FakeShell&) = delete;
  FakeShell& operator=(const FakeShell&) = delete;

  std::FILE* open(const char* command, const char* mode) {
    calls.push_back({command, mode});
    if (opens) return opens();
    return output.empty() ? std::fopen("/dev/null", "r+")
                          : ::fmemopen(output.data(), output.size(), mode);
  }

  static FakeShell* current;
  std::string output;
  std::function<std::FILE*()> opens;  // opens this instead of a stream with the output
  std::function<int(std::FILE*)> closes;
  std::vector<Call> calls;
  std::size_t closed = 0;
};

FakeShell* FakeShell::current = nullptr;

}  // namespace

extern "C" {

std::FILE* popen(const char* command, const char* mode) {
  if (FakeShell::current != nullptr) return FakeShell::current->open(command, mode);
  return cLibrary<std::FILE*(const char*, const char*)>("popen")(command, mode);
}

int pclose(std::FILE* stream) {
  if (FakeShell::current == nullptr) return cLibrary<int(std::FILE*)>("pclose")(stream);
  ++FakeShell::current->closed;
  if (FakeShell::current->closes) return FakeShell::current->closes(stream);
  return std::fclose(stream) == 0 ? 0 : -1;
}
}

namespace {

using Calls = std::vector<Call>;

TEST(CommandCalls, SystemOpensAPipeToWrite) {
  FakeShell shell("");
  EXPECT_EQ(0, VexaCommonUtils::system("a command"));
  EXPECT_EQ((Calls{{"a command", "w"}}), shell.calls);
}

TEST(CommandCalls, SystemReturnsWhatClosingReturns) {
  struct Case {
    int result;
    int error;
    int expected;
  };
  for (const Case& row : {Case{-1, ECHILD, 0}, Case{-1, EINTR, -1}, Case{-1, EIO, -1},
                          Case{256, 0, 256}, Case{9, 0, 9}}) {
    SCOPED_TRACE(row.error);
    char place = 0;
    auto* const stream = reinterpret_cast<std::FILE*>(&place);  // is passed on, never used
    FakeShell shell("");
    shell.opens = [stream] { return stream; };
    shell.closes = [&row, stream](std::FILE* closed) {
      EXPECT_EQ(stream, closed);
      errno = row.error;
      return row.result;
    };
    EXPECT_EQ(row.expected, VexaCommonUtils::system("a command"));
  }
}

/// A stream whose reads return these pieces, or an error number instead of one.
struct Reads {
  struct Read {
    std::string text;
    int error = 0;
  };

  std::FILE* open() { return ::fopencookie(this, "r", {&Reads::read, nullptr, nullptr, nullptr}); }
  static ssize_t read(void* cookie, char* data, std::size_t size) {
    auto& self = *static_cast<Reads*>(cookie);
    if (self.next == self.reads.size() && !self.failsForEver) return 0;
    const Read read = self.failsForEver && self.next == self.reads.size() ? Read{"", EIO}
                                                                          : self.reads[self.next++];
    if (read.error != 0) {
      errno = read.error;
      return -1;
    }
    EXPECT_LE(read.text.size(), size);
    return static_cast<ssize_t>(read.text.copy(data, size));
  }

  std::vector<Read> reads;
  bool failsForEver = false;
  std::size_t next = 0;
};

TEST(CommandCalls, ExecResultTriesAgainAfterAReadThatFailed) {
  for (const int error : {EAGAIN, EINTR, EIO}) {
    SCOPED_TRACE(error);
    Reads stream{{{"one\n"}, {"", error}, {"", error}, {"two\n"}, {"", error}, {"three"}}};
    FakeShell shell("");
    shell.opens = [&stream] { return stream.open(); };
    std::string result;
    EXPECT_EQ(0, VexaCommonUtils_i::getSystemExecResult("a command", result));
    EXPECT_EQ("one\ntwo\nthree", result);
  }
}

TEST(CommandCalls, ExecResultOutlastsAnyNumberOfInterruptedReads) {
  Reads stream{{{"one\n"}}};
  stream.reads.insert(stream.reads.end(), 5000, {"", EINTR});
  stream.reads.push_back({"two\n"});
  FakeShell shell("");
  shell.opens = [&stream] { return stream.open(); };
  std::string result;
  EXPECT_EQ(0, VexaCommonUtils_i::getSystemExecResult("a command", result));
  EXPECT_EQ("one\ntwo\n", result);
}

TEST(CommandCalls, ExecResultRestartsItsCountOfFailedReadsAfterData) {
  Reads stream;
  for (int round = 0; round < 5; ++round) {
    stream.reads.push_back({"line\n"});
    stream.reads.insert(stream.reads.end(), 900, {"", EIO});
  }
  FakeShell shell("");
  shell.opens = [&stream] { return stream.open(); };
  std::string result;
  EXPECT_EQ(0, VexaCommonUtils_i::getSystemExecResult("a command", result));
  EXPECT_EQ("line\nline\nline\nline\nline\n", result);
}

TEST(CommandCalls, ExecResultEndsAfterManyFailedReads) {
  Reads stream{{{"one\n"}}, true};
  FakeShell shell("");
  shell.opens = [&stream] { return stream.open(); };
  std::string result;
  EXPECT_EQ(0, VexaCommonUtils_i::getSystemExecResult("a command", result));
  EXPECT_EQ("one\n", result);
}

TEST(CommandCalls, ExecResultCountsFailedReadsInARowOnly) {
  constexpr std::size_t kAlmostTooMany = 999;
  Reads stream;
  for (const char* const text : {"one ", "two ", "three"}) {
    stream.reads.push_back({text});
    stream.reads.insert(stream.reads.end(), kAlmostTooMany, {"", EIO});
  }
  stream.reads.push_back({" and the end"});
  FakeShell shell("");
  shell.opens = [&stream] { return stream.open(); };
  std::string result;
  EXPECT_EQ(0, VexaCommonUtils_i::getSystemExecResult("a command", result));
  EXPECT_EQ("one two three and the end", result);
}

TEST(CommandCalls, ExecResultCountsNoFailureOfAReadThatSucceeded) {
  Reads stream{{{"", EIO}}};
  stream.reads.insert(stream.reads.end(), 16, {std::string(4096, 'x')});  // fills the read's block
  stream.reads.insert(stream.reads.end(), 999, {"", EIO});
  stream.reads.push_back({"end"});
  FakeShell shell("");
  shell.opens = [&stream] { return stream.open(); };
  std::string result;
  EXPECT_EQ(0, VexaCommonUtils_i::getSystemExecResult("a command", result));
  EXPECT_TRUE(std::string(65536, 'x') + "end" == result) << result.size() << " bytes";
}

TEST(CommandCalls, ExecResultCutsAtANulAcrossReads) {
  struct Case {
    std::size_t before;    // bytes of the read before the NUL, which begins the next piece
    const char* expected;  // what remains of "abc", in pieces of 127 bytes
  };
  for (const Case& row : {Case{124, "c\n"}, Case{125, "bc\n"}, Case{126, "abc\n"}, Case{127, ""},
                          Case{128, ""}, Case{2 * 127 - 1, "abc\n"}, Case{2 * 127, ""}}) {
    SCOPED_TRACE(row.before);
    const std::string before(row.before, 'x');
    Reads stream{{{before}, {"", EINTR}, {std::string("\0abc\n", 5)}, {"", EINTR}, {"next\n"}}};
    FakeShell shell("");
    shell.opens = [&stream] { return stream.open(); };
    std::string result;
    EXPECT_EQ(0, VexaCommonUtils_i::getSystemExecResult("a command", result));
    EXPECT_EQ(before + row.expected + "next\n", result);
  }
}

TEST(CommandCalls, ExecResultReadsAnyStream) {
  for (const std::string& output : {std::string("one\n two\n"), std::string(1000, 'x'),
                                    std::string(200'000, 'x'), std::string("x\0y\nz", 5)}) {
    FakeShell shell(output);
    std::string result = "junk";
    EXPECT_EQ(0, VexaCommonUtils_i::getSystemExecResult("a command", result));
    const std::size_t nul = output.find('\0');
    EXPECT_EQ(nul == std::string::npos ? output : "xz", result);
    EXPECT_EQ((Calls{{"a command", "r"}}), shell.calls);
  }
}

TEST(CommandCalls, ExecResultFailsOnAnEmptyStream) {
  FakeShell shell("");
  std::string result = "junk";
  EXPECT_EQ(-1, VexaCommonUtils_i::getSystemExecResult("a command", result));
  EXPECT_EQ("", result);
}

TEST(CommandCalls, PipelineOpensAPipeToRead) {
  FakeShell shell("line\n");
  std::FILE* const stream = VexaCommonUtils_i::pipeline_s("a command");
  ASSERT_NE(nullptr, stream);
  EXPECT_EQ(0, VexaCommonUtils_i::pclose_s(stream));
  EXPECT_EQ((Calls{{"a command", "r"}}), shell.calls);
}

TEST(CommandCalls, NetmaskComesFromTheToolsStream) {
  FakeShell shell("inet 10.1.2.3  netmask 255.255.0.0\n");
  std::string netmask;
  EXPECT_EQ(0, GetNetmaskByIpUseifconfig("10.1.2.3", netmask));
  EXPECT_EQ("255.255.0.0", netmask);
  EXPECT_EQ((Calls{{"ifconfig -a | grep '10.1.2.3'", "r"}}), shell.calls);
}

TEST(CommandCalls, MacComesFromTheToolsStream) {
  FakeShell shell("eth0: flags=1\n inet6 fe80::1 x\n ether 00:0c:29:ab:cd:ef\n");
  Vexacommon::LocalMACAddress mac{};
  EXPECT_EQ(0, VexaCommonUtils_i::getZirelMacAddrOfIPV6("fe80:0:0:0:0:0:0:1", &mac));
  EXPECT_EQ(0xef, mac.mac[5]);
  EXPECT_EQ((Calls{{"/usr/sbin/ifconfig -a", "r"}}), shell.calls);
}

TEST(CommandCalls, MacOutlastsInterruptedReads) {
  Reads stream{{{"eth0: flags=1\n inet6 fe80::1 x\n eth"}, {"", EINTR}, {"", EINTR}}};
  stream.reads.push_back({"er 00:0c:29:ab:cd:ef\n"});
  FakeShell shell("");
  shell.opens = [&stream] { return stream.open(); };
  Vexacommon::LocalMACAddress mac{};
  EXPECT_EQ(0, VexaCommonUtils_i::getZirelMacAddrOfIPV6("fe80:0:0:0:0:0:0:1", &mac));
  EXPECT_EQ(0xef, mac.mac[5]);
}

TEST(CommandCalls, MacEndsWhereTheStreamFails) {
  Reads stream{{{"eth0: flags=1\n inet6 fe80::1 x\n eth"}, {"", EIO}}};
  stream.reads.push_back({"er 00:0c:29:ab:cd:ef\n"});
  FakeShell shell("");
  shell.opens = [&stream] { return stream.open(); };
  Vexacommon::LocalMACAddress mac{};
  EXPECT_EQ(-1, VexaCommonUtils_i::getZirelMacAddrOfIPV6("fe80:0:0:0:0:0:0:1", &mac));
}

TEST(CommandCalls, SessionDetailsRunThreeTools) {
  FakeShell shell(" joe (10.0.0.1)\n");
  std::string user;
  std::string address;
  EXPECT_EQ(0, VexaCommonUtils::getSessionDetails(user, address));
  EXPECT_EQ("joe (10.0.0.1)", user);
  EXPECT_EQ("(10.0.0.1)", address);
  EXPECT_EQ((Calls{{"/usr/bin/tty", "r"}, {"/usr/bin/whoami", "r"}, {"/usr/bin/who -m", "r"}}),
            shell.calls);
}

}  // namespace
