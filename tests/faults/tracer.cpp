#include "faults/tracer.h"

#include <elf.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>

namespace commutil_faults {
namespace {

constexpr int kSystemCallStop = SIGTRAP | 0x80;
constexpr unsigned long long kNoCall = ~0ULL;

void request(__ptrace_request what, pid_t child, void* address, void* data) {
  if (::ptrace(what, child, address, data) == -1) std::abort();
}

void* pointer(unsigned long long value) {
  return reinterpret_cast<void*>(value);  // NOLINT(performance-no-int-to-ptr): ptrace(2) wants it
}

}  // namespace

void Tracer::onStop(int status) {
  const int signal = WSTOPSIG(status);
  if (!m_attached) {  // by the child's own signal
    m_attached = true;
    request(PTRACE_SETOPTIONS, m_child, nullptr,
            pointer(PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL));
    resume();
  } else if (signal == kSystemCallStop) {
    m_inside = !m_inside;
    m_inside ? onEntry() : onExit();
  } else if (signal == SIGTRAP && m_keepsStack) {
    goOnAfterStack();
  } else {
    resume(signal);
  }
}

void Tracer::onEntry() {
  if (!isArmedInChild()) {
    request(PTRACE_DETACH, m_child, nullptr, nullptr);
    m_attached = false;
    m_inside = false;
    return;
  }
  user_regs_struct now = registers();
  m_number = static_cast<long>(now.orig_rax);
  const SystemCall call = systemCall(m_number);
  if (call.kind == SystemCall::Kind::unknown) m_unknown = m_number;
  if (call.kind == SystemCall::Kind::failing) m_error = errorDueInKernel(call.call, m_fault);
  if (m_error != 0 && !isDoneWhenFailing(call.call, m_error)) {
    now.orig_rax = kNoCall;
    setRegisters(now);
  }
  resume();
}

void Tracer::onExit() {
  if (m_error == 0) {
    resume();
    return;
  }
  m_registers = registers();
  m_registers.rax = static_cast<unsigned long long>(-m_error);
  m_registers.orig_rax = kNoCall;  // nothing to restart
  m_error = 0;
  if (m_number != SYS_vfork) {
    keepStack();
    return;
  }
  // The return address of vfork(2) is not on its stack.
  setRegisters(m_registers);
  resume();
}

void Tracer::resume(int signal) const {
  request(PTRACE_SYSCALL, m_child, nullptr, pointer(static_cast<unsigned long long>(signal)));
}

user_regs_struct Tracer::registers() const {
  user_regs_struct registers{};
  request(PTRACE_GETREGS, m_child, nullptr, &registers);
  return registers;
}

void Tracer::setRegisters(user_regs_struct registers) const {
  request(PTRACE_SETREGS, m_child, nullptr, &registers);
}

/// Gets or sets the vector registers.
void Tracer::transferExtendedState(int what) {
  iovec state{m_extended.data(), what == PTRACE_GETREGSET ? m_extended.size() : m_extendedSize};
  request(static_cast<__ptrace_request>(what), m_child, pointer(NT_X86_XSTATE), &state);
  m_extendedSize = state.iov_len;
}

/// Makes the child call `keepStackAndStop` as if the code after the system call did. That code may
/// use vector registers, and memory below its stack pointer.
void Tracer::keepStack() {
  transferExtendedState(PTRACE_GETREGSET);
  iovec local{m_redZone.data(), m_redZone.size()};
  iovec remote{pointer(m_registers.rsp - m_redZone.size()), m_redZone.size()};
  if (::process_vm_readv(m_child, &local, 1, &remote, 1, 0) < 0) std::abort();
  user_regs_struct calling = m_registers;
  calling.rsp -= sizeof calling.rip;
  request(PTRACE_POKEDATA, m_child, pointer(calling.rsp), pointer(calling.rip));
  calling.rip = reinterpret_cast<unsigned long long>(&keepStackAndStop);
  setRegisters(calling);
  m_keepsStack = true;
  request(PTRACE_CONT, m_child, nullptr, nullptr);
}

void Tracer::goOnAfterStack() {
  m_keepsStack = false;
  iovec local{m_redZone.data(), m_redZone.size()};
  iovec remote{pointer(m_registers.rsp - m_redZone.size()), m_redZone.size()};
  if (::process_vm_writev(m_child, &local, 1, &remote, 1, 0) < 0) std::abort();
  transferExtendedState(PTRACE_SETREGSET);
  setRegisters(m_registers);
  resume();
}

}  // namespace commutil_faults
