// The process lock, the token with time limits, its parts, and the message queue.
#include <ace/Condition_Attributes.h>
#include <ace/OS_NS_sys_time.h>

#include <unistd.h>

#include <cerrno>
#include <memory>

#include "VexaLocks.h"
#include "soak/operations.h"

namespace commutil_soak {
namespace {

using Entry = VexaToken::ACE_Token_Queue_Entry;
using Queue = VexaToken::ACE_Token_Queue;
using Text = std::string;

/// Each process has a thread of this number, and each object of it a process: the lock is of the
/// process.
Outcome lockProcesses(Caller& caller) {
  VexaProcessLock lock("thread-" + std::to_string(caller.thread), "/locks/");
  lock.SetOutputType(OUTPUT_TYPE_SILENT);
  const int result = lock.EnterProcessMutex();
  if (result == -9) return Outcome::failed;
  if (result != 0) return caller.equal(result, 0);
  LockOracle& oracle = caller.common.meeting->locks[caller.thread];
  const bool alone = oracle.enter() != LockOracle::Entry::second;
  if (alone) oracle.leave();
  lock.LeaveProcessMutex();
  return both(caller.holds(alone), caller.equal(lock.ExitProcessMutex(), 0));
}

/// The name is the thread's own: a refusal would sleep for a second.
Outcome waitForLock(Caller& caller) {
  const Text name = std::to_string(::getpid()) + "-" + std::to_string(caller.thread);
  VexaProcessLock lock(name, "/locks/");
  lock.SetOutputType(OUTPUT_TYPE_SILENT);
  lock.OutputScreen("not printed");
  const int result = lock.WaitMaxTime(static_cast<int>(caller.random.below(3)), "waiting");
  return both(caller.equal(result, 0), caller.equal(lock.ExitProcessMutex(), 0));
}

void doNothing(void* /*argument*/) {}

/// Waits for the process's token until a time that may be over.
Outcome acquireInTime(Caller& caller) {
  ACE_Time_Value deadline = ACE_OS::gettimeofday();
  deadline += ACE_Time_Value(0, static_cast<suseconds_t>(caller.random.below(2000)));
  Common& common = caller.common;
  common.token.grab();
  common.token.letgo();
  errno = 0;
  const int result = common.token.acquire(caller.random.once(2) ? doNothing : nullptr, nullptr,
                                          caller.random.once(2) ? &deadline : nullptr);
  if (result == -1) return errno == ETIME ? Outcome::failed : Outcome::wrong;
  const bool alone = common.holders.fetch_add(1) == 0;
  for (std::size_t left = caller.random.below(1000); left > 0; --left) caller.random.number();
  common.holders.fetch_sub(1);
  common.token.release();
  return caller.holds(alone);
}

Outcome useToken(Caller& caller) {
  VexaToken token;
  token.grab();
  token.letgo();
  const int acquired = token.acquire(nullptr, nullptr, nullptr);
  token.dump();
  const int released = token.release();
  token.wakeup_next_waiter();
  return caller.holds(acquired == 0 && released == 0);
}

Outcome useEntries(Caller& caller) {
  ACE_Thread_Mutex mutex;
  ACE_Condition_Attributes attributes;
  Entry one(mutex, 1);
  Entry other(mutex, 2, attributes);
  Queue queue;
  queue.insert_entry(one, -1);
  queue.insert_entry(other, static_cast<int>(caller.random.below(3)) - 1);
  const bool found = queue.find(1) == &one && queue.find(2) == &other;
  queue.remove_entry(&one);
  const bool rest = queue.find(1) == nullptr && queue.find(2) == &other;
  const int signaled = one.signal();
  const ACE_Time_Value past(1);
  mutex.acquire();
  const int waited = one.wait(&past, mutex);
  mutex.release();
  return caller.holds(found && rest && signaled == 0 && waited == -1);
}

Outcome useQueue(Caller& caller) {
  VexaToken token;
  VexaToken_Message_Queue queue;
  queue.setToken(&token);
  const int count = static_cast<int>(caller.random.below(5));
  for (int i = 0; i < count; ++i) queue.enqueue_tail(new ACE_Message_Block(100));
  ACE_Message_Block* message = nullptr;
  ACE_Time_Value past(1);
  errno = 0;
  const int left = queue.dequeue_head(message, &past);
  if (count == 0) return left == -1 && errno == EWOULDBLOCK ? Outcome::failed : Outcome::wrong;
  message->release();
  const int acquired = token.acquire(nullptr, nullptr, nullptr);
  token.release();
  return both(caller.equal(left, count - 1), caller.equal(acquired, 0));
}

}  // namespace

void addSyncOperations(Operations& all) {
  all.push_back({{"VexaProcessLock::VexaProcessLock", "VexaProcessLock::~VexaProcessLock",
                  "VexaProcessLock::EnterProcessMutex", "VexaProcessLock::ExitProcessMutex",
                  "VexaProcessLock::LeaveProcessMutex"},
                 Cost::files,
                 lockProcesses});
  all.push_back({{"VexaProcessLock::WaitMaxTime", "VexaProcessLock::SetOutputType",
                  "VexaProcessLock::OutputScreen"},
                 Cost::files,
                 waitForLock});
  all.push_back({{"VexaToken::acquire"}, Cost::files, acquireInTime});
  all.push_back(
      {{"VexaToken::VexaToken", "VexaToken::~VexaToken", "VexaToken::grab", "VexaToken::letgo",
        "VexaToken::release", "VexaToken::wakeup_next_waiter", "VexaToken::dump"},
       Cost::memory,
       useToken});
  const Text entry = "VexaToken::ACE_Token_Queue_Entry::";
  const Text queue = "VexaToken::ACE_Token_Queue::";
  all.push_back({{entry + "ACE_Token_Queue_Entry(ACE_Thread_Mutex&, unsigned long)",
                  entry + "ACE_Token_Queue_Entry(ACE_Thread_Mutex&, unsigned long, "
                          "ACE_Condition_Attributes&)",
                  entry + "wait", entry + "signal", queue + "ACE_Token_Queue",
                  queue + "insert_entry", queue + "remove_entry", queue + "find"},
                 Cost::memory,
                 useEntries});
  all.push_back({{"VexaToken_Message_Queue::VexaToken_Message_Queue",
                  "VexaToken_Message_Queue::~VexaToken_Message_Queue",
                  "VexaToken_Message_Queue::setToken", "VexaToken_Message_Queue::dequeue_head"},
                 Cost::memory,
                 useQueue});
}

}  // namespace commutil_soak
