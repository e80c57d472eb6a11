#pragma once

#include <security/_pam_types.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <span>
#include <string_view>

// The one table of what can fail, and how.

namespace commutil_faults {

/// A call, and the errors that its man page lists for correct arguments: the value of `errno`, or
/// what the function returns.
struct Call {
  std::string_view name;
  std::array<int, 20> errors;  ///< up to the first 0

  std::span<const int> errorList() const {
    const auto end = std::find(errors.begin(), errors.end(), 0);
    return {errors.data(), static_cast<std::size_t>(end - errors.begin())};
  }
};

/// Allocations first.
inline constexpr std::size_t kAllocations = 6;
inline constexpr auto kCalls = std::to_array<Call>({
    {"new", {ENOMEM}},
    {"new(nothrow)", {ENOMEM}},
    {"malloc", {ENOMEM}},
    {"calloc", {ENOMEM}},
    {"realloc", {ENOMEM}},
    {"aligned_alloc", {ENOMEM}},

    // Files
    {"open",
     {EACCES, EINTR, EMFILE, ENFILE, ENOENT, ENOMEM, ELOOP, ENAMETOOLONG, ENODEV, ENOSPC, ENOTDIR,
      ENXIO, EDQUOT, EOVERFLOW, EPERM, EROFS, EWOULDBLOCK, EISDIR}},
    {"fopen", {EACCES, EINTR, EMFILE, ENFILE, ENOENT, ENOMEM, EISDIR}},
    {"fclose", {EIO, EINTR, ENOSPC, EDQUOT}},
    {"close", {EIO, EINTR, ENOSPC, EDQUOT}},
    {"read", {EINTR, EIO, EAGAIN, EISDIR}},
    {"write", {EIO, EINTR, ENOSPC, EAGAIN, EDQUOT, EFBIG, EPERM, EPIPE}},
    {"sendfile", {EINVAL, EIO, EINTR, EAGAIN, ENOMEM, EOVERFLOW, ESPIPE}},
    {"lseek", {ESPIPE, EOVERFLOW, ENXIO}},
    {"fseek", {ESPIPE, EOVERFLOW, EIO}},
    {"ftell", {ESPIPE, EOVERFLOW}},
    {"stat", {ENOENT, EACCES, ENOMEM, ELOOP, ENAMETOOLONG, ENOTDIR, EOVERFLOW}},
    {"fstat", {ENOMEM, EOVERFLOW, EIO}},
    {"access", {ENOENT, EACCES, EIO, ENOMEM, ELOOP, ENAMETOOLONG, ENOTDIR, EROFS}},
    {"mkdir",
     {EEXIST, EACCES, ENOSPC, EDQUOT, ELOOP, EMLINK, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EPERM,
      EROFS}},
    {"unlink",
     {EACCES, ENOENT, EPERM, EBUSY, EIO, EISDIR, ELOOP, ENAMETOOLONG, ENOMEM, ENOTDIR, EROFS}},
    {"realpath", {EACCES, ENOENT, ENOMEM, EIO, ELOOP, ENAMETOOLONG, ENOTDIR}},
    {"readlink", {EACCES, ENOENT, ENOMEM, EIO, ELOOP, ENAMETOOLONG, ENOTDIR}},
    {"ftruncate", {EIO, EINTR, EPERM, EFBIG, EROFS}},
    {"futimens", {EACCES, EPERM, EROFS}},
    {"fchmod", {EPERM, EIO, EROFS}},
    {"fchown", {EPERM, EIO, EROFS}},
    {"fcntl", {EMFILE, EAGAIN, EACCES, EINTR, ENOLCK, EDEADLK, EINVAL}},
    {"dup", {EMFILE}},
    {"dup2", {EINTR, EBUSY}},
    {"pipe", {EMFILE, ENFILE}},
    {"madvise", {EINVAL, ENOMEM, EAGAIN}},
    {"mmap", {ENOMEM, EACCES, EAGAIN, ENFILE, ENODEV, EPERM}},
    {"mprotect", {ENOMEM, EACCES}},

    // Directories
    {"opendir", {EACCES, EMFILE, ENFILE, ENOENT, ENOMEM, ENOTDIR}},
    {"readdir", {EIO, ENOENT}},
    {"closedir", {EIO, EINTR}},

    // Sockets
    {"socket", {EACCES, EMFILE, ENFILE, ENOBUFS, ENOMEM, EAFNOSUPPORT, EPROTONOSUPPORT}},
    {"ioctl", {EINVAL, ENODEV, EPERM, ENOTTY}},
    {"bind", {EACCES, EADDRINUSE, ENOMEM}},
    {"connect", {ECONNREFUSED, ENOENT, EACCES, EAGAIN, EINTR, ENETUNREACH, ETIMEDOUT}},
    {"getsockname", {ENOBUFS}},
    {"send", {EAGAIN, EINTR, ENOBUFS, ENOMEM, EACCES}},
    {"recv", {EAGAIN, EINTR, ENOMEM}},
    {"poll", {EINTR, ENOMEM}},
    {"getifaddrs", {EMFILE, ENFILE, ENOBUFS, ENOMEM, EAFNOSUPPORT}},

    // Processes
    {"popen", {EAGAIN, EMFILE, ENFILE, ENOMEM}},
    {"pclose", {ECHILD, EINTR}},
    {"fork", {EAGAIN, ENOMEM}},
    {"execv",
     {ENOENT, EACCES, E2BIG, EIO, ELOOP, EMFILE, ENFILE, ENOEXEC, ENOMEM, ENOTDIR, EPERM, ETXTBSY}},
    {"waitpid", {ECHILD, EINTR}},
    {"pthread_sigmask", {EINVAL}},
    {"sigaction", {EINVAL}},
    {"signal", {EINVAL}},
    {"setgid", {EPERM, EINVAL}},
    {"initgroups", {EPERM, ENOMEM}},
    {"setuid", {EAGAIN, EPERM}},

    // Locks
    {"pthread_mutex_lock", {EAGAIN, EINVAL, EDEADLK}},
    {"pthread_mutex_unlock", {EPERM}},
    {"pthread_rwlock_wrlock", {EDEADLK, EINVAL}},
    {"pthread_rwlock_unlock", {EPERM}},
    {"pthread_cond_timedwait", {EINVAL, ETIMEDOUT}},
    {"pthread_cond_destroy", {EBUSY}},

    // Loading
    {"dlopen", {ENOENT}},
    {"dlsym", {ENOENT}},
    {"dlinfo", {EINVAL}},

    // Users and PAM
    {"getpwnam_r", {EINTR, EIO, EMFILE, ENFILE, ENOMEM, ERANGE}},
    {"getpwuid_r", {EINTR, EIO, EMFILE, ENFILE, ENOMEM, ERANGE}},
    {"pam_start", {PAM_ABORT, PAM_BUF_ERR, PAM_SYSTEM_ERR}},
    {"pam_setcred",
     {PAM_BUF_ERR, PAM_CRED_ERR, PAM_CRED_EXPIRED, PAM_CRED_UNAVAIL, PAM_SYSTEM_ERR,
      PAM_USER_UNKNOWN}},
    {"pam_open_session", {PAM_ABORT, PAM_BUF_ERR, PAM_SESSION_ERR}},

    // Resolver, locale and time
    {"gethostbyname_r", {ERANGE, EAGAIN, ENOENT}},
    {"gethostbyaddr_r", {ERANGE, EAGAIN, ENOENT}},
    {"uname", {EFAULT}},
    {"setlocale", {ENOENT}},
    {"gettimeofday", {EFAULT}},
    {"time", {EFAULT}},
    {"localtime_r", {EOVERFLOW}},
});

/// Returns the index of a call; the table must have it.
consteval std::size_t callNamed(std::string_view name) {
  for (std::size_t i = 0; i < kCalls.size(); ++i) {
    if (kCalls[i].name == name) return i;
  }
  throw "the table lacks the call";
}

/// What the table says about a system call.
struct SystemCall {
  enum class Kind : unsigned char {
    failing,       ///< `call` is its index
    neverFailing,  ///< it cannot fail if its arguments are correct
    unknown,       ///< it must be added
  };

  Kind kind;
  std::size_t call;
};

SystemCall systemCall(long number);

/// Returns whether a failing call does its work nevertheless: a descriptor is closed, a child that
/// is missing has been reaped.
bool isDoneWhenFailing(std::size_t call, int error);

}  // namespace commutil_faults
