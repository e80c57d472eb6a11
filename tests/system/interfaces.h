#pragma once

#include <gtest/gtest.h>
#include <json/json.h>
#include <sched.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/fixtures.h"
#include "support/namespaces.h"

// The interfaces of a network namespace as created and listed by ip(8), and fakes for the tools
// that the lookups run. For children in their own namespaces.

namespace commutil_test {

/// Runs `body` in a child that has its own network and tools.
inline void runOnOwnNetwork(const std::function<void()>& body) {
  runInChild([&body] {
    const ScopedEnv path("PATH", "/usr/sbin:/usr/bin:/sbin:/bin");
    enterNamespaces(CLONE_NEWNET | CLONE_NEWNS);
    if (!::testing::Test::HasFailure()) body();
  });
}

struct InterfaceAddress {
  std::string ip;
  int family = 0;
  unsigned prefixLength = 0;
};

struct Interface {
  std::string name;
  std::string mac;
  std::vector<InterfaceAddress> addresses;

  bool carries(int family) const {
    return std::any_of(addresses.begin(), addresses.end(),
                       [family](const auto& address) { return address.family == family; });
  }
};

/// Returns the output of "ip address" in this namespace, in its order.
inline std::vector<Interface> interfaces() {
  Json::Value list;
  std::istringstream(shellOutput("ip -json address")) >> list;
  std::vector<Interface> all;
  for (const Json::Value& entry : list) {
    Interface one{entry["ifname"].asString(), entry["address"].asString(), {}};
    for (const Json::Value& address : entry["addr_info"]) {
      one.addresses.push_back({address["local"].asString(),
                               address["family"] == "inet" ? AF_INET : AF_INET6,
                               address["prefixlen"].asUInt()});
    }
    all.push_back(std::move(one));
  }
  return all;
}

/// Runs lines of ip(8) commands.
inline void ip(const std::string& lines) { shell("ip -batch - <<'END'\n" + lines + "\nEND"); }

/// Returns the lines that create a veth pair NAME and NAMEp with known hardware addresses, without
/// addresses that the kernel would choose. `number` is the last byte of the first one's.
inline std::string vethPair(const std::string& name, int number) {
  const auto mac = [number](const char* kind) {
    char text[18];
    std::snprintf(text, sizeof(text), "%s:00:00:00:00:%02x", kind, static_cast<unsigned>(number));
    return std::string(text);
  };
  return "link add name " + name + " address " + mac("02") + " type veth peer name " + name +
         "p address " + mac("06") + "\nlink set dev " + name + " addrgenmode none\nlink set dev " +
         name + "p addrgenmode none\n";
}

inline std::string upperCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

constexpr const char* kIfconfig = "/usr/sbin/ifconfig";

/// Replaces `tool` by one that prints `output`.
inline void standInFor(const std::string& tool, const TempDir& dir, std::string_view output) {
  const std::filesystem::path path = std::filesystem::canonical(tool);
  const std::string file = dir.write(path.filename().string() + ".output", output);
  replaceFile(path.string(), "#!/bin/sh\nexec /usr/bin/cat '" + file + "'\n", 0755);
}

/// Makes `tool` not executable.
inline void disable(const std::string& tool) {
  replaceFile(std::filesystem::canonical(tool).string(), "", 0644);
}

/// Makes the host one of the distribution whose tool prints the newer form.
inline void becomeZirel() {
  replaceFile(std::filesystem::canonical("/etc/os-release").string(), "NAME=\"ZirelOS\"\n");
}

/// From now on, records every command line that a shell runs.
class ShellLog {
 public:
  ShellLog() {
    replaceFile(std::filesystem::canonical("/bin/sh").string(),
                "#!/bin/bash\nprintf '%s\\n' \"${@: -1}\" >>'" + m_dir / "log" +
                    "'\nexec /bin/bash \"$@\"\n",
                0755);
  }

  /// Returns the command lines since the last call, one per line.
  std::string take() {
    const std::string path = m_dir / "log";
    std::string text = std::filesystem::exists(path) ? readFile(path) : "";
    std::filesystem::remove(path);
    return text;
  }

 private:
  TempDir m_dir;
};

}  // namespace commutil_test
