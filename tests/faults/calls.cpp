#include "faults/calls.h"

#include <sys/syscall.h>

#include <algorithm>
#include <iterator>

namespace commutil_faults {
namespace {

struct NumberedCall {
  long number;
  std::size_t call;
};

constexpr NumberedCall kFailing[] = {
    {SYS_access, callNamed("access")},
    {SYS_faccessat, callNamed("access")},
    {SYS_faccessat2, callNamed("access")},
    {SYS_open, callNamed("open")},
    {SYS_openat, callNamed("open")},
    {SYS_close, callNamed("close")},
    {SYS_read, callNamed("read")},
    {SYS_pread64, callNamed("read")},
    {SYS_write, callNamed("write")},
    {SYS_writev, callNamed("write")},
    {SYS_sendfile, callNamed("sendfile")},
    {SYS_lseek, callNamed("lseek")},
    {SYS_stat, callNamed("stat")},
    {SYS_newfstatat, callNamed("stat")},
    {SYS_fstat, callNamed("fstat")},
    {SYS_mkdir, callNamed("mkdir")},
    {SYS_unlink, callNamed("unlink")},
    {SYS_readlink, callNamed("readlink")},
    {SYS_ftruncate, callNamed("ftruncate")},
    {SYS_utimensat, callNamed("futimens")},
    {SYS_fchmod, callNamed("fchmod")},
    {SYS_fchown, callNamed("fchown")},
    {SYS_fcntl, callNamed("fcntl")},
    {SYS_dup, callNamed("dup")},
    {SYS_dup2, callNamed("dup2")},
    {SYS_pipe2, callNamed("pipe")},
    {SYS_madvise, callNamed("madvise")},
    {SYS_mmap, callNamed("mmap")},
    {SYS_mprotect, callNamed("mprotect")},
    {SYS_getdents64, callNamed("readdir")},
    {SYS_socket, callNamed("socket")},
    {SYS_ioctl, callNamed("ioctl")},
    {SYS_bind, callNamed("bind")},
    {SYS_connect, callNamed("connect")},
    {SYS_getsockname, callNamed("getsockname")},
    {SYS_sendto, callNamed("send")},
    {SYS_sendmsg, callNamed("send")},
    {SYS_recvfrom, callNamed("recv")},
    {SYS_recvmsg, callNamed("recv")},
    {SYS_poll, callNamed("poll")},
    {SYS_fork, callNamed("fork")},
    {SYS_vfork, callNamed("fork")},
    {SYS_clone, callNamed("fork")},
    {SYS_clone3, callNamed("fork")},
    {SYS_wait4, callNamed("waitpid")},
    {SYS_setgid, callNamed("setgid")},
    {SYS_setgroups, callNamed("initgroups")},
    {SYS_setuid, callNamed("setuid")},
};

/// These cannot fail, or only for arguments that no caller passes; brk(2) fails like mmap(2), but
/// has another result.
constexpr long kNeverFailing[] = {
    SYS_brk,          SYS_clock_nanosleep, SYS_exit_group,   SYS_futex,
    SYS_getegid,      SYS_geteuid,         SYS_getgid,       SYS_getpid,
    SYS_getppid,      SYS_getrandom,       SYS_gettid,       SYS_getuid,
    SYS_munmap,       SYS_prlimit64,       SYS_rt_sigaction, SYS_rt_sigprocmask,
    SYS_rt_sigreturn, SYS_umask,           SYS_uname,
};

}  // namespace

SystemCall systemCall(long number) {
  for (const NumberedCall& known : kFailing) {
    if (known.number == number) return {SystemCall::Kind::failing, known.call};
  }
  const bool never = std::find(std::begin(kNeverFailing), std::end(kNeverFailing), number) !=
                     std::end(kNeverFailing);
  return {never ? SystemCall::Kind::neverFailing : SystemCall::Kind::unknown, 0};
}

bool isDoneWhenFailing(std::size_t call, int error) {
  return call == callNamed("close") || (call == callNamed("waitpid") && error == ECHILD);
}

}  // namespace commutil_faults
