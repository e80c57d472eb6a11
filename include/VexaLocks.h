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

/// @file
/// The lock between processes, the token between threads, and the message queue that reserves it.

/// Whether a `VexaProcessLock` prints its messages to standard output: 1 and 2 do, no other value.
enum OUTPUT_TYPE : int {
  OUTPUT_TYPE_SILENT = 0,  ///< prints nothing
  OUTPUT_TYPE_SCREEN = 1,  ///< prints to standard output; the value after construction
  OUTPUT_TYPE_BOTH = 2     ///< the same
};

/// A named mutex between the processes of one host: a write record lock (fcntl(2), F_SETLK) on a
/// whole file.
///
/// The file is `_APP_SHARE_DIR` + directory + name + "_PROCESSMUTEX", created if it is missing
/// (mode 0666 less the umask), never written and never removed. The variable is read on every enter
/// and exit. Copies of an object refer to the same lock. Messages above 1022 bytes are not
/// printed. Throws nothing but `std::bad_alloc`. Not thread-safe: one thread at a time uses an
/// object.
/// @sharp{lock} Belongs to the process: a second object on the same file succeeds, threads are not
/// excluded, and closing any descriptor of the file drops the lock. @instead Keep one object for
/// each lock, and open the file nowhere else.
/// @sharp{lock} A program that the process executes keeps the lock, a forked child does not have
/// it. @instead Exit before exec(3); enter again in the child.
class VEXA_EXPORT VexaProcessLock {
 public:
  using OUTPUT_TYPE = ::OUTPUT_TYPE;  ///< the type by the name that it has inside the class

  /// Creates the lock `name`; touches no file.
  /// @param directory  below `_APP_SHARE_DIR`, with its slashes at both ends: "/lock/"
  /// @sharp{lock} Joins the parts of the path without "/". @instead Write both slashes.
  VexaProcessLock(const std::string& name, const std::string& directory);

  /// Calls `LeaveProcessMutex`.
  /// @sharp{lock} Releases nothing: a lock stays held until `VexaProcessLock::ExitProcessMutex` of
  /// a copy, or the end of the process. @instead Exit first.
  ~VexaProcessLock();

  /// Takes the lock without waiting. Creates a missing lock directory (mode 0750 less the umask).
  /// @return 0 if taken; -9, without a message, if another process holds it; -1 on any other
  ///         failure, with the message "Getting the envionment variable _APP_SHARE_DIR failed." or
  ///         "Failed to lock NAME_PROCESSMUTEX. The error is ERRNO." (9, EBADF, if the file cannot
  ///         be opened). No file is open then; an exit fails with EBADF, unless it was the variable
  ///         that was missing.
  /// @process{temporary} Until `VexaProcessLock::ExitProcessMutex` the process has a record lock
  /// and an open descriptor, which children inherit.
  /// @sharp{lock} Creates only the last component of the directory. @instead Create its parents.
  /// @sharp{lock} Entering twice loses the first descriptor. @instead Pair enter and exit.
  /// @sharp{lock} The message misspells "environment" by contract. @instead Search for that
  /// spelling.
  int EnterProcessMutex();

  /// Releases the lock and closes its file; the object is as constructed then.
  /// @return 0 if released; -9, without a message, if the unlock fails with `EAGAIN` or `EACCES`;
  ///         -1 on any other failure, with the message "Getting the envionment variable
  ///         _APP_SHARE_DIR failed." (nothing is touched), "Failed to unlock NAME_PROCESSMUTEX. The
  ///         error is ERRNO." or "close file fd FD failed, errno=ERRNO.". A failed unlock leaves
  ///         the file open.
  /// @sharp{lock} Unlocks and closes descriptor 0, standard input, if the object never entered or
  /// has exited. @instead Pair enter and exit.
  /// @sharp{lock} Keeps the lock and returns -1 if `_APP_SHARE_DIR` is gone. @instead Leave the
  /// variable unchanged.
  int ExitProcessMutex();

  /// Tries to take the lock up to `maxTimes` + 1 times, and prints `message`, up to its first NUL,
  /// and sleeps a full second after each refusal. Signals do not shorten the sleep.
  /// @return 0 if taken, -1 if not
  /// @sharp{lock} Returns 0 without the lock if `maxTimes` is negative, and sleeps after the last
  /// refusal too. @instead Pass 0 for one attempt.
  /// @sharp{lock} Returns -1 at the first refusal, without printing, if `message` has more than
  /// 1022 bytes. @instead Keep messages short.
  int WaitMaxTime(int maxTimes, std::string message);

