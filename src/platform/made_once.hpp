#pragma once

#include "platform/mutex.hpp"

#include <atomic>

namespace caprion {

/// A value that is made at its first use and never destroyed. Unlike that of a static variable, its making is
/// over before the process forks, so that a child doesn't wait for a thread that it hasn't got.
template <typename T>
class MadeOnce {
 public:
  /// Throws what T's constructor throws; the next call tries again then.
  T& get() {
    if (T* const made = made_.load(std::memory_order_acquire)) return *made;
    const Lock lock(mutex_);
    if (made_.load(std::memory_order_relaxed) == nullptr) made_.store(new T, std::memory_order_release);
    return *made_.load(std::memory_order_relaxed);
  }

 private:
  Mutex mutex_{MutexLevel::leaf};
  std::atomic<T*> made_ = nullptr;
};

}  // namespace caprion
