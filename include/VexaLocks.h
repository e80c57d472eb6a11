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

/// Whether a `VexaProcessLock` prints its messages to standard output. Only the values 1 and 2
/// print; every other value silences the object.
enum OUTPUT_TYPE : int {
  OUTPUT_TYPE_SILENT = 0,  ///< nothing is printed
  OUTPUT_TYPE_SCREEN = 1,  ///< messages reach standard output; the value after construction
  OUTPUT_TYPE_BOTH = 2     ///< the same
};

/// A named mutex between the processes of one host: a write record lock (fcntl(2), F_SETLK) on a
/// whole file below the directory that `_APP_SHARE_DIR` names. The file is made where it is missing
/// (mode 0666 under the umask), never written and never removed. The variable is read on every
/// enter and exit, not at construction.
///
/// The lock belongs to the process, not to the object or the thread: a second object on the same
/// file in the same process succeeds too, closing any descriptor of the file in the process drops
/// the lock, a forked child does not have it, and a program that the process executes keeps it (the
/// descriptor is inherited). Copies of an object stand for the same lock. Threads: one object must
/// not be used by two at once; the mutex does not exclude threads from each other.
///
/// Messages are printed as `OutputScreen` does, and only then; nothing else is logged. A message of
/// more than 1022 bytes is not printed at all. Nothing throws but `std::bad_alloc`.
class VEXA_EXPORT VexaProcessLock {
 public:
  using OUTPUT_TYPE = ::OUTPUT_TYPE;  ///< the type by the name that it has inside the class

  /// Names the lock; no file is touched. The lock file is the value of `_APP_SHARE_DIR`,
  /// `directory`, `name` and "_PROCESSMUTEX", joined without separators: `directory` carries its
  /// own slashes at both ends ("/lock/").
  VexaProcessLock(const std::string& name, const std::string& directory);

  /// Neither unlocks nor closes: a lock that is held stays held until `ExitProcessMutex` (of a
  /// copy) or the end of the process.
  ~VexaProcessLock();

  /// Takes the lock without waiting. A lock directory that is missing is made first (mode 0750
  /// under the umask, its last component only). Entering an object that is entered already opens
  /// the file anew and loses the earlier descriptor.
  /// @return 0 when taken; -9, silently, when another process holds it; -1 on any other failure,
  ///         after one of the messages "Getting the envionment variable _APP_SHARE_DIR failed." and
  ///         "Failed to lock NAME_PROCESSMUTEX. The error is ERRNO." (9, EBADF, when the file could
  ///         not be opened). After a failure no file is open, and an exit meets EBADF unless it was
  ///         the variable that was missing.
  int EnterProcessMutex();

  /// Releases the lock and closes its file. Only for an object that entered: one that never tried,
  /// or that was exited, acts on descriptor 0, standard input, and closes that.
  /// @return 0 when released, and the object is as constructed; -9, silently, when the unlock is
  ///         refused with `EAGAIN` or `EACCES`; -1 on any other failure, after one of the messages
  ///         "Getting the envionment variable _APP_SHARE_DIR failed." (nothing is touched then),
  ///         "Failed to unlock NAME_PROCESSMUTEX. The error is ERRNO." and "close file fd FD
  ///         failed, errno=ERRNO.". A refused unlock leaves the file open.
  int ExitProcessMutex();

  /// Tries to take the lock up to `maxTimes` + 1 times, printing `message` and sleeping a full
  /// second after each refusal, the last one included; signals that are handled meanwhile do not
  /// shorten the second.
  /// @param maxTimes  rounds to wait, in seconds; a negative number returns 0 without locking
  /// @param message   printed up to its first NUL, at most 1022 bytes; a longer one makes the first
  ///                  refused attempt return -1 at once, nothing printed
  /// @return 0 when taken, -1 when not, for whatever reason
  int WaitMaxTime(int maxTimes, std::string message);

  /// Does nothing; the destructor calls it.
  void LeaveProcessMutex();

  /// Chooses by `type` whether messages are printed; any value may be given.
  void SetOutputType(OUTPUT_TYPE type);

  /// Prints `message` and a line end to standard output and flushes, unless `message` is null or
  /// the object is silent. Goes through std::cout: in order with printf(3) as long as the two are
  /// synchronised, and refused behind wide output on `stdout`.
  void OutputScreen(const char* message) const;

 private:
  std::string m_fileName;
  std::string m_directory;
  int m_descriptor;
  OUTPUT_TYPE m_outputType;
};

/// A lock between the threads of one process that is handed out strictly in the order in which they
/// reserved it. A thread calls `grab` and `letgo` to reserve its place, later `acquire` to wait for
/// its turn, and `release` to hand the token on:
///
///     token.grab();
///     token.letgo();
///     ...                                        // work in any order
///     token.acquire(nullptr, nullptr, nullptr);
///     ...                                        // work in the order of the grabs
///     token.release();
///
/// Every `grab` must be followed by exactly one `acquire` of the same thread, or every thread
/// behind it waits for ever. There is no nesting, and no check that the holder is who releases.
/// Nothing throws but `grab` without memory. Threads: any, for all members.
class VEXA_EXPORT VexaToken {
 public:
  /// One reserved thread. Made by `grab`, freed by `acquire`. Threads: guarded by the token's
  /// mutex.
  class VEXA_EXPORT ACE_Token_Queue_Entry {
   public:
    /// An entry that stands in no queue.
    /// @param mutex      the token's, for the condition on which the thread sleeps
    /// @param thread_id  the reserving thread, as pthread_self(3) gives it
    ACE_Token_Queue_Entry(ACE_Thread_Mutex& mutex, unsigned long thread_id);
    /// The same with a condition of the caller's making.
    /// @param mutex       the token's
    /// @param thread_id   the reserving thread
    /// @param attributes  what the condition is made with
    ACE_Token_Queue_Entry(ACE_Thread_Mutex& mutex, unsigned long thread_id,
                          ACE_Condition_Attributes& attributes);

