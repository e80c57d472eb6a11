#ifndef VEXA_LOCKS_H
#define VEXA_LOCKS_H

#include <ace/Condition_Thread_Mutex.h>
#include <ace/Message_Queue.h>
#include <ace/OS_NS_Thread.h>
#include <ace/Thread_Mutex.h>
#include <ace/Time_Value.h>

#include <cstddef>
#include <string>

#include "VexaExport.h"

/// Whether a `VexaProcessLock` prints its messages to standard output. Only the two output values
/// print; every other value silences the object.
enum OUTPUT_TYPE : int {
  OUTPUT_TYPE_SILENT = 0,
  OUTPUT_TYPE_SCREEN = 1,  ///< messages reach standard output; the value after construction
  OUTPUT_TYPE_BOTH = 2     ///< the same
};

/// A named mutex between the processes of one host: a write record lock (fcntl(2)) on a file below
/// the directory that `_APP_SHARE_DIR` names.
///
/// The lock belongs to the process, not to the object: a second object on the same file in the
/// same process succeeds too, closing any descriptor of the file in the process drops the lock,
/// and a forked child does not inherit it. One object must not be used by two threads at once.
class VEXA_EXPORT VexaProcessLock {
 public:
  using OUTPUT_TYPE = ::OUTPUT_TYPE;

  /// Names the lock; no file is touched. The lock file is `_APP_SHARE_DIR` + `directory` + `name`
  /// + "_PROCESSMUTEX", joined without separators: `directory` carries its own slashes
  /// ("/lock/").
  VexaProcessLock(const std::string& name, const std::string& directory);

  /// Neither unlocks nor closes: a lock that is held stays held until `ExitProcessMutex` or the
  /// end of the process.
  ~VexaProcessLock();

  /// Takes the lock without waiting; a missing lock directory is created (mode 0750, its last
  /// component only).
  /// @return 0 when taken; -9 when another process holds it; -1 on any other failure, after a
  ///         message on standard output
  int EnterProcessMutex();

  /// Releases the lock and closes its file. Only for an object that entered: before that, the
  /// descriptor it would act on is 0, standard input.
  /// @return 0 when released; -9 when the unlock is refused with `EAGAIN` or `EACCES`; -1 on any
  ///         other failure, after a message on standard output
  int ExitProcessMutex();

  /// Tries to take the lock up to `maxTimes` + 1 times, printing `message` and sleeping one second
  /// after each refusal, the last one included.
  /// @param maxTimes  rounds to wait, in seconds; a negative number returns 0 without locking
  /// @param message   at most 1022 bytes; a longer one makes a refused attempt return -1 at once
  /// @return 0 when taken, -1 when not
  int WaitMaxTime(int maxTimes, std::string message);

  /// Does nothing; the destructor calls it.
  void LeaveProcessMutex();

  /// Chooses whether messages are printed.
  void SetOutputType(OUTPUT_TYPE type);

  /// Prints `message` and a line end to standard output and flushes, unless `message` is null or
  /// the object is silent.
  void OutputScreen(const char* message) const;

 private:
  std::string m_fileName;
  std::string m_directory;
  int m_descriptor;
  OUTPUT_TYPE m_outputType;
};

/// A lock between threads that is handed out strictly in the order in which they reserved it. A
/// thread calls `grab` and `letgo` to reserve its place, later `acquire` to wait for its turn, and
/// `release` to hand the token on. Every `grab` must be followed by exactly one `acquire` of the
/// same thread, or every thread behind it waits for ever.
class VEXA_EXPORT VexaToken {
 public:
  /// One reserved thread.
  class VEXA_EXPORT ACE_Token_Queue_Entry {
   public:
    ACE_Token_Queue_Entry(ACE_Thread_Mutex& mutex, unsigned long thread_id);
    ACE_Token_Queue_Entry(ACE_Thread_Mutex& mutex, unsigned long thread_id,
                          ACE_Condition_Attributes& attributes);

    /// Waits to be signalled, `lock` released meanwhile.
    /// @param timeout  absolute time; null waits without limit
    /// @return 0, or -1 with `errno` (`ETIME` at the deadline)
    int wait(const ACE_Time_Value* timeout, ACE_Thread_Mutex& lock);

