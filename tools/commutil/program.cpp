#include "program.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <system_error>

namespace {

bool isRegularFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string reason(int error) { return std::generic_category().message(error); }

/// Returns the interpreter that the first line of a script names, "" if the file is not a script.
std::string interpreterOf(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line) || line.rfind("#!", 0) != 0) return {};
  std::string interpreter;
  std::istringstream(line.substr(2)) >> interpreter;
  return interpreter;
}

Program checkFile(const std::string& path) {
  if (::access(path.c_str(), F_OK) != 0)
    return {path + ": " + reason(errno), errno == ENOENT || errno == ENOTDIR};
  if (!isRegularFile(path)) return {path + ": not a regular file", false};
  if (::access(path.c_str(), X_OK) != 0) return {path + ": " + reason(errno), false};
  const std::string interpreter = interpreterOf(path);
  if (interpreter.empty() || ::access(interpreter.c_str(), X_OK) == 0) return {"", false};
  return {path + ": its interpreter " + interpreter + ": " + reason(errno), errno == ENOENT};
}

}  // namespace

Program findProgram(const std::string& name, bool usePath) {
  if (!usePath || name.find('/') != std::string::npos) return checkFile(name);
  const char* const path = std::getenv("PATH");
  std::istringstream directories(path != nullptr ? path : "/bin:/usr/bin");
  Program result{name + ": not found in the directories of PATH", true};
  for (std::string directory; std::getline(directories, directory, ':');) {
    if (!directory.empty()) directory += '/';
    Program found = checkFile(directory.append(name));
    if (found.problem.empty()) return found;
    if (!found.isMissing && result.isMissing) result = found;
  }
  return result;
}