  /// Does nothing.
  /// @sharp{lock} A stub kept for binary compatibility. @instead Do not call it.
  void LeaveProcessMutex();

  /// Sets whether messages are printed to `type`, which may be any value.
  /// @sharp{lock} Messages go to standard output, between the program's own. @instead Pass
  /// `OUTPUT_TYPE_SILENT`.
  void SetOutputType(OUTPUT_TYPE type);

  /// Prints `message` and a line end to standard output, flushed, unless it is null or the object
  /// is silent. Uses `std::cout`: in order with printf(3) while the two are synchronized, refused
  /// after wide output on `stdout`.
  void OutputScreen(const char* message) const;

 private:
  std::string m_fileName;
  std::string m_directory;
  int m_descriptor;
  OUTPUT_TYPE m_outputType;
};

/// A lock between the threads of one process, granted in the order of their reservations.
///
///     token.grab();                              // reserves a place
///     token.letgo();
///     ...                                        // work in any order
///     token.acquire(nullptr, nullptr, nullptr);  // waits for the turn
///     ...                                        // work in the order of the grabs
///     token.release();
///
/// Locks do not nest. Throws nothing but what `grab` throws. Thread-safe.
/// @sharp{token} A `VexaToken::grab` without exactly one `VexaToken::acquire` of the same thread
/// blocks every thread after it, permanently if the thread has ended. @instead Pair them in one
/// function.
class VEXA_EXPORT VexaToken {
 public:
  /// One reserved thread, created by `grab` and freed by `acquire`. The token's mutex guards it.
  class VEXA_EXPORT ACE_Token_Queue_Entry {
   public:
    /// Creates an unqueued entry with a condition on the token's `mutex`.
    /// @param thread_id  the reserving thread, see pthread_self(3)
    ACE_Token_Queue_Entry(ACE_Thread_Mutex& mutex, unsigned long thread_id);
    /// Creates an unqueued entry of the thread `thread_id` with a condition of `attributes` on the
    /// token's `mutex`.
    ACE_Token_Queue_Entry(ACE_Thread_Mutex& mutex, unsigned long thread_id,
                          ACE_Condition_Attributes& attributes);

    /// Marks the thread as waiting and sleeps until signaled. May wake spuriously.
    /// @param timeout  absolute wall-clock time; null waits without limit
    /// @param lock     the token's mutex, held by the caller; released meanwhile
    /// @return 0; -1 with `errno` (`ETIME` at the deadline)
    int wait(const ACE_Time_Value* timeout, ACE_Thread_Mutex& lock);

    /// Wakes the thread that waits on this entry. Returns 0; -1 with `errno` on failure.
    int signal();

   private:
    friend class VexaToken;
    friend class ACE_Token_Queue;

    ACE_Token_Queue_Entry* next_;
    unsigned long thread_id_;
    ACE_Condition<ACE_Thread_Mutex> cond_;
    int runable_;
  };

  /// The reserved threads, first in, first out. Owns no entry; the token's mutex guards it.
  class VEXA_EXPORT ACE_Token_Queue {
   public:
    /// Creates an empty queue.
    ACE_Token_Queue();

    /// Inserts `entry` at `requeue_position`: at the tail if negative, as the token does; at the
    /// head for 0; after the n-th entry for n, at the tail of a shorter queue.
    void insert_entry(ACE_Token_Queue_Entry& entry, int requeue_position);

    /// Unlinks `entry`; does nothing if it is null or not queued.
    void remove_entry(const ACE_Token_Queue_Entry* entry);

    /// Returns the first entry of the thread `thread_id`, or null.
    ACE_Token_Queue_Entry* find(const unsigned long& thread_id);

   private:
    friend class VexaToken;

    ACE_Token_Queue_Entry* head_;
    ACE_Token_Queue_Entry* tail_;
  };

  /// Creates a free token without reservations.
  VexaToken();

  /// Destroys the mutex.
  /// @sharp{token} Frees no reservation. @instead Join the threads first.
  ~VexaToken();

  /// Reserves the caller's place at the tail and returns 0 with the internal mutex locked, so that
  /// other work can be part of the reservation; `letgo` must follow. `acquire` uses a thread's
  /// first reservation.
  /// @throws std::bad_alloc without memory for the reservation; the mutex is not locked then
  int grab();

