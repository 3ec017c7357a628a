#include "platform/mutex.hpp"

#include <pthread.h>

#include <thread>
#include <utility>

namespace caprion {

namespace {

constexpr std::chrono::seconds driverTimeout{1};
constexpr std::chrono::microseconds pause{100};

std::mutex registration;      // guards firstMutex; held during a fork
Mutex* firstMutex = nullptr;  // the mutexes that have ever been locked, the latest first
std::atomic<int> waitingForks = 0;
std::mutex oneFork;  // serializes forks

}  // namespace

const bool Mutex::isAtForkInstalled =
    ::pthread_atfork(&Mutex::lockAll, &Mutex::unlockAll, &Mutex::unlockAllInChild) == 0;

void Mutex::lock() noexcept {
  if (!isRegistered_.load(std::memory_order_relaxed)) registerForFork();
  mutex_.lock();
}

void Mutex::unlock() noexcept { mutex_.unlock(); }

bool Mutex::lockUntil(std::chrono::steady_clock::time_point end) noexcept {
  if (!isRegistered_.load(std::memory_order_relaxed)) registerForFork();
  while (!mutex_.try_lock()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(pause);
  }
  return true;
}

void Mutex::yieldToFork() noexcept {
  while (waitingForks.load() > 0) std::this_thread::sleep_for(pause);
}

void Mutex::registerForFork() noexcept {
  const std::lock_guard lock(registration);
  if (isRegistered_) return;
  next_ = std::exchange(firstMutex, this);
  isRegistered_ = true;
}

/// Locks all registered mutexes, but the driver's only if that is possible until `end`.
void Mutex::lockRegistered(Mutex* first, std::chrono::steady_clock::time_point end) noexcept
    CAPRION_THREAD_SAFETY(no_thread_safety_analysis) {
  for (const MutexLevel level :
       {MutexLevel::driving, MutexLevel::intake, MutexLevel::threads, MutexLevel::leaf}) {
    for (Mutex* mutex = first; mutex != nullptr; mutex = mutex->next_) {
      if (mutex->level_ != level) continue;
      bool isHeld = true;
      if (level == MutexLevel::driving) {
        isHeld = mutex->lockUntil(end);
      } else {
        mutex->lock();  // only ever held briefly
      }
      if (isHeld) mutex->isHeldByFork_ = true;
    }
  }
}

void Mutex::unlockRegistered(Mutex* first) noexcept CAPRION_THREAD_SAFETY(no_thread_safety_analysis) {
  for (Mutex* mutex = first; mutex != nullptr; mutex = mutex->next_) {
    if (std::exchange(mutex->isHeldByFork_, false)) mutex->unlock();
  }
}

void Mutex::lockAll() noexcept {
  ++waitingForks;
  oneFork.lock();
  const auto end = std::chrono::steady_clock::now() + driverTimeout;
  registration.lock();
  for (;;) {
    Mutex* const first = firstMutex;
    registration.unlock();  // a thread may hold a mutex while it waits to register another
    lockRegistered(first, end);
    registration.lock();
    if (firstMutex == first) return;
    unlockRegistered(first);  // a new one may be of an earlier level
  }
}

void Mutex::unlockAll() noexcept {
  unlockRegistered(firstMutex);
  registration.unlock();
  oneFork.unlock();
  --waitingForks;
}

void Mutex::unlockAllInChild() noexcept {
  unlockAll();
  waitingForks = 0;  // other forking threads exist only in the parent
}

bool Condition::waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point end) {
  std::unique_lock lock(mutex.mutex_, std::adopt_lock);
  const bool isInTime = condition_.wait_until(lock, end) == std::cv_status::no_timeout;
  lock.release();
  return isInTime;
}

void Condition::wait(Mutex& mutex) {
  std::unique_lock lock(mutex.mutex_, std::adopt_lock);
  condition_.wait(lock);
  lock.release();
}

}  // namespace caprion
