#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <numeric>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "net/fake_kernel.h"
#include "support/c_library.h"

namespace {

using commutil_test::cLibrary;

/// A resolver and a uname(2) whose results the test sets; while one exists, the requests of
/// this process come here.
struct FakeSystem {
  FakeSystem() { current = this; }
  ~FakeSystem() { current = nullptr; }
  FakeSystem(const FakeSystem&) = delete;
  FakeSystem& operator=(const FakeSystem&) = delete;

  int answer(char* buffer, std::size_t size, hostent* entry, hostent** answered) {
    ++requests;
    sawZeroedBuffer =
        size == 4096 && std::all_of(buffer, buffer + size, [](char c) { return c == 0; });
    if (!answersElsewhere) *entry = host;
    *answered = answersElsewhere ? &host : entry;
    if (!hasResult) *answered = nullptr;
    return result;
  }

  static FakeSystem* current;
  bool unameFails = false;
  int result = 0;
  bool hasResult = true;
  bool answersElsewhere = false;  // not in the caller's record
  hostent host{};
  int requests = 0;
  bool sawZeroedBuffer = false;
};

FakeSystem* FakeSystem::current = nullptr;

}  // namespace

extern "C" {

int uname(utsname* system) noexcept {
  if (FakeSystem::current != nullptr && FakeSystem::current->unameFails) {
    errno = EFAULT;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_uname, system));
}

int gethostbyname_r(const char* name, hostent* entry, char* buffer, std::size_t size,
                    hostent** result, int* error) {
  if (FakeSystem::current != nullptr) {
    return FakeSystem::current->answer(buffer, size, entry, result);
  }
  return cLibrary<decltype(gethostbyname_r)>("gethostbyname_r")(name, entry, buffer, size, result,
                                                                error);
}

int gethostbyaddr_r(const void* address, socklen_t length, int family, hostent* entry, char* buffer,
                    std::size_t size, hostent** result, int* error) {
  if (FakeSystem::current != nullptr) {
    return FakeSystem::current->answer(buffer, size, entry, result);
  }
  return cLibrary<decltype(gethostbyaddr_r)>("gethostbyaddr_r")(address, length, family, entry,
                                                                buffer, size, result, error);
}
}

namespace {

/// A host of two addresses of `length` bytes each.
class FakeHost {
 public:
  explicit FakeHost(int length) {
    std::iota(m_first.begin(), m_first.end(), '\1');
    m_system.host.h_length = length;
    m_system.host.h_addrtype = AF_INET;
    m_system.host.h_addr_list = m_addresses.data();
    m_system.host.h_name = m_name.data();
  }
  FakeSystem* operator->() { return &m_system; }

