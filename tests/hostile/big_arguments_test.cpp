// Strings of 2 and 4 GiB: their sizes exceed a signed and an unsigned 32-bit number. Each operation
// takes all of them, or refuses them, or takes what its limit allows.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <netinet/in.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ios>
#include <list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "ArgsOptions.h"
#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaLocks.h"
#include "VexaNetUtils.h"
#include "VexaStringUtils.h"
#include "VexaWideIO.h"
#include "support/fixtures.h"
#include "support/lock_holder.h"

namespace {

namespace fs = std::filesystem;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;
using Lib = VexaCommonUtils;
using Lib_i = VexaCommonUtils_i;

constexpr std::size_t kGiB = std::size_t{1} << 30;
constexpr std::size_t kNeeded = 18 * kGiB;
constexpr int kRead = std::ios::in;
constexpr int kWrite = std::ios::out;

/// Returns the memory that this machine can give without swapping.
std::size_t availableMemory() {
  std::ifstream lines("/proc/meminfo");
  std::string name;
  std::size_t kibibytes = 0;
  std::string unit;
  while (lines >> name >> kibibytes >> unit) {
    if (name == "MemAvailable:") return kibibytes * 1024;
  }
  return 0;
}

/// `text`, whose size stays, becomes letters "a", then a "b" that shows what a result omits.
void fill(std::string& text) {
  std::fill(text.begin(), text.end(), 'a');
  text.back() = 'b';
}

// Comparisons without gtest's messages, which would hold the strings.
bool isSame(std::string_view one, std::string_view other) { return one == other; }

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

/// What an operation does with a string of `fill`, which may change.
struct Row {
  const char* name;
  std::function<void(std::string& text)> check;
};

using Transform = std::function<std::string(const std::string& text)>;

/// A row of an operation that returns its argument.
Row unchanged(const char* name, const Transform& transform) {
  return {name, [transform](std::string& text) { EXPECT_TRUE(isSame(text, transform(text))); }};
}

/// A row of an operation that returns "".
Row emptied(const char* name, const Transform& transform) {
  return {name, [transform](std::string& text) { EXPECT_EQ(0U, transform(text).size()); }};
}

/// A row of an operation that fails with `result`.
Row fails(const char* name, int result, const std::function<int(const std::string& text)>& call) {
  return {name, [result, call](std::string& text) { EXPECT_EQ(result, call(text)); }};
}

using Rows = std::vector<Row>;

class BigArguments : public ::testing::TestWithParam<int> {
 protected:
  static void SetUpTestSuite() {
    ASSERT_LE(kNeeded, availableMemory())
        << "These tests need " << kNeeded / kGiB << " GiB of available memory.";
    // Freed blocks are used again: the kernel would clear new ones.
    ::mallopt(M_MMAP_MAX, 0);
    ::mallopt(M_TRIM_THRESHOLD, -1);
  }

