#ifndef VEXA_LOCALE_H
#define VEXA_LOCALE_H

#include <ace/RW_Thread_Mutex.h>

#include "VexaExport.h"

/// The process-wide record that the process locale has been taken from the environment. The first
/// wide/multibyte conversion of the library creates it; a process may do so earlier by calling
/// `Instance`.
class VEXA_EXPORT VexaLocale {
 public:
  /// Returns the single instance. The first call creates it and calls `SetLocale("")`, so that
  /// every locale category follows the environment; when that fails, the line
  /// "SetLocale return NULL" goes to standard output and the locale stays as it was. The pointer
  /// is published before the locale is set: another thread may convert while `setlocale` runs.
  /// Safe to call from any thread, but not while `Destory` runs.
  static VexaLocale* Instance();

  /// Calls `setlocale(LC_ALL, name)` and returns its result: the new locale's name, or null when
  /// the locale is unknown. Changes the whole process; see setlocale(3).
  static char* SetLocale(const char* name);

  /// Deletes the instance, if any; the next `Instance` sets the locale again. The locale itself
  /// stays. Takes no lock: it must not race with `Instance`. The spelling is part of the contract.
  static void Destory();

 private:
  static VexaLocale* m_instance;
  static ACE_RW_Thread_Mutex m_mutex;
};

#endif
