#pragma once

#include "support/fixtures.h"

// Locales for tests, by glibc's names. Set them inside `runInChild`: the locale is process-wide.

namespace commutil_test {

/// A locale with ISO 8859-1 and a decimal comma, generated for the test.
class Latin1Locale {
 public:
  Latin1Locale();

  /// Makes setlocale(3) find it until the process ends.
  void offer() const;
  /// The same, and sets it.
  void set() const;

  static constexpr const char* kName = "latin1";

 private:
  TempDir m_dir;
};

/// Sets the process locale to `name`; fails the test if it is not installed.
void setLocale(const char* name);

}  // namespace commutil_test
