#include <ace/Guard_T.h>

#include <cerrno>

#include "VexaLocks.h"

VexaToken_Message_Queue::VexaToken_Message_Queue(std::size_t hwm, std::size_t lwm,
                                                 ACE_Notification_Strategy* ns)
    : ACE_Message_Queue<ACE_MT_SYNCH>(hwm, lwm, ns), token_(nullptr) {}

VexaToken_Message_Queue::~VexaToken_Message_Queue() = default;

int VexaToken_Message_Queue::setToken(VexaToken* token) {
  token_ = token;
  return 0;
}

int VexaToken_Message_Queue::dequeue_head(ACE_Message_Block*& first_item, ACE_Time_Value* timeout) {
  const ACE_Guard<ACE_Thread_Mutex> guard(lock_);
  if (guard.locked() == 0) return -1;
  if (state_ == DEACTIVATED) {
    errno = ESHUTDOWN;
    return -1;
  }
  if (wait_not_empty_cond(timeout) == -1) return -1;
  const int left = dequeue_head_i(first_item);
  if (left == -1) return -1;
  // A queue without a token is a setup error; the caller owns the message nevertheless.
  if (token_ == nullptr) return -1;
  token_->grab();
  token_->letgo();
  return left;
}
