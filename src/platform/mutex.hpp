#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

// Annotations for clang's -Wthread-safety.
#if defined(__clang__)
#define CAPRION_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define CAPRION_THREAD_SAFETY(attribute)
#endif
#define CAPRION_GUARDED_BY(mutex) CAPRION_THREAD_SAFETY(guarded_by(mutex))
#define CAPRION_REQUIRES(mutex) CAPRION_THREAD_SAFETY(requires_capability(mutex))

namespace caprion {

/// The lock order: a thread that holds a mutex may lock only mutexes of a later level.
enum class MutexLevel : std::uint8_t { driving, intake, threads, leaf };

/// A mutex that is safe across fork(): the forking thread locks them all, or the child could inherit one
/// locked by a thread that it hasn't got. For the driver's mutex it waits at most a second, then forks
/// without it. Constant-initialized; never destroyed.
class CAPRION_THREAD_SAFETY(capability("mutex")) Mutex {
 public:
  constexpr explicit Mutex(MutexLevel level) noexcept : level_(level) {}
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() noexcept CAPRION_THREAD_SAFETY(acquire_capability());
  void unlock() noexcept CAPRION_THREAD_SAFETY(release_capability());

  /// Polls until `end`; false if that wasn't enough.
  bool lockUntil(std::chrono::steady_clock::time_point end) noexcept
      CAPRION_THREAD_SAFETY(try_acquire_capability(true));

  /// Waits while a fork is pending. For a thread that would otherwise relock a mutex right after unlocking
  /// it, and starve the fork. The caller must hold no mutex.
  static void yieldToFork() noexcept;

 private:
  friend class Condition;

  void registerForFork() noexcept;
  static void lockRegistered(Mutex* first, std::chrono::steady_clock::time_point end) noexcept;
  static void unlockRegistered(Mutex* first) noexcept;
  static void lockAll() noexcept;
  static void unlockAll() noexcept;
  static void unlockAllInChild() noexcept;
  static const bool isAtForkInstalled;

  std::mutex mutex_;
  const MutexLevel level_;
  std::atomic<bool> isRegistered_ = false;
  bool isHeldByFork_ = false;
  Mutex* next_ = nullptr;
};

/// Locks a mutex for its lifetime.
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

/// A condition variable for Mutex.
class Condition {
 public:
  void notifyOne() noexcept { condition_.notify_one(); }
  void notifyAll() noexcept { condition_.notify_all(); }

  /// Unlocks the mutex while waiting; false on timeout. May wake spuriously.
  bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point end) CAPRION_REQUIRES(mutex);
  void wait(Mutex& mutex) CAPRION_REQUIRES(mutex);

 private:
  std::condition_variable condition_;
};

}  // namespace caprion
