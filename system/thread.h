#pragma once
// Threads and locks on top of POSIX threads: CLuThread (a named worker
// thread whose body is a virtual function), CLuMutex (a recursive lock with a
// time-out) and CLuExclusiveWrite (many readers or one writer, each with a
// time-out). Waits are measured with the nanosecond clock of system/timer.
//
// Errors: results only (true/false); nothing here prints or throws.
// Time-outs are unsigned 32-bit milliseconds; 4294967295 (nLuWaitForever)
// means wait for ever where a function says so.
//
// CLuMutex is used by the global heap, so taking and releasing it never
// allocates memory: it uses only the platform mutex, condition and clocks.

#include <pthread.h>
#include <sys/time.h>
#include <time.h>

#include <atomic>
#include <cstdint>

// The time-out value that means "no limit" for CLuMutex and
// CLuExclusiveWrite (CLuThread::bWaitFor treats it as about 49.7 days).
constexpr uint32_t nLuWaitForever = 0xFFFFFFFFu;

// Recursive lock with a time-out. The owner may take it again; every
// successful bAcquire needs one Release.
class CLuMutex {
 public:
  // Creates the platform mutex and condition with default attributes; the
  // lock starts free (no owner, count 0). Never allocates.
  CLuMutex();
  // Destroys the platform objects. The lock must not be held or waited on.
  virtual ~CLuMutex();

  CLuMutex(CLuMutex const&) = delete;
  CLuMutex& operator=(CLuMutex const&) = delete;

  // Takes the lock for the calling thread. Returns true at once when the lock
  // is free or already owned by the caller (the count then rises by one).
  // Otherwise waits on the condition: for ever when nTimeoutMs is
  // 4294967295, else until the wall clock passes now + nTimeoutMs, the
  // deadline being computed afresh before every wait (a wake-up that does
  // not get the lock starts the full time-out again). Returns false when a
  // wait times out; the lock is then untouched. nTimeoutMs 0 against another
  // thread's lock fails after one immediate timed wait. The deadline's
  // microsecond sum wraps at 32 bits (see ComputeDeadline), so time-outs
  // above 4,294,967 ms end early; this is kept on purpose.
  bool bAcquire(uint32_t nTimeoutMs);

  // Gives up one level of the lock: the count drops by one and, when it
  // reaches 0, one waiter is woken. Does nothing when the lock is free. Does
  // not check that the caller is the owner.
  void Release();

  // The recursion count at the moment of the call (0 = free).
  uint32_t nGetCount() const;

  // The absolute wall-clock deadline that bAcquire waits for: the current
  // microseconds (tvNow.tv_usec) plus nTimeoutMs * 1000, summed in unsigned
  // 32-bit arithmetic so that large time-outs wrap (4,294,968 ms from a whole
  // second ends 704 microseconds later), then split into whole seconds added
  // to tvNow.tv_sec and the nanosecond rest. Writes *pDeadline when it is
  // not null.
  static void ComputeDeadline(timeval const& tvNow, uint32_t nTimeoutMs,
                              timespec* pDeadline);

 private:
  mutable pthread_mutex_t hMutex;
  pthread_cond_t hCondition;
  pthread_t hOwner;
  uint32_t nCount;
};

// A lock that admits many readers or one writer. Lock order: oWriteLock
// before oCountLock in every operation that takes both. The fields are
// public so that callers and tests can see the reader count and the state of
// the write lock.
class CLuExclusiveWrite {
 public:
  CLuExclusiveWrite();
  virtual ~CLuExclusiveWrite();

  // Enters as a reader. Waits for a writer to finish (oWriteLock, up to
  // nTimeoutMs), then counts the reader under oCountLock with the time that
  // is left. Returns true when counted; false on time-out, with nothing
  // changed: also when no time is left once oWriteLock is held, so a zero
  // time-out always fails. 4294967295 waits for ever. Readers do not block
  // each other beyond the short critical sections.
  bool bBeginReading(uint32_t nTimeoutMs);
  // Leaves as a reader: the reader count drops by one, never below 0.
  void EndReading();
  // Enters as the writer: takes oWriteLock (so no new reader enters), then
  // polls every 1 ms until no reader is active, checking the time-out before
  // each look. Returns true holding oWriteLock until EndWriting; false when
  // nTimeoutMs passes first, with oWriteLock released again, so a zero
  // time-out always fails. 4294967295 waits for ever.
  bool bBeginWriting(uint32_t nTimeoutMs);
  // Leaves as the writer (releases oWriteLock).
  void EndWriting();

