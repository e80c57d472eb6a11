// Checks and full form of IP addresses against Boost.Asio and GIO. The limit is the C library's
// time to parse the address and, if a string is returned, to print it.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <gio/gio.h>

#include <array>
#include <boost/asio/ip/address.hpp>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaNetUtils.h"
#include "support/cells.h"

namespace {

namespace ip = boost::asio::ip;

// Registers OPERATION/SIZE/WHO: `call` returns its result for the string.
template <class Call>
void measure(const std::string& group, const std::string& who, const std::string& text, Call call) {
  commutil_bench::add(group + "/" + who, [text, call](benchmark::State& state) mutable {
    std::string address = text;
    for (auto _ : state) {
      benchmark::DoNotOptimize(address);
      benchmark::DoNotOptimize(call(address));
    }
  });
}

bool isV4ByAsio(const std::string& text) {
  boost::system::error_code error;
  ip::make_address_v4(text, error);
  return !error;
}

bool isV4ByInetPton(const std::string& text) {
  in_addr address{};
  return ::inet_pton(AF_INET, text.c_str(), &address) == 1;
}

/// The check `ours` of dotted IPv4 against the peers' checks.
template <class Check>
void measureCheck(const std::string& operation, const std::string& kind, const std::string& text,
                  Check ours) {
  const std::string group = operation + "/" + kind;
  measure(group, "ours", text, ours);
  measure(group, "asio", text, isV4ByAsio);
  measure(group, "gio", text,
          [](const std::string& s) { return g_hostname_is_ip_address(s.c_str()); });
  measure(group, "limit:inet_pton", text, isV4ByInetPton);
}

void measureChecks() {
  const struct {
    const char* kind;
    const char* text;
  } rows[] = {
      {"short", "10.0.0.1"},     {"long", "192.168.100.254"}, {"range", "192.168.100.256"},
      {"letter", "192.168.1.x"}, {"name", "node-17.example"}, {"ipv6", "fe80::20c:29ff:1"},
  };
  for (const auto& row : rows) {
    measureCheck("isValidIP", row.kind, row.text,
                 [](const std::string& s) { return VexaCommonUtils::isValidIP(s); });
    measureCheck("CheckIp", row.kind, row.text,
                 [](const std::string& s) { return CheckIp(s.c_str()); });
    measureCheck("validateIPv4", row.kind, row.text,
                 [octets = std::vector<unsigned char>()](const std::string& s) mutable {
                   return VexaCommonUtils_i::validateIPv4(s, octets);
                 });
  }
}

std::string formatByAsio(const std::string& text) {
  boost::system::error_code error;
  return ip::make_address_v6(text, error).to_string();
}

std::string formatByGio(const std::string& text) {
  GInetAddress* const address = g_inet_address_new_from_string(text.c_str());
  char* const printed = g_inet_address_to_string(address);
  std::string result = printed;
  g_free(printed);
  g_object_unref(address);
  return result;
}

std::string formatByInetNtop(const std::string& text) {
  in6_addr address{};
  std::array<char, INET6_ADDRSTRLEN> printed{};
  ::inet_pton(AF_INET6, text.c_str(), &address);
  return ::inet_ntop(AF_INET6, &address, printed.data(), printed.size());
}

void measureFormats() {
  const struct {
    const char* kind;
    const char* text;
  } rows[] = {
      {"link-local", "fe80::20c:29ff:feab:cdef"},
      {"full", "2001:0db8:1234:5678:020c:29ff:feab:cdef"},
      {"loopback", "::1"},
      {"mapped", "::ffff:192.168.100.254"},
  };
  for (const auto& row : rows) {
    const std::string group = std::string("formatStringIP/") + row.kind;
    measure(group, "ours", row.text, [](const std::string& s) {
      std::string text = s;
      VexaCommonUtils_i::formatStringIP(text);
      return text;
    });
    measure(group, "asio", row.text, formatByAsio);
    measure(group, "gio", row.text, formatByGio);
    measure(group, "limit:inet_ntop", row.text, formatByInetNtop);
  }
}

const bool kRegistered = [] {
  measureChecks();
  measureFormats();
  return true;
}();

}  // namespace
