#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "net/fake_kernel.h"
#include "support/fixtures.h"

using commutil_test::allBytes;
using commutil_test::FakeKernel;
using commutil_test::interfaceRecord;
using commutil_test::openDescriptors;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

// A sanitizer needs its own malloc.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define COMMUTIL_FAILING_MALLOC
static std::size_t failingMallocSize = 0;
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* malloc(std::size_t size) noexcept {
  return size > 0 && size == failingMallocSize ? nullptr : __libc_malloc(size);
}
#endif

namespace {

constexpr unsigned long kListRequest = 35090;
constexpr unsigned long kNetmaskRequest = 35099;
constexpr const char* kJunk = "junk";

/// Fakes for "ifconfig" and "grep": the pipeline prints the file "output", and each tool writes its
/// arguments to a file of its name with ".args".
class ToolOutput {
 public:
  explicit ToolOutput(std::string_view output) : m_path("PATH", m_dir.path().string()) {
    m_dir.write("output", output);
    addTool("ifconfig", "");
    addTool("grep", "/bin/cat >/dev/null; /bin/cat '" + m_dir / "output" + "'\n");
  }

  /// Returns the arguments of the tool, one per line; "" if it did not run.
  std::string arguments(const std::string& tool) const {
    const std::string path = m_dir / (tool + ".args");
    return std::filesystem::exists(path) ? commutil_test::readFile(path) : "";
  }

 private:
  void addTool(const std::string& name, const std::string& body) const {
    const std::string path = m_dir.write(
        name, "#!/bin/sh\nprintf '%s\\n' \"$@\" >'" + m_dir / (name + ".args") + "'\n" + body);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  }

  TempDir m_dir;
  ScopedEnv m_path;
};

std::vector<ifreq> manyRecords(int count) {
  std::vector<ifreq> records;
  for (int i = 1; i <= count; ++i) {
    records.push_back(interfaceRecord("eth" + std::to_string(i), "10.0.0." + std::to_string(i)));
  }
  return records;
}

/// A kernel with `records`, whose netmasks are 255.255.x.y for the address a.b.x.y.
FakeKernel::Ioctl kernelWith(std::vector<ifreq> records) {
  return [records = std::move(records)](unsigned long request, void* argument) {
    if (request == kListRequest) return commutil_test::giveRecords(records, argument);
    if (request != kNetmaskRequest) return -1;
    auto* const record = static_cast<ifreq*>(argument);
    std::memset(&record->ifr_addr.sa_data[2], 0xff, 2);
    return 0;
  };
}

}  // namespace

// The netmask from the tool's output

struct MaskCase {
  const char* name;
  std::string output;
  std::string netmask;  ///< "" if the lookup fails
};