  static void check(const Rows& rows) {
    std::string text(std::size_t{1} << GetParam(), '\0');
    for (const Row& row : rows) {
      SCOPED_TRACE(row.name);
      const std::size_t size = text.size();
      fill(text);
      row.check(text);
      text.resize(size);
    }
  }
};

TEST_P(BigArguments, AreTrimmedAndSplit) {
  check({
      unchanged("Vexaltrim", [](std::string s) { return Lib::Vexaltrim(s); }),
      unchanged("Vexatrim", [](std::string s) { return Lib::Vexatrim(s); }),
      unchanged("VexatrimAll", [](const std::string& s) { return Lib_i::VexatrimAll(s, " \t"); }),
      unchanged("trimString", [](const std::string& s) { return Lib_i::trimString(s, " \t"); }),
      {"trimmed of nearly all", [](std::string& s) { EXPECT_EQ("b", Lib_i::VexatrimAll(s, "a")); }},
      {"split at the end",
       [](std::string& s) {
         s[s.size() - 2] = ',';
         std::list<std::string> tokens;
         Lib::split(s, ",", tokens);
         ASSERT_EQ(2U, tokens.size());
         EXPECT_EQ(s.size() - 2, tokens.front().size());
         EXPECT_EQ("b", tokens.back());
       }},
      {"splitAll, a vector",
       [](std::string& s) {
         std::vector<std::string> tokens;
         EXPECT_EQ(1U, Lib::splitAll(s, ",", tokens));
         EXPECT_EQ(1024U, tokens.at(0).size());
       }},
      {"splitAll, a set",
       [](std::string& s) {
         std::set<std::string> tokens;
         Lib_i::splitAll(s, ",", tokens);
         ASSERT_EQ(1U, tokens.size());
         EXPECT_EQ(1024U, tokens.begin()->size());
       }},
      emptied("tabs", [](const std::string& s) { return Lib::tabs(s); }),
  });
}

TEST_P(BigArguments, AreReplacedAndReversed) {
  check({
      {"Vexareverse",
       [](std::string& s) {
         const std::string reversed = Lib::Vexareverse(s);
         EXPECT_EQ(s.size(), reversed.size());
         EXPECT_EQ('b', reversed.front());
         EXPECT_EQ('a', reversed.back());
       }},
      {"Vexareplace",
       [](std::string& s) {
         const std::size_t size = s.size();
         std::string from = "b";
         std::string to = "cc";
         EXPECT_EQ(size + 1, Lib::Vexareplace(s, from, to).size());
         EXPECT_TRUE(endsWith(s, "acc"));
       }},
      {"stringReplace",
       [](std::string& s) {
         const std::size_t size = s.size();
         Lib::stringReplace("b", "cc", s);
         EXPECT_EQ(size + 1, s.size());
         EXPECT_TRUE(endsWith(s, "acc"));
       }},
      {"stringReplace of each byte",
       [](std::string& s) {
         const std::size_t size = s.size();
         Lib::stringReplace("a", "c", s);
         EXPECT_EQ(size, s.size());
         EXPECT_EQ(size - 1, static_cast<std::size_t>(std::count(s.begin(), s.end(), 'c')));
       }},
      {"ReplaceChar",
       [](std::string& s) {
         const std::string replaced = ReplaceChar(s, 'b', "cc");
         EXPECT_EQ(s.size() + 1, replaced.size());
         EXPECT_TRUE(endsWith(replaced, "acc"));
       }},
      {"ToUpper",
       [](std::string& s) {
         const std::string upper = ToUpper(s);
         EXPECT_EQ(s.size() - 1,
                   static_cast<std::size_t>(std::count(upper.begin(), upper.end(), 'A')));
         EXPECT_EQ('B', upper.back());
       }},
      {"ToUpperEx",
       [](std::string& s) {
         ToUpperEx(s);
         EXPECT_EQ(s.size() - 1, static_cast<std::size_t>(std::count(s.begin(), s.end(), 'A')));
         EXPECT_EQ('B', s.back());
       }},
  });
}

TEST_P(BigArguments, AreClassified) {
  check({
      {"StringIsRight",
       [](std::string& s) {
         EXPECT_TRUE(StringIsRight(s));
         s.back() = 'g';
         EXPECT_FALSE(StringIsRight(s));
       }},
      {"Isdigitstr",
       [](std::string& s) {
         std::fill(s.begin(), s.end(), '1');
         EXPECT_TRUE(Lib_i::Isdigitstr(s));
         s.back() = 'b';
         EXPECT_FALSE(Lib_i::Isdigitstr(s));
       }},
      {"StrHexToInt",
       [](std::string& s) {
         std::fill(s.begin(), s.end() - 2, '0');
         s.replace(s.size() - 2, 2, "ff");
         EXPECT_EQ("255", StrHexToInt(s));
         s.back() = 'g';
         EXPECT_EQ("", StrHexToInt(s));
       }},
      {"isSafeFileName",
       [](std::string& s) {
         EXPECT_TRUE(Lib_i::isSafeFileName(s));
         s.back() = ';';
         EXPECT_FALSE(Lib_i::isSafeFileName(s));
       }},
      {"checkUnSafeStr",
       [](std::string& s) {
         const TempDir directory;
         directory.write("conf/secure.cfg", "[UnsafeWord]\nword=ab\n");
         const ScopedEnv common("COMMON_LIB_PATH", directory.path().string());
         EXPECT_FALSE(Lib_i::checkUnSafeStr(s));
         s.back() = 'c';
         EXPECT_TRUE(Lib_i::checkUnSafeStr(s));
       }},
      {"checkPath", [](std::string& s) { EXPECT_FALSE(Lib::checkPath(s, "/")); }},
      {"checkPath, the base", [](std::string& s) { EXPECT_FALSE(Lib::checkPath("/a", s)); }},
  });
}

TEST_P(BigArguments, AreExpandedAndEscaped) {
  check({
      unchanged("replaceEnvVar", [](const std::string& s) { return Lib::replaceEnvVar(s); }),
      unchanged("replEnvVar", [](const std::string& s) { return Lib::replEnvVar(s); }),
      unchanged("VexareplaceEnvVar", &Lib_i::VexareplaceEnvVar),
      unchanged("VexareplaceMacroVar", &Lib_i::VexareplaceMacroVar),
      {"replaceEnvVar at the end",
       [](std::string& s) {
         const ScopedEnv variable("V", "value");
         s.replace(s.size() - 4, 4, "$(V)");
         const std::string expanded = Lib::replaceEnvVar(s);
         EXPECT_EQ(s.size() + 1, expanded.size());
         EXPECT_TRUE(endsWith(expanded, "avalue"));
       }},
      emptied("Vexagetenv", [](const std::string& s) { return Lib::Vexagetenv(s.c_str()); }),
      {"transDBUpdateString",
       [](std::string& s) {
         s.back() = '\'';
         const std::string doubled = Lib::transDBUpdateString(s);
         EXPECT_EQ(s.size() + 1, doubled.size());
         EXPECT_TRUE(endsWith(doubled, "a''"));
       }},
      {"transDBSearchString",
       [](std::string& s) {
         s.back() = '%';
         const std::string escaped = Lib::transDBSearchString(s);
         EXPECT_EQ(s.size() + 2, escaped.size());
         EXPECT_TRUE(endsWith(escaped, "a[%]"));
       }},
      unchanged("TransferLikeSqlForSybAndMSSQL", &Lib::TransferLikeSqlForSybAndMSSQL),
      {"TransferLikeSql",
       [](std::string& s) {
         const std::string operand = Lib_i::TransferLikeSql(s, Vexacommon::FUZZY_QUERY_BOTH);
         EXPECT_EQ(s.size() + 4, operand.size());
         EXPECT_TRUE(endsWith(operand, "ab%'"));
       }},
      {"specialName2FileName",
       [](std::string& s) {
         s.back() = ':';
         const std::string name = Lib::specialName2FileName(s);
         EXPECT_EQ(s.size() + 1, name.size());
         EXPECT_TRUE(endsWith(name, "a^c"));
       }},
      {"fileName2SpecialName",
       [](std::string& s) {
         s.replace(s.size() - 2, 2, "^c");
         const std::string name = Lib::fileName2SpecialName(s);
         EXPECT_EQ(s.size() - 1, name.size());
         EXPECT_TRUE(endsWith(name, "a:"));
       }},
  });
}

TEST_P(BigArguments, AreConverted) {
  check({
      unchanged("LOC2UTF8", [](const std::string& s) { return Lib::LOC2UTF8(s.c_str()); }),
      unchanged("UTF8TOLOC", [](const std::string& s) { return Lib::UTF8TOLOC(s.c_str()); }),
      {"base64Decode, whose length is a 32-bit number",
       [](std::string& s) {
         const std::size_t length = s.size() == 4 * kGiB ? 0 : s.size();
         EXPECT_EQ(length / 4 * 3, Lib::base64Decode(s).size());
         EXPECT_EQ(length / 4 * 3, Lib_i::decodeData(s).size());
       }},
  });
}

// 4 GiB of wide characters would take 16 GiB.
TEST(BigWideArguments, OfTwoGibibytesAreWidenedButNotNarrowed) {
  std::string text(2 * kGiB, '\0');
  fill(text);
  const std::wstring wide = Lib::STR2WSTR(text);
  EXPECT_EQ(text.size(), wide.size());
  EXPECT_EQ(L'b', wide.back());
  text = {};
  // As a signed 32-bit number, the length is negative.
  EXPECT_EQ(0U, Lib::WSTR2STR(wide.c_str()).size());
}

TEST(BigData, OfTwoGibibytesIsEncoded) {
  const std::string data(2 * kGiB, '\0');
  const std::string text = Lib_i::encodeData(data.data(), static_cast<unsigned int>(data.size()));
  EXPECT_EQ((data.size() + 2) / 3 * 4, text.size());
  EXPECT_TRUE(endsWith(text, "AAA="));
}

TEST_P(BigArguments, NameNoFile) {
  check({
      fails("readFile", 1,
            [](const std::string& s) {
              std::string content = "before";
              const int result = Lib::readFile(s, content);
              EXPECT_EQ("before", content);
              return result;
            }),
      fails("copyFile, the target", -1,
            [](const std::string& s) { return Lib_i::copyFile("/dev/null", s, false, false); }),
      fails("copyFile, the source", -1,
            [](const std::string& s) { return Lib_i::copyFile(s, "/dev/null", false, false); }),
      fails("getFilesByDir", -1,
            [](const std::string& s) {
              std::list<std::string> files;
              return Lib::getFilesByDir(s, "", files);
            }),
      {"getFilesByDir, the pattern",
       [](std::string& s) {
         const TempDir directory;
         directory.write("file", "");
         std::list<std::string> files;
         EXPECT_EQ(0, Lib::getFilesByDir(directory.path().string(), s, files));
         EXPECT_TRUE(files.empty());
       }},
      {"mkdir_all",
       [](std::string& s) {
         runInChild([&s] {
           const TempDir directory;
           ASSERT_EQ(0, ::chdir(directory.path().c_str()));
           Lib::mkdir_all(s);
           EXPECT_TRUE(fs::is_empty(directory.path()));
         });
       }},
      {"getParentDirectory",
       [](std::string& s) {
         std::string name;
         EXPECT_EQ(fs::current_path().string(), Lib_i::getParentDirectory(s, name));
         EXPECT_TRUE(isSame(s, name));
         s[s.size() - 2] = '/';
         EXPECT_EQ("", Lib_i::getParentDirectory(s, name));
         EXPECT_EQ("b", name);
       }},
      {"EnterProcessMutex",
       [](std::string& s) {
         const TempDir share;
         const ScopedEnv variable("_APP_SHARE_DIR", share.path().string());
         VexaProcessLock lock(s, "/");
         lock.SetOutputType(OUTPUT_TYPE_SILENT);
         EXPECT_EQ(-1, lock.EnterProcessMutex());
         VexaProcessLock below("backup", s);
         below.SetOutputType(OUTPUT_TYPE_SILENT);
         EXPECT_EQ(-1, below.EnterProcessMutex());
         EXPECT_TRUE(fs::is_empty(share.path()));
       }},
      {"Vexawofstream::open",
       [](std::string& s) {
         Vexawofstream stream;
         stream.open(s.c_str(), kWrite);
         EXPECT_FALSE(stream.isValid());
       }},
  });
}

TEST_P(BigArguments, NameNoSetting) {
  check({
      {"getConfFile",
       [](std::string& s) {
         const std::string path = Lib_i::getConfFile(s);
         EXPECT_TRUE(endsWith(path, s));
         EXPECT_TRUE(endsWith(std::string_view(path).substr(0, path.size() - s.size()), "/conf/"));
       }},
      {"get_svc_ssl_conf",
       [](std::string& s) {
         EXPECT_TRUE(isSame(Lib_i::getConfFile(s), Lib_i::get_svc_ssl_conf(s)));
       }},
      {"getSettingParamValue",
       [](std::string& s) {
         std::string value;
         EXPECT_NE(0, Lib_i::getSettingParamValue(s, value));
       }},
      {"getSettingGroupParams",
       [](std::string& s) {
         std::map<std::string, std::string> params;
         EXPECT_NE(0, Lib_i::getSettingGroupParams(s, params));
       }},
      {"GetSetParamValue",
       [](std::string& s) {
         std::string value;
         EXPECT_FALSE(Lib_i::GetSetParamValue(s, s, value));
       }},
  });
}

TEST_P(BigArguments, AreNoAddresses) {
  check({
      {"isValidIP", [](std::string& s) { EXPECT_FALSE(Lib::isValidIP(s)); }},
      {"CheckIp, without a limit",
       [](std::string& s) {
         EXPECT_FALSE(CheckIp(s.c_str()));
         std::fill(s.begin(), s.end(), '1');
         s.replace(0, 6, "1.1.1.");
         EXPECT_TRUE(CheckIp(s.c_str()));
         std::vector<unsigned char> octets;
         EXPECT_EQ(-1, Lib_i::validateIPv4(s, octets));
         EXPECT_EQ(3U, octets.size());
         EXPECT_FALSE(Lib::isValidIP(s));
       }},
      {"formatStringIP",
       [](std::string& s) {
         EXPECT_EQ(0, Lib_i::formatStringIP(s));
         EXPECT_TRUE(endsWith(s, "ab"));
       }},
      {"formatStringIP_DNS",
       [](std::string& s) {
         EXPECT_EQ(0, Lib_i::formatStringIP_DNS(s));
         EXPECT_TRUE(endsWith(s, "ab"));
       }},
      {"FullNameIp",
       [](std::string& s) {
         const std::size_t size = s.size();
         FullNameIp(s);
         EXPECT_EQ(size, s.size());
         s.replace(size - 2, 2, "::");
         FullNameIp(s);
         EXPECT_TRUE(endsWith(s, "a:0:0:0:0:0:0:0"));
       }},
      fails("TrimStringIp", -1, [](std::string s) { return TrimStringIp(s.data(), INT_MAX); }),
      fails("stringIPToAddress", 0,
            [](const std::string& s) {
              sockaddr_in address{};
              return Lib_i::stringIPToAddress(AF_INET, s.c_str(), &address, sizeof address);
            }),
      fails("getIPbyHostname", -1,
            [](const std::string& s) {
              std::string ip = "before";
              const int result = Lib::getIPbyHostname(s, ip);
              EXPECT_EQ("", ip);
              return result;
            }),
      fails("getHostnamebyIP", -1,
            [](const std::string& s) {
              std::string name = "before";
              const int result = Lib::getHostnamebyIP(s, name);
              EXPECT_EQ("", name);
              return result;
            }),
  });
}

TEST_P(BigArguments, AreOnNoInterface) {
  check({
      fails("getNetmaskByIP", -1,
            [](std::string s) {
              std::string netmask;
              return Lib::getNetmaskByIP(s, netmask);
            }),
      fails("GetNetmaskByIpUseioctl", -1,
            [](const std::string& s) {
              std::string netmask;
              return GetNetmaskByIpUseioctl(s, netmask);
            }),
      fails("GetNetmaskByIpUseifconfig", -1,
            [](const std::string& s) {
              std::string netmask;
              return GetNetmaskByIpUseifconfig(s, netmask);
            }),
      fails("getInterfaceOfIPV6", -1,
            [](std::string s) {
              std::string name;
              return Lib_i::getInterfaceOfIPV6(s, name);
            }),
      fails("getMacAddrOfIPV6", -1,
            [](std::string s) {
              Vexacommon::LocalMACAddress mac{};
              return Lib_i::getMacAddrOfIPV6(s, &mac);
            }),
      fails("GetEther", -1,
            [](const std::string& s) {
              Vexacommon::LocalMACAddress mac{};
              return GetEther(s, &mac);
            }),
      fails("GetZirelEther", -1,
            [](const std::string& s) {
              Vexacommon::LocalMACAddress mac{};
              return GetZirelEther(s, &mac);
            }),
      {"GetMac",
       [](std::string& s) {
         std::string name;
         GetMac(s, name);
         EXPECT_EQ(0U, name.size());
         s.back() = ':';
         GetMac(s, name);
         EXPECT_EQ(s.size() - 1, name.size());
       }},
      {"GetInet6Address",
       [](std::string& s) {
         std::string address;
         s.back() = '/';
         GetInet6Address(s, address);
         EXPECT_EQ(s.size() - 1, address.size());
       }},
  });
}

TEST_P(BigArguments, AreNoUsers) {
  check({
      {"securityGetpwnam",
       [](std::string& s) {
         passwd entry{};
         std::array<char, 1024> buffer{};
         EXPECT_FALSE(Lib_i::securityGetpwnam(s, entry, buffer.data(), buffer.size()));
       }},
  });
}

int runProgram(const char* path, const char* argument) {
  const std::array<const char*, 3> arguments{"program", argument, nullptr};
  return Lib_i::runCommand(path, const_cast<char* const*>(arguments.data()));
}

TEST_P(BigArguments, AreNoCommands) {
  check({
      {"system",
       [](std::string& s) {
         runInChild([&s] {
           EXPECT_EQ(-1, Lib::system(s.c_str()));
           EXPECT_EQ(-1, Lib_i::execve_s(s.c_str()));
         });
       }},
      fails("runCommand, a program", ENAMETOOLONG,
            [](const std::string& s) { return runProgram(s.c_str(), nullptr); }),
      fails("runCommand, an argument", E2BIG,
            [](const std::string& s) { return runProgram("/bin/true", s.c_str()); }),
      {"runCommand, a line that is cut",
       [](std::string& s) {
         s.replace(0, 10, "/bin/true ");
         EXPECT_EQ(0, Lib_i::runCommand(s.c_str(), true, false));
       }},
      {"pipeline_s", [](std::string& s) { EXPECT_EQ(nullptr, Lib_i::pipeline_s(s.c_str())); }},
      {"getSystemExecResult",
       [](std::string& s) {
         std::string output = "before";
         EXPECT_EQ(-1, Lib_i::getSystemExecResult(s.c_str(), output));
         EXPECT_EQ("", output);
       }},
      fails("getProcessCPUAndMem", 0,
            [](const std::string& s) {
              unsigned int cpu = 0;
              unsigned int memory = 0;
              return Lib::getProcessCPUAndMem(s, cpu, memory);
            }),
  });
}

std::string optionOf(const std::string& text) {
  const std::array<const char*, 3> words{"program", "-o", text.c_str()};
  return ArgsOptions(static_cast<int>(words.size()), const_cast<char**>(words.data()))
      .getOption("-o");
}

TEST_P(BigArguments, AreOptionsAndMessages) {
  check({
      unchanged("getOption", &optionOf),
      {"getFlags",
       [](std::string& s) {
         s.front() = '-';
         const std::array<const char*, 2> words{"program", s.c_str()};
         const ArgsOptions options(static_cast<int>(words.size()),
                                   const_cast<char**>(words.data()));
         EXPECT_TRUE(options.hasOption(s));
         EXPECT_TRUE(isSame(s, options.getFlags().front()));
       }},
      {"OutputScreen",
       [](std::string& s) {
         runInChild([&s] {
           const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
           ASSERT_EQ(STDOUT_FILENO, ::dup2(null, STDOUT_FILENO));
           const VexaProcessLock lock("backup", "/");
           lock.OutputScreen(s.c_str());
         });
       }},
      {"WaitMaxTime",
       [](std::string& s) {
         const TempDir share;
         const ScopedEnv variable("_APP_SHARE_DIR", share.path().string());
         const commutil_test::LockHolder holder("backup", "/");
         VexaProcessLock lock("backup", "/");
         EXPECT_EQ(-1, lock.WaitMaxTime(3, s)) << "too long a message ends the wait";
       }},
  });
}

TEST_P(BigArguments, AreWrittenAndRead) {
  check({
      {"Vexawofstream",
       [](std::string& s) {
         Vexawofstream stream;
         stream.open("/dev/null", kWrite);
         EXPECT_LE(0, stream.put(s.c_str()));
         stream << s.c_str();
         EXPECT_EQ(s.size(), stream.write(s.data(), 1, s.size()));
         EXPECT_EQ(0, stream.fail());
       }},
      {"Vexawfstream",
       [](std::string& s) {
         Vexawfstream stream;
         stream.open("/dev/null", kWrite);
         EXPECT_LE(0, stream.put(s.c_str()));
         EXPECT_EQ(s.size(), stream.write(s.data(), s.size(), 1) * s.size());
       }},
      {"read",
       [](std::string& s) {
         Vexawifstream stream;
         stream.open("/dev/zero", kRead);
         EXPECT_EQ(s.size(), stream.read(s.data(), 1, s.size()));
         EXPECT_EQ('\0', s.back());
       }},
      {"get",
       [](std::string& s) {
         Vexawifstream stream;
         stream.open("/dev/zero", kRead);
         stream.get(s.data(), s.size());
         EXPECT_EQ(0, std::count(s.begin(), s.end(), 'a'));
       }},
  });
}

INSTANTIATE_TEST_SUITE_P(Bits, BigArguments, ::testing::Values(31, 32), [](const auto& bits) {
  return bits.param == 31 ? "OfTwoGibibytes" : "OfFourGibibytes";
});

}  // namespace
