// Lookups in the user database.
#include <pwd.h>

#include <cstring>
#include <string>

#include "VexaCommonUtils_i.h"

bool VexaCommonUtils_i::securityGetpwnam(const std::string& name, passwd& entry, char* buffer,
                                         long bufferLength) {
  if (buffer == nullptr || bufferLength <= 0) return false;
  passwd* found = nullptr;
  const auto size = static_cast<std::size_t>(bufferLength);
  // No entry with such a name fits, and systemd's name service aborts on a name of megabytes.
  if (std::strlen(name.c_str()) >= size) return false;
  return ::getpwnam_r(name.c_str(), &entry, buffer, size, &found) == 0 && found != nullptr;
}

bool VexaCommonUtils_i::securityGetpwuid(unsigned int uid, passwd& entry, char* buffer,
                                         long bufferLength) {
  if (buffer == nullptr || bufferLength <= 0) return false;
  passwd* found = nullptr;
  const auto size = static_cast<std::size_t>(bufferLength);
  return ::getpwuid_r(uid, &entry, buffer, size, &found) == 0 && found != nullptr;
}
