// Replaces the functions of the C library and of PAM that the library calls, itself or through its
// dependencies, by ones that can fail. What the C library calls inside itself fails as a system
// call.
// The headers define checked forms of these functions, and clang refuses a second definition.
#undef _FORTIFY_SOURCE

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <pwd.h>
#include <security/pam_appl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "faults/fault.h"
#include "support/failing_call.h"

namespace {

using commutil_faults::callNamed;
using commutil_faults::errorDue;
using commutil_test::failedWith;

/// Calls `function` unless it must fail.
template <class Function, class... Arguments>
auto call(std::size_t which, Function* function, Arguments... arguments) {
  const int error = errorDue(which);
  return error == 0 ? function(arguments...) : failedWith<decltype(function(arguments...))>(error);
}

/// The same for a function that returns its error.
template <class Function, class... Arguments>
int returned(std::size_t which, Function* function, Arguments... arguments) {
  const int error = errorDue(which);
  return error == 0 ? function(arguments...) : error;
}

/// The same for functions that release something even if they fail.
template <class Function, class... Arguments>
int release(std::size_t which, Function* function, Arguments... arguments) {
  const int error = errorDue(which);
  const int result = function(arguments...);
  return error == 0 ? result : failedWith<int>(error);
}

template <class Function, class... Arguments>
int releaseReturned(std::size_t which, Function* function, Arguments... arguments) {
  const int error = errorDue(which);
  const int result = function(arguments...);
  return error == 0 ? result : error;
}

/// The C library's dlsym(3), which is replaced too: by the version that every one has.
void* originalDlsym(void* handle, const char* name) {
  using Dlsym = void*(void*, const char*);
  static const auto original =
      reinterpret_cast<Dlsym*>(::dlvsym(RTLD_NEXT, "dlsym", "GLIBC_2.2.5"));
  return original(handle, name);
}

/// Returns the replaced function.
template <class Function>
Function* original(const char* name) {
  return reinterpret_cast<Function*>(originalDlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

// Files

int open(const char* path, int flags, ...) {
  static auto* const real = original<int(const char*, int, ...)>("open");
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return call(callNamed("open"), real, path, flags, mode);
}

std::FILE* fopen(const char* path, const char* mode) {
  static auto* const real = original<std::FILE*(const char*, const char*)>("fopen");
  return call(callNamed("fopen"), real, path, mode);
}

int fclose(std::FILE* file) {
  static auto* const real = original<int(std::FILE*)>("fclose");
  return release(callNamed("fclose"), real, file);
}

int close(int fd) {
  static auto* const real = original<int(int)>("close");
  return release(callNamed("close"), real, fd);
}

ssize_t read(int fd, void* data, std::size_t size) {
  static auto* const real = original<ssize_t(int, void*, std::size_t)>("read");
  return call(callNamed("read"), real, fd, data, size);
}

ssize_t write(int fd, const void* data, std::size_t size) {
  static auto* const real = original<ssize_t(int, const void*, std::size_t)>("write");
  return call(callNamed("write"), real, fd, data, size);
}

ssize_t sendfile(int out, int in, off_t* offset, std::size_t size) noexcept {
  static auto* const real = original<ssize_t(int, int, off_t*, std::size_t)>("sendfile");
  return call(callNamed("sendfile"), real, out, in, offset, size);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  static auto* const real = original<off_t(int, off_t, int)>("lseek");
  return call(callNamed("lseek"), real, fd, offset, whence);
}

int fseek(std::FILE* file, long offset, int whence) {
  static auto* const real = original<int(std::FILE*, long, int)>("fseek");
  return call(callNamed("fseek"), real, file, offset, whence);
}

long ftell(std::FILE* file) {
  static auto* const real = original<long(std::FILE*)>("ftell");
  return call(callNamed("ftell"), real, file);
}

int stat(const char* path, struct stat* status) noexcept {
  static auto* const real = original<int(const char*, struct stat*)>("stat");
  return call(callNamed("stat"), real, path, status);
}

int fstat(int fd, struct stat* status) noexcept {
  static auto* const real = original<int(int, struct stat*)>("fstat");
  return call(callNamed("fstat"), real, fd, status);
}

int access(const char* path, int mode) noexcept {
  static auto* const real = original<int(const char*, int)>("access");
  return call(callNamed("access"), real, path, mode);
}

int mkdir(const char* path, mode_t mode) noexcept {
  static auto* const real = original<int(const char*, mode_t)>("mkdir");
  return call(callNamed("mkdir"), real, path, mode);
}

int unlink(const char* path) noexcept {
  static auto* const real = original<int(const char*)>("unlink");
  return call(callNamed("unlink"), real, path);
}

char* realpath(const char* path, char* resolved) noexcept {
  static auto* const real = original<char*(const char*, char*)>("realpath");
  return call(callNamed("realpath"), real, path, resolved);
}

char* __realpath_chk(const char* path, char* resolved, std::size_t size) noexcept {
  static auto* const real = original<char*(const char*, char*, std::size_t)>("__realpath_chk");
  return call(callNamed("realpath"), real, path, resolved, size);
}

int ftruncate(int fd, off_t size) noexcept {
  static auto* const real = original<int(int, off_t)>("ftruncate");
  return call(callNamed("ftruncate"), real, fd, size);
}

int futimens(int fd, const timespec* times) noexcept {
  static auto* const real = original<int(int, const timespec*)>("futimens");
  return call(callNamed("futimens"), real, fd, times);
}

int fchmod(int fd, mode_t mode) noexcept {
  static auto* const real = original<int(int, mode_t)>("fchmod");
  return call(callNamed("fchmod"), real, fd, mode);
}

int fchown(int fd, uid_t user, gid_t group) noexcept {
  static auto* const real = original<int(int, uid_t, gid_t)>("fchown");
  return call(callNamed("fchown"), real, fd, user, group);
}

int fcntl(int fd, int command, ...) {
  static auto* const real = original<int(int, int, ...)>("fcntl");
  std::va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return call(callNamed("fcntl"), real, fd, command, argument);
}

int dup(int fd) noexcept {
  static auto* const real = original<int(int)>("dup");
  return call(callNamed("dup"), real, fd);
}

int madvise(void* data, std::size_t size, int advice) noexcept {
  static auto* const real = original<int(void*, std::size_t, int)>("madvise");
  return call(callNamed("madvise"), real, data, size, advice);
}

// Directories

DIR* opendir(const char* path) {
  static auto* const real = original<DIR*(const char*)>("opendir");
  return call(callNamed("opendir"), real, path);
}

dirent* readdir(DIR* directory) {
  static auto* const real = original<dirent*(DIR*)>("readdir");
  return call(callNamed("readdir"), real, directory);
}

int closedir(DIR* directory) {
  static auto* const real = original<int(DIR*)>("closedir");
  return release(callNamed("closedir"), real, directory);
}

// Sockets

int socket(int family, int type, int protocol) noexcept {
  static auto* const real = original<int(int, int, int)>("socket");
  return call(callNamed("socket"), real, family, type, protocol);
}

int ioctl(int fd, unsigned long what, ...) noexcept {
  static auto* const real = original<int(int, unsigned long, ...)>("ioctl");
  std::va_list arguments;
  va_start(arguments, what);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return call(callNamed("ioctl"), real, fd, what, argument);
}

int getifaddrs(ifaddrs** list) noexcept {
  static auto* const real = original<int(ifaddrs**)>("getifaddrs");
  return call(callNamed("getifaddrs"), real, list);
}

// Processes

std::FILE* popen(const char* command, const char* mode) {
  static auto* const real = original<std::FILE*(const char*, const char*)>("popen");
  return call(callNamed("popen"), real, command, mode);
}

int pclose(std::FILE* stream) {
  static auto* const real = original<int(std::FILE*)>("pclose");
  return release(callNamed("pclose"), real, stream);
}

pid_t fork() noexcept {
  static auto* const real = original<pid_t()>("fork");
  const pid_t child = call(callNamed("fork"), real);
  if (child == 0) commutil_faults::disarmChild();
  return child;
}

int execv(const char* path, char* const* argv) noexcept {
  static auto* const real = original<int(const char*, char* const*)>("execv");
  return call(callNamed("execv"), real, path, argv);
}

pid_t waitpid(pid_t child, int* status, int options) {
  static auto* const real = original<pid_t(pid_t, int*, int)>("waitpid");
  const int error = errorDue(callNamed("waitpid"));
  if (error == 0) return real(child, status, options);
  int ignored = 0;
  if (error == ECHILD) real(child, &ignored, options);
  return failedWith<pid_t>(error);
}

int pthread_sigmask(int how, const sigset_t* mask, sigset_t* before) noexcept {
  static auto* const real = original<int(int, const sigset_t*, sigset_t*)>("pthread_sigmask");
  return returned(callNamed("pthread_sigmask"), real, how, mask, before);
}

int sigaction(int number, const struct sigaction* action, struct sigaction* before) noexcept {
  static auto* const real =
      original<int(int, const struct sigaction*, struct sigaction*)>("sigaction");
  return call(callNamed("sigaction"), real, number, action, before);
}

sighandler_t signal(int number, sighandler_t handler) noexcept {
  static auto* const real = original<sighandler_t(int, sighandler_t)>("signal");
  const int error = errorDue(callNamed("signal"));
  if (error == 0) return real(number, handler);
  errno = error;
  return SIG_ERR;
}

int setgid(gid_t group) noexcept {
  static auto* const real = original<int(gid_t)>("setgid");
  return call(callNamed("setgid"), real, group);
}

int initgroups(const char* user, gid_t group) {
  static auto* const real = original<int(const char*, gid_t)>("initgroups");
  return call(callNamed("initgroups"), real, user, group);
}

int setuid(uid_t user) noexcept {
  static auto* const real = original<int(uid_t)>("setuid");
  return call(callNamed("setuid"), real, user);
}

/// Nothing sleeps during an operation: a lock that is held elsewhere is free a second later.
int nanosleep(const timespec* duration, timespec* left) {
  static auto* const real = original<int(const timespec*, timespec*)>("nanosleep");
  return commutil_faults::isArmedInChild() ? 0 : real(duration, left);
}

// Locks

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static auto* const real = original<int(pthread_mutex_t*)>("pthread_mutex_lock");
  return returned(callNamed("pthread_mutex_lock"), real, mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  static auto* const real = original<int(pthread_mutex_t*)>("pthread_mutex_unlock");
  return releaseReturned(callNamed("pthread_mutex_unlock"), real, mutex);
}

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
  static auto* const real = original<int(pthread_rwlock_t*)>("pthread_rwlock_wrlock");
  return returned(callNamed("pthread_rwlock_wrlock"), real, lock);
}

int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
  static auto* const real = original<int(pthread_rwlock_t*)>("pthread_rwlock_unlock");
  return releaseReturned(callNamed("pthread_rwlock_unlock"), real, lock);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                           const timespec* until) {
  static auto* const real =
      original<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>("pthread_cond_timedwait");
  return returned(callNamed("pthread_cond_timedwait"), real, condition, mutex, until);
}

int pthread_cond_destroy(pthread_cond_t* condition) noexcept {
  static auto* const real = original<int(pthread_cond_t*)>("pthread_cond_destroy");
  return returned(callNamed("pthread_cond_destroy"), real, condition);
}

// Loading

void* dlopen(const char* path, int mode) noexcept {
  static auto* const real = original<void*(const char*, int)>("dlopen");
  return call(callNamed("dlopen"), real, path, mode);
}

void* dlsym(void* handle, const char* name) noexcept {
  return call(callNamed("dlsym"), &originalDlsym, handle, name);
}

int dlinfo(void* handle, int request, void* result) noexcept {
  static auto* const real = original<int(void*, int, void*)>("dlinfo");
  return call(callNamed("dlinfo"), real, handle, request, result);
}

// Users and PAM

int getpwnam_r(const char* name, passwd* entry, char* buffer, std::size_t size, passwd** found) {
  static auto* const real =
      original<int(const char*, passwd*, char*, std::size_t, passwd**)>("getpwnam_r");
  return returned(callNamed("getpwnam_r"), real, name, entry, buffer, size, found);
}

int getpwuid_r(uid_t user, passwd* entry, char* buffer, std::size_t size, passwd** found) {
  static auto* const real =
      original<int(uid_t, passwd*, char*, std::size_t, passwd**)>("getpwuid_r");
  return returned(callNamed("getpwuid_r"), real, user, entry, buffer, size, found);
}

int pam_start(const char* service, const char* user, const pam_conv* conversation,
              pam_handle_t** handle) {
  static auto* const real =
      original<int(const char*, const char*, const pam_conv*, pam_handle_t**)>("pam_start");
  return returned(callNamed("pam_start"), real, service, user, conversation, handle);
}

int pam_setcred(pam_handle_t* handle, int flags) {
  static auto* const real = original<int(pam_handle_t*, int)>("pam_setcred");
  return returned(callNamed("pam_setcred"), real, handle, flags);
}

int pam_open_session(pam_handle_t* handle, int flags) {
  static auto* const real = original<int(pam_handle_t*, int)>("pam_open_session");
  return returned(callNamed("pam_open_session"), real, handle, flags);
}

// Resolver, locale and time

int gethostbyname_r(const char* name, hostent* entry, char* buffer, std::size_t size,
                    hostent** found, int* resolverError) {
  static auto* const real =
      original<int(const char*, hostent*, char*, std::size_t, hostent**, int*)>("gethostbyname_r");
  return returned(callNamed("gethostbyname_r"), real, name, entry, buffer, size, found,
                  resolverError);
}

int gethostbyaddr_r(const void* address, socklen_t length, int family, hostent* entry, char* buffer,
                    std::size_t size, hostent** found, int* resolverError) {
  static auto* const real =
      original<int(const void*, socklen_t, int, hostent*, char*, std::size_t, hostent**, int*)>(
          "gethostbyaddr_r");
  return returned(callNamed("gethostbyaddr_r"), real, address, length, family, entry, buffer, size,
                  found, resolverError);
}

int uname(utsname* system) noexcept {
  static auto* const real = original<int(utsname*)>("uname");
  return call(callNamed("uname"), real, system);
}

char* setlocale(int category, const char* name) noexcept {
  static auto* const real = original<char*(int, const char*)>("setlocale");
  return call(callNamed("setlocale"), real, category, name);
}

int gettimeofday(timeval* now, void* zone) noexcept {
  static auto* const real = original<int(timeval*, void*)>("gettimeofday");
  return call(callNamed("gettimeofday"), real, now, zone);
}

std::time_t time(std::time_t* now) noexcept {
  static auto* const real = original<std::time_t(std::time_t*)>("time");
  return call(callNamed("time"), real, now);
}

std::tm* localtime_r(const std::time_t* now, std::tm* local) noexcept {
  static auto* const real = original<std::tm*(const std::time_t*, std::tm*)>("localtime_r");
  return call(callNamed("localtime_r"), real, now, local);
}
}