const MaskCase kMaskCases[] = {
    {"newer form", "        inet 10.1.2.3  netmask 255.255.255.0  broadcast 10.1.2.255\n",
     "255.255.255.0"},
    {"older form", "          inet addr:10.1.2.3  Bcast:10.1.2.255  Mask:255.255.255.0\n",
     "255.255.255.0"},
    {"keyword in any case", "NetMask 255.0.0.0", "255.0.0.0"},
    {"older keyword in any case", "mASK:255.128.0.0", "255.128.0.0"},
    {"the first netmask wins", "netmask 255.0.0.0 a\n b netmask 255.255.0.0 c\n", "255.0.0.0"},
    {"the last Mask wins", " Mask:255.0.0.0 \n Mask:255.255.0.0 \n", "255.255.0.0"},
    {"a netmask ends the search", "Mask:1.1.1.1 netmask 2.2.2.2 Mask:3.3.3.3", "2.2.2.2"},
    {"a netmask ends the search before a bare Mask", "netmask 2.2.2.2 Mask:", "2.2.2.2"},
    {"the first Mask inside a field", "Mask:1.1.1.1:Mask:2.2.2.2", "1.1.1.1"},
    {"Mask after other parts", "a:b:Mask:1.1.1.1", "1.1.1.1"},
    {"empty parts are skipped", "::Mask:::1.1.1.1:", "1.1.1.1"},
    {"empty fields are skipped", "   netmask      1.1.1.1   ", "1.1.1.1"},
    {"line end trimmed", "netmask 255.0.0.0\r\n", "255.0.0.0"},
    {"tabs trimmed", "netmask \t255.0.0.0\t\r\n\n", "255.0.0.0"},
    {"older form trimmed", "Mask:\t255.0.0.0\r\n", "255.0.0.0"},
    {"a dotted value is not checked further", "netmask 999.1.1.1", "999.1.1.1"},
    {"nor for its length", "netmask 0000255.000255.000255.0000", "0000255.000255.000255.0000"},
    {"nor rewritten", "netmask .255..0.0.0.", ".255..0.0.0."},
    {"line ends stay inside a field", "Mask:255.0.0.0\nMask:255.255.0.0\n", ""},
    {"hexadecimal", "netmask ffffff00", "255.255.255.0"},
    {"hexadecimal, older form, upper case", "Mask:FFFF8000\n", "255.255.128.0"},
    {"hexadecimal, all digits", "netmask 01234567", "1.35.69.103"},
    {"hexadecimal, rest ignored", "netmask ffffff00zz", "255.255.255.0"},
    {"seven digits", "netmask fffffff", "255.255.255.15"},
    {"six characters", "netmask ffffff", "255.255.255.0"},
    {"no prefix is removed", "netmask 0xffffff00", ""},
    {"not hexadecimal", "netmask ffffffg0", ""},
    {"three fields", "netmask 255.255.0", ""},
    {"a tab inside", "netmask ff\tff00", ""},
    {"six other characters", "netmask ______", ""},
    {"text after the mask", "netmask 255.255.255.0,", ""},
    {"next keyword as value", "netmask broadcast 10.1.2.255", ""},
    {"1 MiB value", "netmask " + std::string(1 << 20, 'f'), "255.255.255.255"},
    {"1 MiB of fields", std::string(1 << 19, 'x') + std::string(1 << 19, ' ') + "Mask:1.2.3.4",
     "1.2.3.4"},
    {"all bytes but NUL", allBytes().substr(1) + " netmask 1.2.3.4", "1.2.3.4"},
};

TEST(GetNetmaskByIpUseifconfig, ReadsTheMaskFromTheToolsOutput) {
  for (const MaskCase& row : kMaskCases) {
    SCOPED_TRACE(row.name);
    const ToolOutput tools(row.output);
    std::string netmask = kJunk;
    EXPECT_EQ(row.netmask.empty() ? -1 : 0, GetNetmaskByIpUseifconfig("10.1.2.3", netmask));
    EXPECT_EQ(row.netmask, netmask);
  }
}

TEST(GetNetmaskByIpUseifconfig, AMaskBelowSixCharactersIsOutOfRange) {
  const std::vector<MaskCase> cases = {
      {"no mask at all", "inet 10.1.2.3  broadcast 10.1.2.255\n", ""},
      {"spaces only", "   ", ""},
      {"line ends only", "\n\n", ""},
      {"netmask is the last field", "inet 10.1.2.3 netmask", ""},
      {"netmask is the last field before spaces", "inet 10.1.2.3 netmask   ", ""},
      {"netmask ends a line", "inet 10.1.2.3 netmask\n", ""},
      {"an empty value", "netmask \r\n", ""},
      {"a tab between keyword and value", "netmask\t255.255.255.0", ""},
      {"bare Mask", "inet addr:10.1.2.3 Mask:", ""},
      {"Mask as a separate field", "inet addr:10.1.2.3 Mask", ""},
      {"a bare Mask clears the mask found before", "Mask:255.0.0.0 Mask:", ""},
      {"so does a trailing netmask", "Mask:255.0.0.0 netmask", ""},
      {"Mask names itself", "Mask:Mask:255.0.0.0", ""},
      {"one character", "netmask f", ""},
      {"five characters", "netmask fffff", ""},
      {"four fields, one of them empty", "netmask 1...2", ""},
      {"Mask inside a longer word", "xMask:255.0.0.0", ""},
      {"netmask inside a longer word", "netmasks 255.0.0.0", ""},
  };
  for (const MaskCase& row : cases) {
    SCOPED_TRACE(row.name);
    const ToolOutput tools(row.output);
    std::string netmask = kJunk;
    try {
      GetNetmaskByIpUseifconfig("10.1.2.3", netmask);
      ADD_FAILURE() << "no exception, mask " << netmask;
    } catch (const std::out_of_range& error) {
      EXPECT_TRUE(std::string_view(error.what()).starts_with("basic_string::substr"))
          << error.what();
    }
    EXPECT_EQ(kJunk, netmask);
  }
}

