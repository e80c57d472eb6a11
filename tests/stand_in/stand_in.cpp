// A platform's own readers and bounded functions, which record that they were called.
#include "stand_in.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <utility>

#include "platform/bounded.h"
#include "platform/ini_reader.h"
#include "platform/json_reader.h"

namespace {

std::string& calls() {
  static std::string names;
  return names;
}

void note(const char* name) { calls().append(" ").append(name); }

}  // namespace

std::string takeCalls() { return std::exchange(calls(), {}); }

int memcpy_s(void* dest, std::size_t /*size*/, const void* src, std::size_t count) {
  note("memcpy_s");
  std::memcpy(dest, src, count);
  return 0;
}

int memset_s(void* dest, std::size_t /*size*/, int value, std::size_t count) {
  note("memset_s");
  std::memset(dest, value, count);
  return 0;
}

int strncpy_s(char* dest, std::size_t /*size*/, const char* src, std::size_t count) {
  note("strncpy_s");
  const std::size_t length = std::min(std::strlen(src), count);
  std::memcpy(dest, src, length);
  dest[length] = '\0';
  return 0;
}

int snprintf_s(char* dest, std::size_t size, std::size_t /*count*/, const char* format, ...) {
  note("snprintf_s");
  std::va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(dest, size, format, args);
  va_end(args);
  return length;
}

int vswprintf_s(wchar_t* dest, std::size_t size, const wchar_t* format, std::va_list args) {
  note("vswprintf_s");
  return std::vswprintf(dest, size, format, args);
}

VexaIniReader::VexaIniReader(const std::string& /*path*/) {}

int VexaIniReader::initialize(bool /*flag*/) {
  note("initialize");
  return 0;
}

std::string VexaIniReader::getParamValue(const std::string& section, const std::string& key) {
  note("getParamValue");
  return section == "[IP]" && key == "ListenAllIp" ? "enable" : "";
}

int VexaIniReader::getParamList(const std::string& /*section*/, std::list<IniNode>& nodes) {
  note("getParamList");
  nodes.push_back({"key", "unsafe"});
  return 0;
}

JsonReader::JsonReader(bool /*flag*/) {}

bool JsonReader::parse(const std::string& /*text*/, Json::Value& root) {
  note("parse");
  root["databases"]["main"][0]["type"] = "tessarn";
  return true;
}
