#ifndef VEXA_LOCALE_H
#define VEXA_LOCALE_H

#include <ace/RW_Thread_Mutex.h>

#include "VexaExport.h"

/// @file
/// The record that the process locale is set.

/// The process-wide record that the process locale has been taken from the environment. The first
/// wide/multibyte conversion of the library creates it; a process may do so earlier by calling
/// `Instance`. It holds no state: that it exists is what it tells. Threads: each member says.
class VEXA_EXPORT VexaLocale {
 public:
  /// Returns the single instance, never null. The first call creates it and calls `SetLocale("")`,
  /// so that every locale category follows the environment (`LC_ALL`, the other `LC_` variables and
  /// `LANG`; see locale(7)). When that fails, the line "SetLocale return NULL" goes to standard
  /// output, flushed, and the locale stays as it was; there is no second attempt.
  ///
  /// Threads: any, but not while `Destory` runs. The instance is published before
  /// the locale is set: another thread may convert while `setlocale` runs. A lock that cannot be
  /// taken or released leaves its error code in `errno`, and the work goes on without it. Throws
  /// nothing but `std::bad_alloc`.
  static VexaLocale* Instance();

  /// Calls setlocale(3) for `LC_ALL` and returns its result: the name of the locale now set, or
  /// null when `name` is not installed and nothing changed. "" takes the names from the
  /// environment; a null `name` only asks. Changes the whole process. Threads: not while another
  /// one uses the locale.
  static char* SetLocale(const char* name);

  /// Deletes the instance, if there is one; the next `Instance` makes another and sets the locale
  /// again. The locale itself stays. The spelling is part of the contract. Threads: takes no lock,
  /// so not while another one is in `Instance` or a conversion.
  static void Destory();

 private:
  static VexaLocale* m_instance;
  static ACE_RW_Thread_Mutex m_mutex;
};

#endif
