// Token: a lock between threads, granted in the order of reservations. The token's mutex guards
// every field.
#include <ace/OS_NS_Thread.h>
#include <pthread.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <new>

#include "VexaLocks.h"

namespace {

// The state of an entry's thread, its runable.
constexpr int kReserved = 0;
constexpr int kHandedOver = 1;
constexpr int kWaiting = 2;

constexpr int kAtTail = -1;
constexpr int kAtHead = 0;

/// The default attributes of a condition, built once: half the cost of a condition variable. Never
/// destroyed, because threads may still reserve during exit; not on the heap, so that they are
/// unloaded with the library.
const ACE_Condition_Attributes& defaultAttributes() {
  using Attributes = ACE_Condition_Attributes;
  alignas(Attributes) static std::array<std::byte, sizeof(Attributes)> room;
  static const auto& attributes = *new (room.data()) Attributes;
  return attributes;
}

/// Holds the token's mutex for a scope; continues without it if locking fails. Calls the C library
/// directly, because ACE's wrappers cost a tenth of a turn's time.
class TokenLock {
 public:
  explicit TokenLock(ACE_Thread_Mutex& mutex) : m_mutex(mutex.lock()) {}
  ~TokenLock() {
    if (m_locked) pthread_mutex_unlock(&m_mutex);
  }
  TokenLock(const TokenLock&) = delete;
  TokenLock& operator=(const TokenLock&) = delete;

 private:
  ACE_thread_mutex_t& m_mutex;
  const bool m_locked = pthread_mutex_lock(&m_mutex) == 0;
};

}  // namespace

// The entry

VexaToken::ACE_Token_Queue_Entry::ACE_Token_Queue_Entry(ACE_Thread_Mutex& mutex,
                                                        unsigned long thread_id)
    : next_(nullptr),
      thread_id_(thread_id),
      cond_(mutex, defaultAttributes()),
      runable_(kReserved) {}

VexaToken::ACE_Token_Queue_Entry::ACE_Token_Queue_Entry(ACE_Thread_Mutex& mutex,
                                                        unsigned long thread_id,
                                                        ACE_Condition_Attributes& attributes)
    : next_(nullptr), thread_id_(thread_id), cond_(mutex, attributes), runable_(kReserved) {}

int VexaToken::ACE_Token_Queue_Entry::wait(const ACE_Time_Value* timeout, ACE_Thread_Mutex& lock) {
  runable_ = kWaiting;
  return cond_.wait(lock, timeout);
}

int VexaToken::ACE_Token_Queue_Entry::signal() { return cond_.signal(); }

// The queue

VexaToken::ACE_Token_Queue::ACE_Token_Queue() : head_(nullptr), tail_(nullptr) {}

void VexaToken::ACE_Token_Queue::insert_entry(ACE_Token_Queue_Entry& entry, int requeue_position) {
  if (head_ == nullptr || requeue_position == kAtHead) {
    entry.next_ = head_;
    head_ = &entry;
    if (tail_ == nullptr) tail_ = &entry;
    return;
  }
  ACE_Token_Queue_Entry* before = tail_;
  if (requeue_position >= 0) {
    before = head_;
    while (--requeue_position > 0 && before->next_ != nullptr) before = before->next_;
  }
  entry.next_ = before->next_;
  before->next_ = &entry;
  if (before == tail_) tail_ = &entry;
}

void VexaToken::ACE_Token_Queue::remove_entry(const ACE_Token_Queue_Entry* entry) {
  ACE_Token_Queue_Entry* before = nullptr;
  ACE_Token_Queue_Entry** link = &head_;
  while (*link != nullptr && *link != entry) {
    before = *link;
    link = &before->next_;
  }
  if (*link == nullptr) return;
  *link = entry->next_;
  if (tail_ == entry) tail_ = before;
}

VexaToken::ACE_Token_Queue_Entry* VexaToken::ACE_Token_Queue::find(const unsigned long& thread_id) {
  ACE_Token_Queue_Entry* entry = head_;
  while (entry != nullptr && entry->thread_id_ != thread_id) entry = entry->next_;
  return entry;
}

// The token

VexaToken::VexaToken() : owner_(ACE_OS::NULL_thread), waiter_count_(0), in_use_(0) {}

VexaToken::~VexaToken() = default;

int VexaToken::grab() {
  auto entry = std::make_unique<ACE_Token_Queue_Entry>(lock_, ACE_OS::thr_self());
  pthread_mutex_lock(&lock_.lock());
  // acquire frees it.
  waiters_.insert_entry(*entry.release(), kAtTail);
  ++waiter_count_;
  return 0;
}

int VexaToken::letgo() {
  pthread_mutex_unlock(&lock_.lock());
  return 0;
}

int VexaToken::acquire(void (*sleep_hook)(void*), void* arg, ACE_Time_Value* timeout) {
  // Declared before the lock, so that it is freed after the mutex is released.
  std::unique_ptr<ACE_Token_Queue_Entry> entry;
  const TokenLock lock(lock_);
  const ACE_thread_t self = ACE_OS::thr_self();
  if (sleep_hook != nullptr) sleep_hook(arg);
  ACE_Token_Queue_Entry* const queued = waiters_.find(self);
  if (queued == nullptr) return -1;

  const bool mustWait = in_use_ != 0 || queued != waiters_.head_;
  int error = 0;
  if (mustWait) {
    do {
      error = queued->wait(timeout, lock_) == 0 ? 0 : errno;
    } while ((error == 0 || error == EINTR) && owner_ != self);
  } else {
    in_use_ = 1;
    owner_ = self;
  }
  --waiter_count_;
  waiters_.remove_entry(queued);
  entry.reset(queued);
  if (error == 0 || error == EINTR) return mustWait && sleep_hook != nullptr ? 1 : 0;

  // The token arrived at the deadline: pass it on, or it is lost.
  if (error == ETIME && queued->runable_ == kHandedOver) wakeup_next_waiter();
  entry.reset();
  errno = error;
  return -1;
}

int VexaToken::release() {
  const TokenLock lock(lock_);
  wakeup_next_waiter();
  return 0;
}

void VexaToken::wakeup_next_waiter() {
  in_use_ = 0;
  owner_ = ACE_OS::NULL_thread;
  ACE_Token_Queue_Entry* const next = waiters_.head_;
  if (next == nullptr) return;
  // A thread that has only reserved takes the token as the head when it acquires.
  if (next->runable_ == kWaiting) in_use_ = 1;
  next->runable_ = kHandedOver;
  next->signal();
  owner_ = next->thread_id_;
}

void VexaToken::dump() const {}
