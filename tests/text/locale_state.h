#pragma once

#include <clocale>
#include <cstdlib>
#include <string>

#include "VexaLocale.h"

// The locale of the process and its one `VexaLocale`. Include it in one source of a program.

namespace commutil_test {

/// Sets the environment's locale to `locale`, by the variable that overrides all others.
inline void nameLocale(const char* locale) { ::setenv("LC_ALL", locale, 1); }

inline std::string currentLocale() { return std::setlocale(LC_ALL, nullptr); }

// Private members, which an explicit instantiation may name.
template <auto mutex>
struct MutexOf {
  friend ACE_RW_Thread_Mutex& localeMutex() { return *mutex; }
};
template <auto instance>
struct InstanceOf {
  friend VexaLocale*& localeInstance() { return *instance; }
};
ACE_RW_Thread_Mutex& localeMutex();
VexaLocale*& localeInstance();
template struct MutexOf<&VexaLocale::m_mutex>;
template struct InstanceOf<&VexaLocale::m_instance>;

}  // namespace commutil_test