 private:
  std::array<char, 32> m_first{};
  std::array<char, 32> m_second{};
  std::array<char*, 3> m_addresses{m_first.data(), m_second.data(), nullptr};
  std::string m_name = "official";
  FakeSystem m_system;
};

TEST(FailingSystem, HasNoNames) {
  FakeSystem system;
  system.unameFails = true;
  EXPECT_EQ("", VexaCommonUtils::hostname());
  EXPECT_EQ("", VexaCommonUtils::sysname());
  EXPECT_EQ("", VexaCommonUtils::hostipaddr());
  EXPECT_EQ(0, system.requests) << "an empty name is not looked up";
}

TEST(Resolver, GetsAZeroedBufferOf4096Bytes) {
  FakeHost host(4);
  std::string text;
  EXPECT_EQ("1.2.3.4", VexaCommonUtils::hostipaddr());
  EXPECT_TRUE(host->sawZeroedBuffer);
  EXPECT_EQ(0, VexaCommonUtils::getIPbyHostname("name", text));
  EXPECT_EQ("1.2.3.4", text);
  EXPECT_TRUE(host->sawZeroedBuffer);
  EXPECT_EQ(0, VexaCommonUtils::getHostnamebyIP("1.2.3.4", text));
  EXPECT_EQ("official", text);
  EXPECT_TRUE(host->sawZeroedBuffer);
  EXPECT_EQ(3, host->requests);
}

TEST(Resolver, FailsByItsCodeAndByAMissingResult) {
  for (const bool hasResult : {true, false}) {
    FakeHost host(4);
    host->result = hasResult ? ERANGE : 0;
    host->hasResult = hasResult;
    EXPECT_EQ("", VexaCommonUtils::hostipaddr());
    std::string text = "junk";
    EXPECT_EQ(-1, VexaCommonUtils::getIPbyHostname("name", text));
    EXPECT_EQ("", text);
    text = "junk";
    EXPECT_EQ(-1, VexaCommonUtils::getHostnamebyIP("1.2.3.4", text));
    EXPECT_EQ("", text);
    EXPECT_EQ(3, host->requests) << "each calls the resolver once";
  }
}

TEST(Resolver, ReturnsWhatItsResultPointsTo) {
  FakeHost host(4);
  host->answersElsewhere = true;
  std::string text;
  EXPECT_EQ("1.2.3.4", VexaCommonUtils::hostipaddr());
  EXPECT_EQ(0, VexaCommonUtils::getIPbyHostname("name", text));
  EXPECT_EQ("1.2.3.4", text);
  EXPECT_EQ(0, VexaCommonUtils::getHostnamebyIP("1.2.3.4", text));
  EXPECT_EQ("official", text);
}

TEST(Resolver, LongAddressesAreNotUsedForTheNode) {
  for (const int length : {5, 16}) {
    const FakeHost host(length);
    EXPECT_EQ("", VexaCommonUtils::hostipaddr()) << length;
    std::string ip = "junk";
    EXPECT_EQ(0, VexaCommonUtils::getIPbyHostname("name", ip)) << length;
    EXPECT_EQ("1.2.3.4", ip) << length;
  }
}

TEST(Resolver, AddressesLongerThanInAnyFamilyFail) {
  for (const int length : {17, 32, -1}) {
    const FakeHost host(length);
    EXPECT_EQ("", VexaCommonUtils::hostipaddr()) << length;
    std::string ip = "junk";
    EXPECT_EQ(-1, VexaCommonUtils::getIPbyHostname("name", ip)) << length;
    EXPECT_EQ("", ip) << length;
  }
}

TEST(Resolver, AnAddressWithoutANameFails) {
  FakeHost host(4);
  host->host.h_name = nullptr;
  std::string name = "junk";
  EXPECT_EQ(-1, VexaCommonUtils::getHostnamebyIP("1.2.3.4", name));
  EXPECT_EQ("", name);
}

TEST(Resolver, IsNotCalledForTheZeroNetworkNorForAnEmptyName) {
  FakeHost host(4);
  std::string text;
  EXPECT_EQ(-1, VexaCommonUtils::getHostnamebyIP("0.1.2.3", text));
  EXPECT_EQ(-1, VexaCommonUtils::getHostnamebyIP("name", text));
  EXPECT_EQ(-1, VexaCommonUtils::getIPbyHostname("", text));
  EXPECT_EQ(0, host->requests);
  EXPECT_EQ(0, VexaCommonUtils::getHostnamebyIP("1.0.0.0", text)) << "only the first octet counts";
}

TEST(Hosts, TakeStringsOf1MiB) {
  std::string text(1 << 20, 'a');
  EXPECT_EQ(-1, VexaCommonUtils::getIPbyHostname(text, text));
  text.assign(1 << 20, '1');
  EXPECT_EQ(-1, VexaCommonUtils::getHostnamebyIP(text, text));
  EXPECT_EQ("", text);
}

TEST(Hostname, IsTheNodeName) {
  utsname system{};
  ASSERT_EQ(0, ::uname(&system));
  EXPECT_EQ(system.nodename, VexaCommonUtils::hostname());
}

TEST(Sysname, IsTheNameAndTheReleaseWithoutASeparator) {
  utsname system{};
  ASSERT_EQ(0, ::uname(&system));
  EXPECT_EQ(std::string("Linux") + system.release, VexaCommonUtils::sysname());
}

TEST(GetIPbyHostname, RefusesTheEmptyName) {
  std::string ip = "junk";
  EXPECT_EQ(-1, VexaCommonUtils::getIPbyHostname("", ip));
  EXPECT_EQ("", ip);
}

TEST(GetIPbyHostname, ReadsDottedAddresses) {
  std::string ip = "junk";
  EXPECT_EQ(0, VexaCommonUtils::getIPbyHostname("10.1.2.3", ip));
  EXPECT_EQ("10.1.2.3", ip);
}

TEST(GetIPbyHostname, EmptiesTheAddressOfAnUnknownName) {
  for (const char* const name : {"no-such-host.invalid", "a b", "$(reboot)", "\n"}) {
    std::string ip = "junk";
    EXPECT_EQ(-1, VexaCommonUtils::getIPbyHostname(name, ip)) << name;
    EXPECT_EQ("", ip);
  }
}

TEST(GetIPbyHostname, ReadsItsNameBeforeItWritesTheSameString) {
  std::string text = "10.1.2.3";
  EXPECT_EQ(0, VexaCommonUtils::getIPbyHostname(text, text));
  EXPECT_EQ("10.1.2.3", text);
}

TEST(GetHostnamebyIP, RefusesWhatIsNotAnAddress) {
  for (const char* const ip : {"not-an-ip", "", "256.1.1.1", "1.2.3.4.5", "fe80::1", "1.2.3.4;"}) {
    std::string name = "junk";
    EXPECT_EQ(-1, VexaCommonUtils::getHostnamebyIP(ip, name)) << ip;
    EXPECT_EQ("", name);
  }
}

TEST(GetHostnamebyIP, RefusesEveryAddressOfTheZeroNetwork) {
  for (const char* const ip : {"0.0.0.0", "0.1.2.3", "0.255.255.255", "1", "0x00010203", "0"}) {
    std::string name = "junk";
    EXPECT_EQ(-1, VexaCommonUtils::getHostnamebyIP(ip, name)) << ip;
    EXPECT_EQ("", name);
  }
}

}  // namespace