  CLuMutex oCountLock;  // guards nReaders
  CLuMutex oWriteLock;  // held by the writer, briefly by arriving readers
  uint32_t nReaders;    // number of active readers
};

// A set of threads that ends its own life with its last thread: when a
// member's callback finishes it decrements nThreads under oLock and deletes
// the group when the count reaches 0 (a count already at 0 wraps to
// 4294967295 and the group stays). Whoever attaches a thread (sets its
// poGroup) increments nThreads under oLock first. Nothing in the framework
// builds groups yet; the type exists so that CLuThread's end-of-run step is
// complete.
class CLuThreadGroup {
 public:
  CLuThreadGroup();
  virtual ~CLuThreadGroup();

  CLuMutex oLock;     // guards nThreads
  uint32_t nThreads;  // threads still to finish
};

// Base class of a named worker thread. Derived classes supply ThreadFunction
// and poll bStop in it. The thread is created detached; waiting polls
// bRunning (every 10 ms) instead of joining.
//
// A derived class must stop and wait for its thread in its own destructor:
// by the time ~CLuThread runs, the derived body no longer exists.
//
// The flags are public fields, written by one thread and polled by another
// without a lock; they are atomic because plain fields shared that way would
// be a data race, and so that every poll sees a fresh value. Bodies read
// bStop and bRestart, owners set bDeleteWhenDone before bStart.
class CLuThread {
 public:
  // Stores the name (not copied: pass a literal such as "Profiler") and the
  // parameter; the thread starts idle.
  explicit CLuThread(char const* pszName, uint32_t nThreadParam = 0);
  // SetStopFlag, then bWaitFor(500). A thread still running after that is
  // not killed.
  virtual ~CLuThread();

  CLuThread(CLuThread const&) = delete;
  CLuThread& operator=(CLuThread const&) = delete;

  // Starts the thread. True at once (starting nothing) when it is already
  // running; otherwise sets bRunning, clears bStop and creates a detached
  // thread running ThreadCallback. Returns whether creation succeeded; on
  // failure bRunning is cleared again. With bDeleteWhenDone set, the object
  // may be gone as soon as this returns true.
  bool bStart();
  // Asks for one more run of the body: sets bRestart; true when the thread
  // is running (its callback runs the body again after it returns),
  // otherwise the result of bStart.
  bool Restart();
  // Asks the body to end: sets bStop and clears bRestart. Does not wait.
  void SetStopFlag();
  // True when called on this object's own thread.
  bool bSelf() const;
  // Waits until the callback has finished. True at once when the thread is
  // not running or when called from the thread itself. Otherwise polls every
  // 10 ms for up to nTimeoutMs ms (4294967295 is not special: about 49.7
  // days); false when the thread is still running then, true (and hThread
  // cleared) once it has finished.
  bool bWaitFor(uint32_t nTimeoutMs);

  // The platform entry point: runs ThreadCallback on the object passed and
  // returns null.
  static void* pThreadCallback(void* pThread);
  // Runs on the new thread: the body, again while bRestart is set; then
  // clears bRunning and ends the life of the group or of the object itself
  // as poGroup and bDeleteWhenDone ask.
  void ThreadCallback();

  // The thread's body. Return when bStop is set.
  virtual void ThreadFunction() = 0;

  std::atomic<bool> bStop;            // a stop has been requested
  std::atomic<bool> bRestart;         // run the body once more
  std::atomic<bool> bDeleteWhenDone;  // delete this object when done
  CLuThreadGroup* poGroup;            // optional owning group
  std::atomic<pthread_t> hThread;     // the running thread, 0 when none
  std::atomic<bool> bRunning;         // started and not yet finished
  uint32_t nThreadParam;              // stored only
  char const* pszName;                // not owned
};
