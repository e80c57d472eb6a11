// Identifiers against the MAC address lookup that each performs (peers cache the address, so they
// do not compare), and time stamps against strftime.
#include <ace/OS_NS_netdb.h>
#include <benchmark/benchmark.h>

#include <array>
#include <ctime>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/cells.h"

namespace {

std::string stampByStrftime() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  std::array<char, 100> text{};
  return std::string(text.data(), std::strftime(text.data(), text.size(), "%Y%m%d%H%M%S", &local));
}

int stampFields() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  return local.tm_sec;
}

ACE_OS::macaddr_node_t macAddress() {
  ACE_OS::macaddr_node_t node{};
  ACE_OS::getmacaddress(&node);
  return node;
}

template <class Call>
void add(const char* name, Call call) {
  commutil_bench::add(name, [call](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(call());
  });
}

const bool kRegistered = [] {
  add("identifier/one/ours", [] { return VexaCommonUtils_i::generateUUID(); });
  add("identifier/one/calls:getmacaddress", macAddress);
  add("time-stamp/plain/ours", [] { return VexaCommonUtils::getTimeStamp(false); });
  add("time-stamp/plain/strftime", stampByStrftime);
  add("time-stamp/plain/limit:localtime_r", stampFields);
  add("time-stamp/dst/ours", [] { return VexaCommonUtils::getTimeStamp(true); });
  add("time-stamp/dst/strftime", stampByStrftime);
  add("time-stamp/dst/limit:localtime_r", stampFields);
  return true;
}();

}  // namespace