    /// Marks the thread as waiting and sleeps until signalled. May wake for no reason.
    /// @param timeout  absolute wall-clock time; null waits without limit
    /// @param lock     the token's mutex, which the caller holds; released meanwhile
    /// @return 0, or -1 with `errno` (`ETIME` at the deadline)
    int wait(const ACE_Time_Value* timeout, ACE_Thread_Mutex& lock);

    /// Wakes the thread that waits on this entry. Returns 0, or -1 with `errno`.
    int signal();

   private:
    friend class VexaToken;
    friend class ACE_Token_Queue;

    ACE_Token_Queue_Entry* next_;
    unsigned long thread_id_;
    ACE_Condition<ACE_Thread_Mutex> cond_;
    int runable_;
  };

  /// The reserved threads, first in, first out. Owns no entry. Threads: not locked, the token's
  /// mutex guards it.
  class VEXA_EXPORT ACE_Token_Queue {
   public:
    /// An empty queue.
    ACE_Token_Queue();

    /// Inserts `entry` at `requeue_position`: -1 (or less) at the tail, 0 at the head, n behind the
    /// n-th entry from the head (at the tail of a shorter queue). The token itself only ever uses
    /// -1.
    void insert_entry(ACE_Token_Queue_Entry& entry, int requeue_position);

    /// Unlinks `entry` wherever it stands; one that is not queued, or null, is ignored.
    void remove_entry(const ACE_Token_Queue_Entry* entry);

    /// Returns the first entry of the thread `thread_id`, or null.
    ACE_Token_Queue_Entry* find(const unsigned long& thread_id);

   private:
    friend class VexaToken;

    ACE_Token_Queue_Entry* head_;
    ACE_Token_Queue_Entry* tail_;
  };

  /// A free token that nobody has reserved.
  VexaToken();

  /// Destroys the mutex only; entries that are still queued are not freed.
  ~VexaToken();

  /// Reserves the caller's place at the tail and returns 0 with the internal mutex held, so that
  /// the caller can join other work to the reservation; `letgo` must follow. A second reservation
  /// of a thread stands behind its first, which is the one that `acquire` uses.
  /// @throws std::bad_alloc without memory for the reservation; the mutex is free then
  int grab();

  /// Releases the internal mutex that `grab` left locked, and returns 0.
  int letgo();

  /// Waits until the caller is first in line and the token is free, then takes it.
  /// @param sleep_hook  null, or called with `arg` under the internal mutex at once, whether or not
  ///                    the thread will wait or even has a reservation; it must not call the token
  /// @param arg         what the hook is called with
  /// @param timeout     absolute wall-clock time; null waits without limit. Not looked at when the
  ///                    token can be taken at once
  /// @return 0 when taken; 1 when taken after waiting and a hook was given; -1 when the thread has
  ///         no reservation (`errno` unchanged), at the deadline (`errno` is `ETIME`) or when
  ///         waiting fails (`errno` says why). After a failed wait the reservation is gone; a token
  ///         that was handed over at the deadline has gone to the next in line.
  int acquire(void (*sleep_hook)(void*), void* arg, ACE_Time_Value* timeout);

  /// Hands the token to the next reserved thread, or marks it free, and returns 0. Does not check
  /// that the caller holds it.
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
/// part of its work in the order in which the messages left the queue. `dequeue_head`, and
/// `dequeue` which calls it, reserve; the base's other ways to dequeue do not.
///
/// Threads: any number may enqueue and dequeue, but none may hold two reservations at once. The
/// queue's mutex is always taken before the token's.
class VEXA_EXPORT VexaToken_Message_Queue : public ACE_Message_Queue<ACE_MT_SYNCH> {
 public:
  /// An active, empty queue without a token.
  /// @param hwm  high water mark in bytes: from there on enqueuing waits
  /// @param lwm  low water mark in bytes: from there down it goes on
  /// @param ns   notification strategy, or null; not owned
  explicit VexaToken_Message_Queue(std::size_t hwm = ACE_Message_Queue_Base::DEFAULT_HWM,
                                   std::size_t lwm = ACE_Message_Queue_Base::DEFAULT_LWM,
                                   ACE_Notification_Strategy* ns = nullptr);

  /// Deactivates a queue that holds messages and releases them; the token is left alone.
  ~VexaToken_Message_Queue() override;

  /// Names the `token` in which dequeuing threads reserve, and returns 0; null turns the
  /// reservation off and makes `dequeue_head` fail. Not owned, and not guarded: call it before
  /// threads dequeue.
  int setToken(VexaToken* token);

  /// Takes the first message, waiting for one, and reserves the caller's place in the token; the
  /// caller must then `acquire` and `release` the token once. Waits through the virtual
  /// `wait_not_empty_cond`.
  /// @param first_item  the message, the caller's from then on; unchanged when none was taken
  /// @param timeout     absolute wall-clock time; null waits without limit
  /// @return the number of messages left; -1, without a reservation, with `errno` `EAGAIN` at the
  ///         deadline, `ESHUTDOWN` when the queue is deactivated or a waiter finds it deactivated
  ///         or pulsed, or the error of the wait. Without a token the message is removed and handed
  ///         out in `first_item`, and the result is -1.
  /// @throws std::bad_alloc without memory for the reservation; the message is the caller's then
  /// too
  int dequeue_head(ACE_Message_Block*& first_item, ACE_Time_Value* timeout) override;

 private:
  VexaToken* token_;
};

#endif
