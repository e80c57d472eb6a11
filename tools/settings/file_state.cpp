#include "settings/file_state.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace settings {
namespace {

std::string octal(mode_t mode) {
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "%04o", mode);
  return text.data();
}

std::string ownership(const FileFacts& file) {
  return "mode " + octal(file.mode) + ", owner " + file.owner;
}

std::string errorText(int error) { return std::generic_category().message(error); }

Note error(std::string text, std::string remedy) {
  return {Severity::error, std::move(text), std::move(remedy)};
}

Note missingState(const FileFacts& file, const std::string& user) {
  if (file.dangling) return error("a link that leads nowhere", "create its target or remove it");
  if (file.error == EACCES) {
    return error("not reachable by user " + user + ": a directory above it denies access",
                 "let " + user + " search its directories");
  }
  if (file.error == ENOTDIR)
    return error("a part of its path is not a directory", "replace that part by a directory");
  if (file.error == ENOENT || file.error == 0) return {Severity::warning, "missing", "create it"};
  return error("cannot be reached: " + errorText(file.error), "check its file system");
}

std::string kindText(FileType type) {
  switch (type) {
    case FileType::directory:
      return "a directory";
    case FileType::fifo:
      return "a FIFO";
    case FileType::socket:
      return "a socket";
    default:
      return "a device";
  }
}

}  // namespace

bool isReadableText(const FileFacts& file) {
  if (!file.fault.empty() || !file.readable) return false;
  return file.type == FileType::regular || file.type == FileType::nullDevice;
}

Note stateOf(const FileFacts& file, const std::string& user) {
  if (!file.fault.empty()) return error(file.fault, "check its file system");
  if (!file.exists()) return missingState(file, user);
  if (file.type == FileType::nullDevice) return {Severity::warning, "/dev/null: empty", ""};
  if (file.type != FileType::regular)
    return error(kindText(file.type) + ", not a regular file", "replace it by a regular file");
  if (file.isLarge()) {
    return {Severity::warning, sizeText(file.size) + ", over 64 MiB: not examined",
            "check whether it is the right file"};
  }
  if (!file.readable && file.error == EACCES) {
    return error("not readable by user " + user + " (" + ownership(file) + ")",
                 "let " + user + " read it");
  }
  if (!file.readable)
    return error("cannot be read: " + errorText(file.error), "check its file system");
  if (file.size == 0 && file.text.empty()) return {Severity::warning, "empty", ""};
  return {Severity::ok, "readable", ""};
}

Note writableState(const FileFacts& directory, const std::string& user) {
  if (!directory.fault.empty()) return error(directory.fault, "check its file system");
  if (!directory.exists()) {
    Note missing = missingState(directory, user);
    missing.severity = Severity::error;
    if (missing.remedy == "create it") missing.remedy = "create the directory";
    return missing;
  }
  if (directory.type != FileType::directory)
    return error("not a directory", "replace it by a directory");
  if (!directory.writable || !directory.executable) {
    return error("not writable by user " + user + " (" + ownership(directory) + ")",
                 "let " + user + " write to it");
  }
  return {Severity::ok, "writable", ""};
}

std::string sizeText(std::uintmax_t size) {
  constexpr std::uintmax_t kMiB = std::uintmax_t{1024} * 1024;
  if (size >= kMiB) return std::to_string(size / kMiB) + " MiB";
  return std::to_string(size) + " bytes";
}

}  // namespace settings
