#pragma once

#include "support/fixtures.h"

// Locales for tests, by glibc's names. Set them inside `runInChild`: the locale is the process's.

namespace commutil_test {

/// A locale in 8-bit ISO 8859-1 with a decimal comma, generated for the test's own use.
class Latin1Locale {
 public:
  Latin1Locale();

  /// Makes setlocale(3) find it, for the rest of the process.
  void offer() const;
  /// The same, and sets it.
  void set() const;

  static constexpr const char* kName = "latin1";

 private:
  TempDir m_dir;
};

/// Sets the locale `name` of the process; fails the test when it is not installed.
void setLocale(const char* name);

}  // namespace commutil_test
