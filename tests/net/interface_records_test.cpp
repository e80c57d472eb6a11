#include "net/interface_records.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "net/fake_kernel.h"

using commutil::Descriptor;
using commutil::listInterfaces;
using commutil_test::FakeKernel;
using commutil_test::interfaceRecord;

namespace {

TEST(InterfaceSocket, IsAPlainDatagramSocketThatNoProgramInherits) {
  const FakeKernel kernel([](unsigned long, void*) { return -1; });
  const Descriptor socket = commutil::interfaceSocket();
  EXPECT_EQ(FD_CLOEXEC, ::fcntl(socket.get(), F_GETFD));
  EXPECT_EQ((std::vector<std::array<int, 3>>{{AF_INET, SOCK_DGRAM, 0}}), kernel.sockets);
}

TEST(ListInterfaces, ReturnsAsManyRecordsAsFitInTheKernelsOrder) {
  std::vector<ifreq> all;
  for (const char* const name : {"lo", "eth1", "eth0", "eth0:1"})
    all.push_back(interfaceRecord(name, "192.0.2.1"));
  const FakeKernel kernel([&all](unsigned long request, void* argument) {
    return request == SIOCGIFCONF ? commutil_test::giveRecords(all, argument) : -1;
  });
  for (const std::size_t room : {0U, 1U, 3U, 4U, 5U}) {
    SCOPED_TRACE(room);
    std::vector<ifreq> records(room + 1, interfaceRecord("unwritten", "192.0.2.2"));
    const std::size_t count = listInterfaces(Descriptor(), records.data(), room);
    ASSERT_EQ(std::min(room, all.size()), count);
    for (std::size_t i = 0; i < count; ++i) EXPECT_STREQ(all[i].ifr_name, records[i].ifr_name);
    EXPECT_STREQ("unwritten", records[count].ifr_name);
  }
}

TEST(ListInterfaces, ReturnsNoneForAFailureOrAnImpossibleLength) {
  constexpr int kRecord = sizeof(ifreq);
  const struct {
    int result;
    int length;
    std::size_t count;
  } rows[] = {
      {0, 3 * kRecord, 3},     {0, 2 * kRecord - 1, 1}, {0, 0, 0},  {-1, kRecord, 0},
      {0, 3 * kRecord + 1, 0}, {0, 4 * kRecord, 0},     {0, -1, 0}, {0, -kRecord, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.length);
    const FakeKernel kernel([&row](unsigned long, void* argument) {
      static_cast<ifconf*>(argument)->ifc_len = row.length;
      return row.result;
    });
    std::array<ifreq, 3> records{};
    EXPECT_EQ(row.count, listInterfaces(Descriptor(), records.data(), records.size()));
  }
}

}  // namespace
