#pragma once

// System calls made to fail, for paths that the kernel takes too seldom. Call these inside
// `runInChild`: what they do to the process lasts until it ends.

namespace commutil_test {

/// Makes every later call of `number` (SYS_close, ...) fail with `error`.
void failSystemCall(long number, int error);

/// The same, only for calls whose second argument is `argument` (the command of fcntl(2)).
void failSystemCall(long number, unsigned argument, int error);

/// Makes any later call of `number` the end of the process, so that a test sees that none is made.
void forbidSystemCall(long number);

}  // namespace commutil_test
