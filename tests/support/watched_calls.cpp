// The headers define checked forms of these functions, and clang refuses a second definition.
#undef _FORTIFY_SOURCE

#include "support/watched_calls.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <string_view>

#include "support/c_library.h"
#include "support/failing_call.h"

namespace {

using commutil_test::cLibrary;
using commutil_test::failedWith;
using commutil_test::FailingCalls;
using commutil_test::Stop;

struct Watch {
  const std::function<void(const Stop&)>& atStop;
  const FailingCalls& failing;
  std::vector<std::string> calls;
  std::map<int, std::string> files;  ///< the names of descriptors
};

Watch* watch = nullptr;

/// A stop's own calls are not watched, and do not change `errno`.
void stopAt(Watch& current, std::size_t call, bool after) {
  const int error = errno;
  watch = nullptr;
  current.atStop({call, current.calls[call], after});
  watch = &current;
  errno = error;
}

/// Calls `function` between the stops of a watch, unless it must fail.
template <class Function, class... Arguments>
auto watched(const std::string& name, Function* function, Arguments... arguments) {
  if (watch == nullptr) return function(arguments...);
  Watch& current = *watch;
  const std::size_t number = current.calls.size();
  current.calls.push_back(name);
  stopAt(current, number, false);
  const auto failing = current.failing.find(name);
  if (failing != current.failing.end() && name.rfind("close", 0) == 0) function(arguments...);
  const auto result = failing == current.failing.end()
                          ? function(arguments...)
                          : failedWith<decltype(function(arguments...))>(failing->second);
  stopAt(current, number, true);
  return result;
}

std::string lastComponent(std::string_view path) {
  return std::string(path.substr(path.rfind('/') + 1));
}

/// Names a call on a path by the path's last component.
template <class Function, class... Arguments>
auto onPath(const std::string& call, Function* function, const char* path, Arguments... rest) {
  if (watch == nullptr) return function(path, rest...);
  return watched(call + " " + lastComponent(path), function, path, rest...);
}

/// Names a call on a descriptor by the file with which it was opened.
template <class Function, class... Arguments>
auto onDescriptor(const std::string& call, Function* function, int fd, Arguments... rest) {
  if (watch == nullptr) return function(fd, rest...);
  return watched(call + " " + watch->files[fd], function, fd, rest...);
}

}  // namespace

namespace commutil_test {

std::vector<std::string> watchCalls(const std::function<void()>& operation,
                                    const std::function<void(const Stop&)>& atStop,
                                    const FailingCalls& failing) {
  Watch current{atStop, failing, {}, {}};
  watch = &current;
  operation();
  watch = nullptr;
  return current.calls;
}

}  // namespace commutil_test

extern "C" {

char* realpath(const char* path, char* resolved) noexcept {
  return watched("realpath", cLibrary<char*(const char*, char*)>("realpath"), path, resolved);
}

char* __realpath_chk(const char* path, char* resolved, std::size_t size) noexcept {
  return watched("realpath", cLibrary<char*(const char*, char*, std::size_t)>("__realpath_chk"),
                 path, resolved, size);
}

int access(const char* path, int mode) noexcept {
  return onPath("access", cLibrary<int(const char*, int)>("access"), path, mode);
}

int stat(const char* path, struct stat* status) noexcept {
  return onPath("stat", cLibrary<int(const char*, struct stat*)>("stat"), path, status);
}

int utime(const char* path, const utimbuf* times) noexcept {
  return onPath("utime", cLibrary<int(const char*, const utimbuf*)>("utime"), path, times);
}

int chmod(const char* path, mode_t mode) noexcept {
  return onPath("chmod", cLibrary<int(const char*, mode_t)>("chmod"), path, mode);
}

int chown(const char* path, uid_t user, gid_t group) noexcept {
  return onPath("chown", cLibrary<int(const char*, uid_t, gid_t)>("chown"), path, user, group);
}

int unlink(const char* path) noexcept {
  return onPath("unlink", cLibrary<int(const char*)>("unlink"), path);
}

int rename(const char* from, const char* to) noexcept {
  return onPath("rename", cLibrary<int(const char*, const char*)>("rename"), from, to);
}

int open(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  const int fd = onPath("open", cLibrary<int(const char*, int, ...)>("open"), path, flags, mode);
  if (watch != nullptr) watch->files[fd] = lastComponent(path);
  return fd;
}

int fcntl(int fd, int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  const int result =
      onDescriptor("fcntl", cLibrary<int(int, int, ...)>("fcntl"), fd, command, argument);
  if (watch != nullptr && command == F_DUPFD_CLOEXEC) watch->files[result] = watch->files[fd];
  return result;
}

int fstat(int fd, struct stat* status) noexcept {
  return onDescriptor("fstat", cLibrary<int(int, struct stat*)>("fstat"), fd, status);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  return onDescriptor("lseek", cLibrary<off_t(int, off_t, int)>("lseek"), fd, offset, whence);
}

int ftruncate(int fd, off_t size) noexcept {
  return onDescriptor("ftruncate", cLibrary<int(int, off_t)>("ftruncate"), fd, size);
}

ssize_t sendfile(int out, int in, off_t* offset, std::size_t size) noexcept {
  return onDescriptor("sendfile", cLibrary<ssize_t(int, int, off_t*, std::size_t)>("sendfile"), out,
                      in, offset, size);
}

ssize_t read(int fd, void* data, std::size_t size) {
  return onDescriptor("read", cLibrary<ssize_t(int, void*, std::size_t)>("read"), fd, data, size);
}

ssize_t write(int fd, const void* data, std::size_t size) {
  return onDescriptor("write", cLibrary<ssize_t(int, const void*, std::size_t)>("write"), fd, data,
                      size);
}

int futimens(int fd, const timespec* times) noexcept {
  return onDescriptor("futimens", cLibrary<int(int, const timespec*)>("futimens"), fd, times);
}

int fchmod(int fd, mode_t mode) noexcept {
  return onDescriptor("fchmod", cLibrary<int(int, mode_t)>("fchmod"), fd, mode);
}

int fchown(int fd, uid_t user, gid_t group) noexcept {
  return onDescriptor("fchown", cLibrary<int(int, uid_t, gid_t)>("fchown"), fd, user, group);
}

int flock(int fd, int operation) noexcept {
  return onDescriptor("flock", cLibrary<int(int, int)>("flock"), fd, operation);
}

int fsync(int fd) { return onDescriptor("fsync", cLibrary<int(int)>("fsync"), fd); }

int close(int fd) { return onDescriptor("close", cLibrary<int(int)>("close"), fd); }
}
