// The process lock, the token and the message queue.
#include <ace/Condition_Attributes.h>

#include <memory>

#include "VexaLocks.h"
#include "faults/tour.h"
#include "support/host.h"

namespace commutil_faults {
namespace {

using Entry = VexaToken::ACE_Token_Queue_Entry;
using Queue = VexaToken::ACE_Token_Queue;

std::unique_ptr<VexaProcessLock> newLock() {
  return std::make_unique<VexaProcessLock>("a-lock-with-a-long-name", "/locks/");
}

/// An operation on a process lock, which is exited afterwards if it was entered.
template <class Body>
Operation ofLock(const char* name, Body body, std::vector<std::string> failures = {},
                 std::vector<std::string> related = {}) {
  return {name, [=](Attempt& attempt) { return body(attempt, *newLock()); }, std::move(failures),
          std::move(related)};
}

/// An operation on a free token.
template <class Body>
Operation ofToken(const char* name, Body body) {
  return {name,
          [=](Attempt& attempt) {
            VexaToken token;
            return body(attempt, token);
          },
          {},
          {}};
}

template <class Body>
Operation ofQueue(const char* name, Body body) {
  return {name, [=](Attempt& attempt) {
            ACE_Thread_Mutex mutex;
            Entry one(mutex, 1);
            Entry other(mutex, 2);
            Queue queue;
            return body(attempt, queue, one, other);
          }};
}

std::string order(Queue& queue, const Entry& one, const Entry& other) {
  return show(queue.find(1) == &one, queue.find(2) == &other);
}

/// A queue with two messages: takes one and returns whether its reservation could be used.
std::string dequeue(Attempt& attempt) {
  VexaToken token;
  VexaToken_Message_Queue queue;
  queue.setToken(&token);
  for (int i = 0; i < 2; ++i) queue.enqueue_tail(new ACE_Message_Block(100));
  ACE_Message_Block* message = nullptr;
  int result = -2;
  try {
    result = attempt([&] { return queue.dequeue_head(message, nullptr); });
  } catch (const std::bad_alloc&) {
    // The message is the caller's.
    if (message == nullptr) return show("the message is lost");
    message->release();
    throw;
  }
  if (message != nullptr) message->release();
  const int acquired = token.acquire(nullptr, nullptr, nullptr);
  if (acquired == 0) token.release();
  return show(result, message != nullptr, acquired);
}

}  // namespace

Tour syncTour() {
  return {
      {"VexaProcessLock::VexaProcessLock",
       [](Attempt& attempt) {
         const std::string name = "a-lock-with-a-long-name";
         const std::string directory = "/locks/";
         attempt([&] { const VexaProcessLock lock(name, directory); });
         return show("made");
       }},
      {"VexaProcessLock::~VexaProcessLock",
       [](Attempt& attempt) {
         auto lock = newLock();
         attempt([&] { lock.reset(); });
         return show("gone");
       }},
      ofLock("VexaProcessLock::EnterProcessMutex",
             [](Attempt& attempt, VexaProcessLock& lock) {
               const int result = attempt([&] { return lock.EnterProcessMutex(); });
               return show(result, lock.ExitProcessMutex());
             },
             {show(-1, -1), show(-9, -1)}, {"VexaProcessLock::ExitProcessMutex"}),
      ofLock("VexaProcessLock::ExitProcessMutex",
             [](Attempt& attempt, VexaProcessLock& lock) {
               const int entered = lock.EnterProcessMutex();
               return show(entered, attempt([&] { return lock.ExitProcessMutex(); }));
             },
             {show(0, -1), show(0, -9)}, {"VexaProcessLock::EnterProcessMutex"}),
      ofLock("VexaProcessLock::WaitMaxTime",
             [](Attempt& attempt, VexaProcessLock& lock) {
               const std::string message = "waiting for the other process";
               const int result = attempt([&] { return lock.WaitMaxTime(1, message); });
               return show(result, lock.ExitProcessMutex());
             },
             {show(-1, -1)}),
      ofLock("VexaProcessLock::LeaveProcessMutex",
             [](Attempt& attempt, VexaProcessLock& lock) {
               attempt([&] { lock.LeaveProcessMutex(); });
               return show("left");
             }),
      ofLock("VexaProcessLock::SetOutputType",
             [](Attempt& attempt, VexaProcessLock& lock) {
               attempt([&] { lock.SetOutputType(OUTPUT_TYPE_SILENT); });
               lock.OutputScreen("silent");
               return show(takePrinted());
             }),
      ofLock("VexaProcessLock::OutputScreen",
             [](Attempt& attempt, VexaProcessLock& lock) {
               attempt([&] { lock.OutputScreen("a message of some length"); });
               return show(takePrinted());
             },
             {show("")}),
      {"VexaToken::VexaToken",
       [](Attempt& attempt) {
         attempt([] { const VexaToken token; });
         return show("made");
       }},
      {"VexaToken::~VexaToken",
       [](Attempt& attempt) {
         auto token = std::make_unique<VexaToken>();
         attempt([&] { token.reset(); });
         return show("gone");
       }},
      ofToken("VexaToken::grab",
              [](Attempt& attempt, VexaToken& token) {
                try {
                  attempt([&] { return token.grab(); });
                } catch (const std::bad_alloc&) {
                  // The mutex is free: the token can be reserved, acquired and released.
                  token.grab();
                  token.letgo();
                  if (token.acquire(nullptr, nullptr, nullptr) != 0) return show("not acquired");
                  token.release();
                  throw;
                }
                token.letgo();
                const int acquired = token.acquire(nullptr, nullptr, nullptr);
                return show(acquired, token.release());
              }),
      ofToken("VexaToken::letgo",
              [](Attempt& attempt, VexaToken& token) {
                token.grab();
                attempt([&] { return token.letgo(); });
                const int acquired = token.acquire(nullptr, nullptr, nullptr);
                return show(acquired, token.release());
              }),
      ofToken("VexaToken::acquire",
              [](Attempt& attempt, VexaToken& token) {
                token.grab();
                token.letgo();
                const int acquired =
                    attempt([&] { return token.acquire(nullptr, nullptr, nullptr); });
                return show(acquired, token.release());
              }),
      ofToken("VexaToken::release",
              [](Attempt& attempt, VexaToken& token) {
                token.grab();
                token.letgo();
                token.acquire(nullptr, nullptr, nullptr);
                return show(attempt([&] { return token.release(); }));
              }),
      ofToken("VexaToken::wakeup_next_waiter",
              [](Attempt& attempt, VexaToken& token) {
                attempt([&] { token.wakeup_next_waiter(); });
                return show("woken");
              }),
      ofToken("VexaToken::dump",
              [](Attempt& attempt, VexaToken& token) {
                attempt([&] { token.dump(); });
                return show("dumped");
              }),
      {"VexaToken::ACE_Token_Queue_Entry::ACE_Token_Queue_Entry(ACE_Thread_Mutex&, unsigned long)",
       [](Attempt& attempt) {
         ACE_Thread_Mutex mutex;
         attempt([&] { const Entry entry(mutex, 1); });
         return show("made");
       }},
      {"VexaToken::ACE_Token_Queue_Entry::ACE_Token_Queue_Entry(ACE_Thread_Mutex&, unsigned long, "
       "ACE_Condition_Attributes&)",
       [](Attempt& attempt) {
         ACE_Thread_Mutex mutex;
         ACE_Condition_Attributes attributes;
         attempt([&] { const Entry entry(mutex, 1, attributes); });
         return show("made");
       }},
      {"VexaToken::ACE_Token_Queue_Entry::wait",
       [](Attempt& attempt) {
         ACE_Thread_Mutex mutex;
         Entry entry(mutex, 1);
         const ACE_Time_Value past(1);
         mutex.acquire();
         const int result = attempt([&] { return entry.wait(&past, mutex); });
         mutex.release();
         return show(result);
       }},
      {"VexaToken::ACE_Token_Queue_Entry::signal",
       [](Attempt& attempt) {
         ACE_Thread_Mutex mutex;
         Entry entry(mutex, 1);
         return show(attempt([&] { return entry.signal(); }));
       }},
      {"VexaToken::ACE_Token_Queue::ACE_Token_Queue",
       [](Attempt& attempt) { return show(attempt([] { return Queue(); }).find(1) == nullptr); }},
      ofQueue("VexaToken::ACE_Token_Queue::insert_entry",
              [](Attempt& attempt, Queue& queue, Entry& one, Entry& other) {
                attempt([&] {
                  queue.insert_entry(one, -1);
                  queue.insert_entry(other, 0);
                });
                return order(queue, one, other);
              }),
      ofQueue("VexaToken::ACE_Token_Queue::remove_entry",
              [](Attempt& attempt, Queue& queue, Entry& one, Entry& other) {
                queue.insert_entry(one, -1);
                queue.insert_entry(other, -1);
                attempt([&] { queue.remove_entry(&one); });
                return order(queue, one, other);
              }),
      ofQueue("VexaToken::ACE_Token_Queue::find",
              [](Attempt& attempt, Queue& queue, Entry& one, Entry& other) {
                queue.insert_entry(one, -1);
                return show(attempt([&] { return queue.find(1); }) == &one,
                            queue.find(2) == &other);
              }),
      {"VexaToken_Message_Queue::VexaToken_Message_Queue",
       [](Attempt& attempt) {
         attempt([] { VexaToken_Message_Queue queue; });
         return show("made");
       }},
      {"VexaToken_Message_Queue::~VexaToken_Message_Queue",
       [](Attempt& attempt) {
         auto queue = std::make_unique<VexaToken_Message_Queue>();
         queue->enqueue_tail(new ACE_Message_Block(100));
         attempt([&] { queue.reset(); });
         return show("gone");
       }},
      {"VexaToken_Message_Queue::setToken",
       [](Attempt& attempt) {
         VexaToken token;
         VexaToken_Message_Queue queue;
         return show(attempt([&] { return queue.setToken(&token); }));
       }},
      {"VexaToken_Message_Queue::dequeue_head", dequeue, {show(-1, false, -1)}},  // not locked
  };
}

}  // namespace commutil_faults
