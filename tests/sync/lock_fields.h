#pragma once

#include <ace/Condition_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>

#include <string>

#include "VexaLocks.h"

// The private fields of the lock classes, in the order in which processes that were built against
// the layout find them.

namespace commutil_test {

struct ProcessLockFields {
  std::string fileName;
  std::string directory;
  int descriptor;
  int outputType;  // an OUTPUT_TYPE, or whatever else it was set to
};

struct QueueFields {
  VexaToken::ACE_Token_Queue_Entry* head;
  VexaToken::ACE_Token_Queue_Entry* tail;
};

struct EntryFields {
  VexaToken::ACE_Token_Queue_Entry* next;
  unsigned long thread;
  ACE_Condition<ACE_Thread_Mutex> condition;
  int runable;
};

struct TokenFields {
  ACE_thread_t owner;
  ACE_Thread_Mutex lock;
  QueueFields waiters;
  int waiterCount;
  int inUse;
};

inline const ProcessLockFields& fieldsOf(const VexaProcessLock& lock) {
  return reinterpret_cast<const ProcessLockFields&>(lock);
}

inline TokenFields& fieldsOf(VexaToken& token) { return reinterpret_cast<TokenFields&>(token); }

inline EntryFields& fieldsOf(VexaToken::ACE_Token_Queue_Entry& entry) {
  return reinterpret_cast<EntryFields&>(entry);
}

}  // namespace commutil_test