    /// Wakes the thread that waits on this entry.
    int signal();

   private:
    friend class VexaToken;
    friend class ACE_Token_Queue;

    ACE_Token_Queue_Entry* next_;
    unsigned long thread_id_;
    ACE_Condition<ACE_Thread_Mutex> cond_;
    int runable_;
  };

  /// The reserved threads, first in, first out. Not locked: the token's mutex guards it.
  class VEXA_EXPORT ACE_Token_Queue {
   public:
    ACE_Token_Queue();

    /// Inserts `entry`: -1 at the tail, 0 at the head, n behind the n-th entry from the head (at
    /// the tail of a shorter queue).
    void insert_entry(ACE_Token_Queue_Entry& entry, int requeue_position);

    /// Unlinks `entry`; one that is not queued is ignored.
    void remove_entry(const ACE_Token_Queue_Entry* entry);

    /// Returns the first entry of the thread, or null.
    ACE_Token_Queue_Entry* find(const unsigned long& thread_id);

   private:
    friend class VexaToken;

    ACE_Token_Queue_Entry* head_;
    ACE_Token_Queue_Entry* tail_;
  };

  VexaToken();

  /// Destroys the mutex only; entries that are still queued are not freed.
  ~VexaToken();

  /// Reserves the caller's place at the tail and returns 0 with the internal mutex held, so that
  /// the caller can join other work to the reservation; `letgo` must follow.
  int grab();

  /// Releases the internal mutex that `grab` left locked. Returns 0.
  int letgo();

  /// Waits until the caller is first in line and the token is free.
  /// @param sleep_hook  null, or called with `arg` under the internal mutex before any wait
  /// @param timeout     absolute time; null waits without limit
  /// @return 0 when taken; 1 when taken after waiting and a hook was given; -1 when the thread has
  ///         no reservation, at the deadline (`errno` is `ETIME`) or when waiting fails. After a
  ///         failed wait the reservation is gone.
  int acquire(void (*sleep_hook)(void*), void* arg, ACE_Time_Value* timeout);

  /// Hands the token to the next reserved thread, or marks it free. Does not check that the caller
  /// holds it. Returns 0.
  int release();

  /// Internal to the token: hands it on while the internal mutex is held.
  void wakeup_next_waiter();

  /// Does nothing.
  void dump() const;

 private:
  ACE_thread_t owner_;
  ACE_Thread_Mutex lock_;
  ACE_Token_Queue waiters_;
  int waiter_count_;
  int in_use_;
};

/// ACE's message queue with one change: the thread that takes a message off the head reserves, in
/// the same critical section, its place in a token, so that a pool of workers can do the ordered
/// part of its work in the order in which the messages left the queue.
class VEXA_EXPORT VexaToken_Message_Queue : public ACE_Message_Queue<ACE_MT_SYNCH> {
 public:
  /// @param hwm, lwm  high and low water marks in bytes
  /// @param ns        notification strategy, or null; not owned
  explicit VexaToken_Message_Queue(std::size_t hwm = ACE_Message_Queue_Base::DEFAULT_HWM,
                                   std::size_t lwm = ACE_Message_Queue_Base::DEFAULT_LWM,
                                   ACE_Notification_Strategy* ns = nullptr);

  /// Releases the messages that are still queued; the token is left alone.
  ~VexaToken_Message_Queue() override;

  /// Names the token in which dequeuing threads reserve; null turns the reservation off and makes
  /// `dequeue_head` fail. Not owned. Returns 0.
  int setToken(VexaToken* token);

  /// Takes the first message, waiting for one, and reserves the caller's place in the token; the
  /// caller must then `acquire` and `release` the token once.
  /// @param timeout  absolute time; null waits without limit
  /// @return the number of messages left; -1 with `errno` `EAGAIN` at the deadline or `ESHUTDOWN`
  ///         when the queue is deactivated. Without a token the message is removed and handed out
  ///         in `first_item`, and the result is -1.
  int dequeue_head(ACE_Message_Block*& first_item, ACE_Time_Value* timeout) override;

 private:
  VexaToken* token_;
};

#endif
