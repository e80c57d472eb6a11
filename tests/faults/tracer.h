#pragma once

#include <sys/types.h>
#include <sys/user.h>

#include <array>
#include <cstddef>
#include <optional>

#include "faults/fault.h"

namespace commutil_faults {

/// Fails a system call of a child that has armed a fault of the kernel. Only the child itself is
/// traced, and only until it disarms the fault: the processes that it starts are left alone.
class Tracer {
 public:
  Tracer(pid_t child, const Fault& fault) : m_child(child), m_fault(fault) {}

  /// Handles a stop of the child, by its wait status, and lets it continue.
  void onStop(int status);

  /// A system call that the table does not have.
  std::optional<long> unknownCall() const { return m_unknown; }

 private:
  using ExtendedState = std::array<std::byte, 16384>;

  void onEntry();
  void onExit();
  void resume(int signal = 0) const;
  user_regs_struct registers() const;
  void setRegisters(user_regs_struct registers) const;
  void transferExtendedState(int what);
  void keepStack();
  void goOnAfterStack();

  const pid_t m_child;
  const Fault m_fault;
  std::optional<long> m_unknown;
  bool m_attached = false;
  bool m_inside = false;  ///< between the two stops of a system call
  long m_number = -1;     ///< of the current system call
  int m_error = 0;        ///< with which the current system call fails
  bool m_keepsStack = false;
  user_regs_struct m_registers{};
  ExtendedState m_extended{};
  std::size_t m_extendedSize = 0;
  std::array<std::byte, 128> m_redZone{};
};

}  // namespace commutil_faults