TEST(GetNetmaskByIpUseifconfig, NoOutputIsAFailure) {
  const ToolOutput tools("");
  std::string netmask = kJunk;
  EXPECT_EQ(-1, GetNetmaskByIpUseifconfig("10.1.2.3", netmask));
  EXPECT_EQ("", netmask);
}

TEST(GetNetmaskByIpUseifconfig, PassesTheAddressUnchanged) {
  for (const char* ip : {"10.1.2.3", " 10.1.2.3\t", "", "a b", "$HOME \\ \"x\" `id`", "-v", "*"}) {
    SCOPED_TRACE(ip);
    const ToolOutput tools("netmask 255.0.0.0");
    std::string netmask;
    EXPECT_EQ(0, GetNetmaskByIpUseifconfig(ip, netmask));
    EXPECT_EQ("-a\n", tools.arguments("ifconfig"));
    EXPECT_EQ(std::string(ip) + "\n", tools.arguments("grep"));
  }
}

TEST(GetNetmaskByIpUseifconfig, DoesNotEscapeTheAddress) {
  const ToolOutput tools("");
  std::string netmask;
  EXPECT_EQ(0, GetNetmaskByIpUseifconfig("x'; echo 'netmask 1.2.3.4", netmask));
  EXPECT_EQ("1.2.3.4", netmask);
  EXPECT_EQ("x\n", tools.arguments("grep"));
}

TEST(GetNetmaskByIpUseifconfig, ACommandTooLongToRunIsAFailure) {
  const ToolOutput tools("netmask 255.0.0.0");
  std::string netmask = kJunk;
  EXPECT_EQ(-1, GetNetmaskByIpUseifconfig(std::string(1 << 20, '1'), netmask));
  EXPECT_EQ("", netmask);
  EXPECT_EQ("", tools.arguments("grep"));
}

// The netmask from the kernel

TEST(GetNetmaskByIpUseioctl, SendsTheSecondRequestOnTheMatchingRecord) {
  std::vector<unsigned long> requests;
  std::string asked;
  const FakeKernel kernel([&](unsigned long request, void* argument) {
    requests.push_back(request);
    if (request == kListRequest) {
      const auto* const list = static_cast<ifconf*>(argument);
      EXPECT_EQ(2000, list->ifc_len);
      EXPECT_TRUE(std::all_of(list->ifc_buf, list->ifc_buf + 2000, [](char c) { return c == 0; }));
      return commutil_test::giveRecords(
          {interfaceRecord("eth0", "10.1.2.3"), interfaceRecord("eth0", "10.1.2.30"),
           interfaceRecord("eth0:1", "10.1.2.30")},
          argument);
    }
    auto& record = *static_cast<ifreq*>(argument);
    asked += std::string(record.ifr_name) + " " + commutil_test::addressOf(record);
    record = interfaceRecord("eth0", "255.255.254.0");
    return 0;
  });
  std::string netmask = kJunk;
  EXPECT_EQ(0, GetNetmaskByIpUseioctl("10.1.2.30", netmask));
  EXPECT_EQ("255.255.254.0", netmask);
  EXPECT_EQ("eth0 10.1.2.30", asked);
  EXPECT_EQ((std::vector<unsigned long>{kListRequest, kNetmaskRequest}), requests);
}

TEST(GetNetmaskByIpUseioctl, ComparesTheWholeString) {
  const FakeKernel kernel(kernelWith({interfaceRecord("eth0", "10.1.2.3")}));
  for (const char* ip : {"10.1.2.30", "10.1.2", "10.1.2.3 ", " 10.1.2.3", "010.1.2.3", "10.1.2.03",
                         "", "0.0.0.0", "10.1.2.3\n", "fe80::1"}) {
    SCOPED_TRACE(ip);
    std::string netmask = kJunk;
    EXPECT_EQ(-1, GetNetmaskByIpUseioctl(ip, netmask));
    EXPECT_EQ("", netmask);
  }
  std::string netmask;
  EXPECT_EQ(0, GetNetmaskByIpUseioctl("10.1.2.3", netmask));
  EXPECT_EQ("255.255.2.3", netmask);
  EXPECT_EQ(-1, GetNetmaskByIpUseioctl(std::string(1 << 20, '1'), netmask));
  using namespace std::string_literals;
  EXPECT_EQ(0, GetNetmaskByIpUseioctl("10.1.2.3\0x"s, netmask));
}