  /// Unlocks the internal mutex that `grab` locked, and returns 0.
  int letgo();

  /// Waits until the caller is first in line and the token is free, then takes it. A token that is
  /// handed over at the deadline goes to the next in line.
  /// @param sleep_hook  called with `arg` first; may be null
  /// @param timeout     ignored if the token can be taken at once; null waits without limit
  /// @return 0 if taken; 1 if taken after waiting and there is a hook; -1 without a reservation
  ///         (`errno` unchanged), at the deadline (`errno` is `ETIME`) or if waiting fails (`errno`
  ///         is set)
  /// @sharp{token} A failed wait drops the reservation: the next call returns -1 at once. @instead
  /// Call `VexaToken::grab` again first.
  /// @sharp{token} Calls the hook under the token's mutex, even if it will not wait or there is no
  /// reservation. @instead Do not call the token in the hook.
  /// @sharp{token} Takes an absolute wall-clock time, as does
  /// `VexaToken_Message_Queue::dequeue_head`. @instead Add to `ACE_OS::gettimeofday`.
  int acquire(void (*sleep_hook)(void*), void* arg, ACE_Time_Value* timeout);

  /// Hands the token to the next reserved thread, or marks it free, and returns 0.
  /// @sharp{token} Does not check who calls it. @instead Call it once for each `VexaToken::acquire`
  /// that returned 0 or 1.
  int release();

  /// Internal to the token: hands it on while the internal mutex is locked.
  void wakeup_next_waiter();

  /// Does nothing.
  /// @sharp{token} A stub kept for binary compatibility. @instead Do not call it.
  void dump() const;

 private:
  ACE_thread_t owner_;
  ACE_Thread_Mutex lock_;
  ACE_Token_Queue waiters_;
  int waiter_count_;
  int in_use_;
};

/// ACE's message queue, which also reserves a dequeuing thread's place in a token, in the same
/// critical section. Workers can then do part of their work in dequeue order.
///
/// Thread-safe, but a thread must not hold two reservations at once. The queue's mutex is always
/// locked before the token's.
/// @sharp{token} The base's `dequeue_tail`, `dequeue_prio` and `dequeue_deadline` reserve nothing:
/// a `VexaToken::acquire` after them fails. @instead Use `VexaToken_Message_Queue::dequeue_head`,
/// or `dequeue`, which calls it.
class VEXA_EXPORT VexaToken_Message_Queue : public ACE_Message_Queue<ACE_MT_SYNCH> {
 public:
  /// Creates an active, empty queue without a token.
  /// @param hwm  high water mark in bytes, from which on enqueuing waits
  /// @param lwm  low water mark in bytes, from which down it resumes
  /// @param ns   notification strategy; may be null; not owned
  explicit VexaToken_Message_Queue(std::size_t hwm = ACE_Message_Queue_Base::DEFAULT_HWM,
                                   std::size_t lwm = ACE_Message_Queue_Base::DEFAULT_LWM,
                                   ACE_Notification_Strategy* ns = nullptr);

  /// Deactivates a queue that holds messages and releases them; does not touch the token.
  ~VexaToken_Message_Queue() override;

  /// Sets the `token` in which threads reserve, null for none, and returns 0. The token is not
  /// owned. Not thread-safe.
  /// @sharp{token} Without a token, `VexaToken_Message_Queue::dequeue_head` takes the message,
  /// hands it out and returns -1. @instead Set the token before the first worker starts.
  int setToken(VexaToken* token);

  /// Takes the first message, waiting for one with the virtual `wait_not_empty_cond`, and reserves
  /// the caller's place in the token. The caller must then acquire and release the token once.
  /// @param first_item  set to the message, which the caller owns; unchanged if none is taken
  /// @param timeout     absolute wall-clock time; null waits without limit
  /// @return the number of messages left; -1, without a reservation, with `errno` `EAGAIN` at the
  ///         deadline, `ESHUTDOWN` if the queue is deactivated or a waiter finds it deactivated or
  ///         pulsed, or the error of the wait
  /// @throws std::bad_alloc without memory for the reservation; the caller owns the message then
  int dequeue_head(ACE_Message_Block*& first_item, ACE_Time_Value* timeout) override;

 private:
  VexaToken* token_;
};

#endif
