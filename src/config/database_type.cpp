#include <json/value.h>

#include <exception>
#include <string>

#include "VexaCommonUtils.h"
#include "config/uncached.h"
#include "os/file_text.h"
#include "os/lazy_value.h"
#include "platform/json_reader.h"

namespace {

constexpr const char* kDefaultDatabaseType = "sybase";

/// Returns the type of the first database, by name, in the application configuration; "" if it has
/// none. Throws what jsoncpp throws if a value is of the wrong kind.
std::string readDatabaseType(const std::string& path) {
  std::string text;
  Json::Value root;
  commutil::readFileText(path, text);  // an unreadable file counts as empty
  if (!JsonReader(false).parse(text, root)) return {};
  const Json::Value& databases = root["databases"];
  const Json::Value::Members names = databases.getMemberNames();
  if (names.empty()) return {};
  const Json::Value& type = databases[names.front()][0U]["type"];
  return type.isString() ? type.asString() : std::string();
}

/// The same, but returns "" for every failure to read or parse, lack of memory included.
std::string tryDatabaseType(const std::string& path) {
  try {
    return readDatabaseType(path);
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace

commutil::Answer<std::string> commutil::findDatabaseType() {
  const std::string path = VexaCommonUtils::Vexagetenv("APP_CONF_FILE");
  if (path.empty()) return {kDefaultDatabaseType, false};
  std::string type = tryDatabaseType(path);
  if (type.empty()) return {kDefaultDatabaseType, false};
  return {std::move(type), true};
}

std::string VexaCommonUtils::getDBType() {
  return commutil::lazyUntilExit<commutil::findDatabaseType>();
}
