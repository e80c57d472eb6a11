#include "soak/deployment.h"

#include <array>
#include <filesystem>

#include "support/fixtures.h"
#include "support/host.h"

namespace commutil_soak {
namespace {

using commutil_test::Host;

constexpr std::array<const char*, 8> kFiles{"app/conf/setting.cfg",
                                            "app/conf/secure.cfg",
                                            "app/conf/svc_ssl.conf",
                                            "app.json",
                                            "share/conf/settings.json",
                                            "common/etc/conf/TSSetting.cfg",
                                            "qorv/etc/sysconf/nodelists.json",
                                            kSourceFile};

/// Lines that a reader of INI files skips.
std::string comments(std::size_t variant) {
  std::string text;
  for (std::size_t i = 0; i < variant * 100; ++i) text.append("; a line of another version\n");
  return text;
}

std::string store(std::size_t variant) {
  const std::string value = changingSetting(variant);
  return R"({"/vexa/common/setting_cfg": {
      "global": {"ListenLoopbackIP": "enable", "fixed": "the same"},
      "changing": {"one": ")" +
         value + R"(", "other": ")" + value + R"("}},
  "/vexa/common/svc_ssl_conf/application": {"SSLNoProtection": "enable", "SSLVersion": "TLSv1.3"}})";
}

std::string nodes(std::size_t variant) {
  const std::string network = variant == 0 ? "192.0.2." : "198.51.100.";
  return R"({"nodeList": {"node": {"extAttr": {"RemoteClient": "true"}, "IPAddresses": [
      {"IP": ")" +
         network + R"(1"}, {"IP": ")" + network + R"(2"}, {"IP": ")" + network + R"(3"}]}}})";
}

}  // namespace

std::string changingSetting(std::size_t variant) {
  // Of one length: the store keeps its document in memory, whose bytes are compared between rounds.
  return std::string(3000, variant == 0 ? 'a' : 'b');
}

std::string contentOf(const std::string& name, std::size_t variant) {
  if (name == kFiles[0]) {
    return "[TraceDir]\ntracedir=${_APP_LOG_DIR}/trace\n" + comments(variant) +
           "[IP]\nListenAllIp=enable\n";
  }
  if (name == kFiles[1])
    return comments(variant) + "[UnsafeWord]\nword=" + kUnsafeWord + "\nanother=another word\n";
  if (name == kFiles[2]) {
    return std::string(variant * 5000, '#') + "\n\"-SSLCAfile an/authority.pem\"\n";
  }
  if (name == kFiles[3]) {
    return R"({"databases": {"main": [{"type": "oracle", "filler": ")" +
           std::string(variant * 5000, 'x') + R"("}]}})";
  }
  if (name == kFiles[4]) return store(variant);
  if (name == kFiles[5]) return comments(variant) + "[TS]\nts_mode=true\n";
  if (name == kFiles[6]) return nodes(variant);
  return variant == 0 ? std::string(1000, 'a') : std::string(100000, 'b');
}

void deploy() {
  for (const char* const name : kFiles) {
    const std::string path = Host::path(name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    commutil_test::writeFile(path, contentOf(name, 0));
  }
}

void replaceOne(Random& random) {
  const std::string name = random.of(kFiles);
  const std::string path = Host::path(name);
  commutil_test::writeFile(path + ".new", contentOf(name, random.below(2)));
  std::filesystem::rename(path + ".new", path);
}

}  // namespace commutil_soak
