#include "VexaLocale.h"

#include <ace/Guard_T.h>

#include <atomic>
#include <clocale>

#include "os/standard_streams.h"

VexaLocale* VexaLocale::m_instance = nullptr;
ACE_RW_Thread_Mutex VexaLocale::m_mutex;

VexaLocale* VexaLocale::Instance() {
  const std::atomic_ref<VexaLocale*> instance(m_instance);
  if (VexaLocale* const existing = instance.load(std::memory_order_acquire)) return existing;

  // If locking fails, ACE leaves the error in errno, and the work continues unlocked.
  const ACE_Write_Guard<ACE_RW_Thread_Mutex> guard(m_mutex);
  if (instance.load(std::memory_order_relaxed) == nullptr) {
    // Published before the locale is set: a thread on the unlocked path does not wait for it.
    instance.store(new VexaLocale, std::memory_order_release);
    if (SetLocale("") == nullptr) commutil::printLine("SetLocale return NULL");
  }
  return instance.load(std::memory_order_relaxed);
}

char* VexaLocale::SetLocale(const char* name) { return std::setlocale(LC_ALL, name); }

void VexaLocale::Destory() {
  delete std::atomic_ref<VexaLocale*>(m_instance).exchange(nullptr, std::memory_order_acq_rel);
}