TEST(GetNetmaskByIpUseioctl, SeesFiftyRecords) {
  const FakeKernel kernel(kernelWith(manyRecords(60)));
  for (int i : {1, 49, 50, 51, 60}) {
    SCOPED_TRACE(i);
    const std::string number = std::to_string(i);
    const bool seen = i <= 50;
    std::string netmask = kJunk;
    EXPECT_EQ(seen ? 0 : -1, GetNetmaskByIpUseioctl("10.0.0." + number, netmask));
    EXPECT_EQ(seen ? "255.255.0." + number : "", netmask);
  }
}

TEST(GetNetmaskByIpUseioctl, FailsWithTheKernel) {
  struct Failure {
    const char* name;
    FakeKernel::Ioctl kernel;
  };
  const auto withLength = [](int length) {
    return [length](unsigned long request, void* argument) {
      if (request == kListRequest) static_cast<ifconf*>(argument)->ifc_len = length;
      return 0;
    };
  };
  const std::vector<Failure> failures = {
      {"no list", [](unsigned long, void*) { return -1; }},
      {"a list longer than the buffer by a byte", withLength(2001)},
      {"a list longer than the buffer by a record", withLength(2040)},
      {"an empty list", withLength(0)},
      {"a list of negative length", withLength(-40)},
      {"no netmask",
       [](unsigned long request, void* argument) {
         if (request != kListRequest) {
           // The search ends here: the second record, which would succeed, is not read.
           return std::string_view(static_cast<ifreq*>(argument)->ifr_name) == "eth0" ? -1 : 0;
         }
         return commutil_test::giveRecords(
             {interfaceRecord("eth0", "0.0.0.0"), interfaceRecord("eth1", "0.0.0.0")}, argument);
       }},
  };
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.name);
    const FakeKernel kernel(failure.kernel);
    std::string netmask = kJunk;
    EXPECT_EQ(-1, GetNetmaskByIpUseioctl("0.0.0.0", netmask));
    EXPECT_EQ("", netmask);
  }
  const FakeKernel full(withLength(2000));
  std::string netmask;
  EXPECT_EQ(0, GetNetmaskByIpUseioctl("0.0.0.0", netmask));
}

TEST(GetNetmaskByIpUseioctl, FailsWithoutADescriptor) {
  commutil_test::runInChild([] {
    const FakeKernel kernel(kernelWith({interfaceRecord("eth0", "10.1.2.3")}));
    const rlimit none{0, 0};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &none));
    std::string netmask = kJunk;
    EXPECT_EQ(-1, GetNetmaskByIpUseioctl("10.1.2.3", netmask));
    EXPECT_EQ("", netmask);
    netmask = kJunk;
    std::string ip = "10.1.2.3";
    EXPECT_EQ(-1, VexaCommonUtils::getNetmaskByIP(ip, netmask));
    EXPECT_EQ("", netmask);
  });
}

#ifdef COMMUTIL_FAILING_MALLOC
TEST(GetNetmaskByIpUseioctl, FailsWithoutMemoryForItsBuffer) {
  const FakeKernel kernel(kernelWith({interfaceRecord("eth0", "10.1.2.3")}));
  const std::size_t before = openDescriptors();
  std::string netmask = kJunk;
  failingMallocSize = 2000;
  const int result = GetNetmaskByIpUseioctl("10.1.2.3", netmask);
  failingMallocSize = 0;
  EXPECT_EQ(-1, result);
  EXPECT_EQ("", netmask);
  EXPECT_EQ(before, openDescriptors());
}
#endif

TEST(GetNetmaskByIpUseioctl, ClosesItsSocketOnEveryPath) {
  const std::size_t before = openDescriptors();
  std::string netmask;
  {
    const FakeKernel kernel(kernelWith({interfaceRecord("eth0", "10.1.2.3")}));
    GetNetmaskByIpUseioctl("10.1.2.3", netmask);
    GetNetmaskByIpUseioctl("10.1.2.4", netmask);
  }
  const FakeKernel broken([](unsigned long, void*) { return -1; });
  GetNetmaskByIpUseioctl("10.1.2.3", netmask);
  EXPECT_EQ(before, openDescriptors());
}

TEST(GetNetmaskByIpUseioctl, UsesOnePlainDatagramSocket) {
  const FakeKernel kernel(kernelWith({}));
  std::string netmask;
  EXPECT_EQ(-1, GetNetmaskByIpUseioctl("10.1.2.3", netmask));
  ASSERT_EQ(1U, kernel.sockets.size());
  EXPECT_EQ((std::array<int, 3>{AF_INET, SOCK_DGRAM, 0}), kernel.sockets.front());
}

