#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

// What clang's -Wthread-safety checks: which mutex guards a field, and which a function needs or takes.
#if defined(__clang__)
#define CAPRION_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define CAPRION_THREAD_SAFETY(attribute)
#endif
#define CAPRION_GUARDED_BY(mutex) CAPRION_THREAD_SAFETY(guarded_by(mutex))
#define CAPRION_REQUIRES(mutex) CAPRION_THREAD_SAFETY(requires_capability(mutex))

namespace caprion {

/// The order of the library's mutexes: a thread that holds one takes only mutexes of a later level.
enum class MutexLevel : std::uint8_t { driving, intake, threads, leaf };

/// A mutex of the library. While the process forks, the forking thread holds them all: otherwise a child, in
/// which no other thread lives on, could find one locked for ever. For the driver's it waits a second at
/// most, and then goes on without. Needs no initialization at run time; never destroyed.
class CAPRION_THREAD_SAFETY(capability("mutex")) Mutex {
 public:
  constexpr explicit Mutex(MutexLevel level) noexcept : level_(level) {}
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() noexcept CAPRION_THREAD_SAFETY(acquire_capability());
  void unlock() noexcept CAPRION_THREAD_SAFETY(release_capability());

  /// Tries for so long; false if it was in vain.
  bool lockWithin(std::chrono::milliseconds longest) noexcept
      CAPRION_THREAD_SAFETY(try_acquire_capability(true));

  /// Lets a fork that is waiting go first. For a thread that holds no mutex, and takes one again at once each
  /// time that it has released it.
  static void giveWayToFork() noexcept;

 private:
  friend class Condition;

  void addToForks() noexcept;
  static void lockAll() noexcept;
  static void unlockAll() noexcept;
  static void unlockAllInChild() noexcept;
  static const bool isForkWatched;

  std::mutex mutex_;
  const MutexLevel level_;
  std::atomic<bool> isAdded_ = false;
  bool isHeldByFork_ = false;
  Mutex* next_ = nullptr;
};

/// Holds a mutex while it lives.
class CAPRION_THREAD_SAFETY(scoped_lockable) Lock {
 public:
  explicit Lock(Mutex& mutex) noexcept CAPRION_THREAD_SAFETY(acquire_capability(mutex)) : mutex_(mutex) {
    mutex.lock();
  }
  ~Lock() CAPRION_THREAD_SAFETY(release_capability()) { mutex_.unlock(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  Mutex& mutex_;
};

/// What threads that hold a mutex wait for.
class Condition {
 public:
  void notifyOne() noexcept { condition_.notify_one(); }
  void notifyAll() noexcept { condition_.notify_all(); }

  /// Releases the mutex until there may be something new, or the time has come; false for the latter.
  bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point end) CAPRION_REQUIRES(mutex);
  void wait(Mutex& mutex) CAPRION_REQUIRES(mutex);

 private:
  std::condition_variable condition_;
};

}  // namespace caprion
