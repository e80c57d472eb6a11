#pragma once

#include <unistd.h>

/// Waits until standard input ends, so that the process can be examined.
inline int waitForInput() {
  char byte = 0;
  return ::read(STDIN_FILENO, &byte, 1) == 0 ? 0 : 1;
}