TEST(GetNetmaskByIpUseioctl, KeepsItsSocketFromChildren) {
  bool checked = false;
  const FakeKernel kernel([&checked](unsigned long, void*) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
      if (target.rfind("socket:", 0) != 0) continue;
      const int flags = ::fcntl(std::stoi(entry.path().filename().string()), F_GETFD);
      checked = checked || (flags & FD_CLOEXEC) != 0;
    }
    return -1;
  });
  std::string netmask;
  GetNetmaskByIpUseioctl("10.1.2.3", netmask);
  EXPECT_TRUE(checked);
}

// Both sources

TEST(GetNetmaskByIP, RefusesLoopbackAndWhatIsNotDotted) {
  const FakeKernel kernel([](unsigned long, void*) {
    ADD_FAILURE() << "the kernel was called";
    return -1;
  });
  const ToolOutput tools("netmask 255.0.0.0");
  std::vector<std::string> refused = {
      "127.0.0.1",    "",          "fe80::1",   "::1",       "10.1.2",      "10.1.2.3.4",
      "10.1.2.x",     "10.1.2.-3", "10.1.2.3'", "10.1.2.3;", "$(id).1.2.3", "`id`",
      "10.1.2.3\n;x", "1 0.1.2.3", "...",       "host",      "\v1.2.3.4",   "1.2.3.4 5"};
  for (const char c : std::string("'\"\\;&|<>$`(){}[]*?!#~=%^+-_,:/@\a\x7f\xff")) {
    refused.push_back(std::string("10.1.2.3") + c);
  }
  refused.push_back(std::string(1 << 20, 'x'));
  for (std::string& ip : refused) {
    SCOPED_TRACE(ip.substr(0, 40));
    const std::string before = ip;
    std::string netmask = kJunk;
    EXPECT_EQ(-1, VexaCommonUtils::getNetmaskByIP(ip, netmask));
    EXPECT_EQ("", netmask);
    EXPECT_EQ(before, ip);
  }
  EXPECT_EQ("", tools.arguments("ifconfig"));
}

TEST(GetNetmaskByIP, TakesTheKernelsResultFirst) {
  const FakeKernel kernel(kernelWith({interfaceRecord("eth0", "10.1.2.3")}));
  const ToolOutput tools("netmask 255.0.0.0");
  std::string ip = "10.1.2.3";
  std::string netmask = kJunk;
  EXPECT_EQ(0, VexaCommonUtils::getNetmaskByIP(ip, netmask));
  EXPECT_EQ("255.255.2.3", netmask);
  EXPECT_EQ("", tools.arguments("ifconfig"));
}

TEST(GetNetmaskByIP, FallsBackToTheTool) {
  const FakeKernel kernel(kernelWith({interfaceRecord("lo", "127.0.0.1")}));
  const ToolOutput tools("netmask 255.0.0.0");
  // Only the exact loopback address is refused; spaces around an address go into the command.
  for (const char* text : {"10.1.2.3", " 127.0.0.1", "127.0.0.2", "999.1.1.1", ".1..2.3.4."}) {
    SCOPED_TRACE(text);
    std::string ip = text;
    std::string netmask = kJunk;
    EXPECT_EQ(0, VexaCommonUtils::getNetmaskByIP(ip, netmask));
    EXPECT_EQ("255.0.0.0", netmask);
    EXPECT_EQ(text, ip);
    EXPECT_EQ(std::string(text) + "\n", tools.arguments("grep"));
  }
}

TEST(GetNetmaskByIP, PassesOnTheOutOfRangeError) {
  const FakeKernel kernel(kernelWith({}));
  const ToolOutput tools("inet 10.1.2.3\n");
  std::string ip = "10.1.2.3";
  std::string netmask = kJunk;
  EXPECT_THROW(VexaCommonUtils::getNetmaskByIP(ip, netmask), std::out_of_range);
  EXPECT_EQ("", netmask) << "as the first lookup leaves it";
}

TEST(GetNetmaskByIP, FailsWhenNeitherKnowsTheAddress) {
  const FakeKernel kernel(kernelWith({}));
  const ToolOutput tools("");
  std::string ip = "10.1.2.3";
  std::string netmask = kJunk;
  EXPECT_EQ(-1, VexaCommonUtils::getNetmaskByIP(ip, netmask));
  EXPECT_EQ("", netmask);
}
