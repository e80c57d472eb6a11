// Compares the SSL option file of any template and any result of the settings store with a model.
// Calls the generator directly, because the library generates one file per process; this program is
// the store.
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "VexaCommonUtils_i.h"
#include "config/uncached.h"
#include "support/expect.h"
#include "support/input.h"
#include "support/scratch.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;

/// The store's values by parameter; others are not found.
std::map<std::string, std::string> storedValues;

bool holds(const std::string& text, const std::string& option) {
  return text.find(option) != text.npos;
}

std::string setting(const std::string& parameter, const std::string& byDefault) {
  const auto found = storedValues.find(parameter);
  return found == storedValues.end() ? byDefault : found->second;
}

/// Returns the option file of a template; nothing if an option has no place.
std::optional<std::string> modelFile(std::string text) {
  const std::size_t caFile = text.find("-SSLCAfile");
  bool hasPlace = true;
  const auto add = [&](const std::string& option) {
    const std::size_t quote = caFile == text.npos ? text.npos : text.find('"', caFile);
    hasPlace = hasPlace && quote != text.npos;
    if (hasPlace) text = text.substr(0, quote) + "\n" + option + text.substr(quote);
  };
  if (!holds(text, "-SSLAuthenticate"))
    add("-SSLAuthenticate " + setting("SSLAuthenticate", "NONE"));
  if (!holds(text, "-SSLVersion")) add("-SSLVersion " + setting("SSLVersion", "TLSv1.2"));
  if (!holds(text, "-SSLNoProtection") && setting("SSLNoProtection", "disable") == "enable")
    add("-SSLNoProtection");
  if (!hasPlace) return std::nullopt;
  return text;
}

mode_t modeOf(const std::string& path) {
  struct stat status {};
  expect(::stat(path.c_str(), &status) == 0, "the file exists");
  return status.st_mode & 07777;
}

}  // namespace

bool VexaCommonUtils_i::GetSetParamValue(const std::string& primaryKey,
                                         const std::string& fallbackKey, std::string& value) {
  expectEqual(value, "", "a value is cleared before its lookup");
  const std::string parameter = primaryKey.substr(primaryKey.rfind('/') + 1);
  expectEqual(primaryKey, "/vexa/common/svc_ssl_conf/app/" + parameter, "the application's key");
  expectEqual(fallbackKey, "/vexa/common/svc_ssl_conf/global/" + parameter, "the global key");
  const auto found = storedValues.find(parameter);
  if (found == storedValues.end()) return false;
  value = found->second;
  return true;
}

void commutil_fuzz::testInput(Input& input) {
  static const Scratch scratch;
  setVariable("APP_NAME", "app");
  storedValues.clear();
  for (const char* const parameter : {"SSLAuthenticate", "SSLVersion", "SSLNoProtection"}) {
    const bool isStored = input.choice(2) == 1;
    const std::string value = input.field();
    if (isStored && !value.empty()) storedValues[parameter] = value;
  }
  const std::string text = input.rest();

  const std::optional<std::string> expected = modelFile(text);
  const std::string source = scratch.write("svc_ssl.conf", text);
  const std::string target = scratch.write("svc_ssl_1.conf", "an older file");
  try {
    expect(commutil::generateSslConf(source, target), "the file is generated");
    expect(expected.has_value(), "an option without a place throws");
    expectEqual(contentOf(target), *expected, "the option file");
    expectEqual(modeOf(target), static_cast<mode_t>(0640), "the option file's mode");
  } catch (const std::out_of_range&) {
    expect(!expected.has_value(), "only an option without a place throws");
    expect(::access(target.c_str(), F_OK) != 0, "the older file is gone then");
  }
}
