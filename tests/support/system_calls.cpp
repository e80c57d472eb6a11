#include "support/system_calls.h"

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

#include <cstddef>
#include <vector>

namespace commutil_test {
namespace {

using Filter = std::vector<sock_filter>;

sock_filter load(std::size_t offset) {
  return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(offset));
}

/// Continues with the next instruction if the loaded word is `value`, else skips `skip` of them.
sock_filter unlessEqualSkip(unsigned value, unsigned char skip) {
  return BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, skip);
}

sock_filter answer(unsigned action) { return BPF_STMT(BPF_RET | BPF_K, action); }

void install(Filter filter) {
  filter.push_back(answer(SECCOMP_RET_ALLOW));
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  ASSERT_EQ(0, ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0));
  ASSERT_EQ(0, ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program));
}

unsigned failure(int error) {
  return SECCOMP_RET_ERRNO | (static_cast<unsigned>(error) & SECCOMP_RET_DATA);
}

}  // namespace

void failSystemCall(long number, int error) {
  install({load(offsetof(seccomp_data, nr)), unlessEqualSkip(static_cast<unsigned>(number), 1),
           answer(failure(error))});
}

void failSystemCall(long number, unsigned argument, int error) {
  install({load(offsetof(seccomp_data, nr)), unlessEqualSkip(static_cast<unsigned>(number), 3),
           load(offsetof(seccomp_data, args) + sizeof(__u64)), unlessEqualSkip(argument, 1),
           answer(failure(error))});
}

void forbidSystemCall(long number) {
  install({load(offsetof(seccomp_data, nr)), unlessEqualSkip(static_cast<unsigned>(number), 1),
           answer(SECCOMP_RET_KILL_PROCESS)});
}

}  // namespace commutil_test
