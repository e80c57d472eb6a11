#pragma once

// Failing system calls, for paths that the kernel takes too rarely. Call these inside `runInChild`:
// they last until the process ends.

namespace commutil_test {

/// Makes every later call of `number` (SYS_close, ...) fail with `error`.
void failSystemCall(long number, int error);

/// The same, but only for calls whose second argument is `argument` (the command of fcntl(2)).
void failSystemCall(long number, unsigned argument, int error);

/// Makes any later call of `number` end the process, to show that there is none.
void forbidSystemCall(long number);

}  // namespace commutil_test
