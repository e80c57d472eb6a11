#ifndef VEXA_LOCALE_H
#define VEXA_LOCALE_H

#include <ace/RW_Thread_Mutex.h>

#include "VexaExport.h"

/// @file
/// The record that the process locale is set.

/// The process-wide record that the process locale was set from the environment; without state.
class VEXA_EXPORT VexaLocale {
 public:
  /// Returns the single instance, never null. The first call, or the first wide/multibyte
  /// conversion, creates it and calls `SetLocale("")`.
  ///
  /// Thread-safe unless `Destory` runs. If the lock fails, `errno` is set and the work goes on
  /// without it. Throws nothing but `std::bad_alloc`.
  /// @sharp{encodings} If the locale is not installed, prints "SetLocale return NULL" and a line
  /// end to standard output, flushed; keeps the old locale, and never tries again. @instead Install
  /// the locale; expect the line in filters.
  /// @sharp{encodings} Publishes the instance before the locale is set: other threads may convert
  /// meanwhile. @instead Call it before threads start.
  static VexaLocale* Instance();

  /// Sets all categories of the process locale, see setlocale(3).
  /// @param name  "" for `LC_ALL`, the other `LC_` variables and `LANG`, see locale(7); null only
  ///              queries
  /// @return the name of the locale now set; null, nothing changed, if `name` is not installed
  /// @note Thread-safe unless another thread uses the locale.
  /// @process{permanent} The process locale changes.
  static char* SetLocale(const char* name);

  /// Deletes the instance, if any; the next `Instance` creates another and sets the locale again.
  /// @sharp{encodings} Keeps the locale, and takes no lock. @instead Do not call it, or call it
  /// last: no other thread may be in `VexaLocale::Instance` or a conversion.
  /// @sharp{encodings} The name is misspelled by contract. @instead Search for that spelling.
  static void Destory();

 private:
  static VexaLocale* m_instance;
  static ACE_RW_Thread_Mutex m_mutex;
};

#endif
