#pragma once

#include <unistd.h>

/// Stays until the standard input ends, so that the process can be looked at.
inline int waitForInput() {
  char byte = 0;
  return ::read(STDIN_FILENO, &byte, 1) == 0 ? 0 : 1;
}
