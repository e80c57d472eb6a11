#include "commutil-settings/status.h"

#include <fcntl.h>
#include <json/value.h>
#include <json/writer.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <system_error>

#include "bytes/json_text.h"
#include "os/file_io.h"
#include "os/handles.h"
#include "settings_store/read_file.h"

namespace agent {
namespace {

std::string statusPath(const std::string& path) { return path + ".status"; }

[[noreturn]] void fail(const std::string& path) {
  throw std::runtime_error(path + ": " + std::generic_category().message(errno));
}

Json::Value toJson(const Status& status) {
  Json::Value document;
  document["state"] = status.state;
  document["member"] = status.member;
  document["problem"] = status.problem;
  document["cluster"] = std::to_string(status.clusterId);
  document["revision"] = Json::Int64(status.revision);
  document["verifiedUptime"] = Json::Int64(status.verifiedUptime.count());
  document["bootId"] = status.bootId;
  document["verifiedAt"] = Json::Int64(status.verifiedAt);
  return document;
}

Status fromJson(const Json::Value& document) {
  Status status;
  status.state = document["state"].asString();
  status.member = document["member"].asString();
  status.problem = document["problem"].asString();
  status.clusterId = std::stoull(document["cluster"].asString());
  status.revision = document["revision"].asInt64();
  status.verifiedUptime = std::chrono::seconds(document["verifiedUptime"].asInt64());
  status.bootId = document["bootId"].asString();
  status.verifiedAt = document["verifiedAt"].asInt64();
  return status;
}

}  // namespace

std::chrono::seconds uptime() {
  std::timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return std::chrono::seconds(now.tv_sec);
}

std::string bootId() {
  try {
    return settings::readRegularFile("/proc/sys/kernel/random/boot_id").value_or("").substr(0, 36);
  } catch (const std::runtime_error&) {
    return {};
  }
}

// Not synchronized to the disk: what it says is of no use after a crash.
void writeStatus(const std::string& path, const Status& status) {
  const std::string file = statusPath(path);
  const std::string temporary = file + ".new";
  ::unlink(temporary.c_str());
  commutil::Descriptor out(
      ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
  if (!out || ::fchmod(out.get(), 0644) != 0) fail(temporary);
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  const bool isWritten =
      commutil::writeAll(out.get(), Json::writeString(builder, toJson(status)) + "\n") &&
      commutil::closeWritten(out);
  if (!isWritten || ::rename(temporary.c_str(), file.c_str()) != 0) {
    const int error = errno;
    ::unlink(temporary.c_str());
    errno = error;
    fail(file);
  }
}

std::optional<Status> readStatus(const std::string& path) {
  try {
    const std::optional<std::string> text = settings::readRegularFile(statusPath(path));
    Json::Value document;
    if (!text || !commutil::parseJson({}, *text, document, nullptr) || !document.isObject())
      return std::nullopt;
    return fromJson(document);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::chrono::seconds ageOf(const Status& status) {
  const std::chrono::seconds age =
      status.bootId == bootId() ? uptime() - status.verifiedUptime
                                : std::chrono::seconds(std::time(nullptr) - status.verifiedAt);
  return std::max(age, std::chrono::seconds(0));
}

}  // namespace agent
