#pragma once

#include "platform/mutex.hpp"

#include <atomic>

namespace caprion {

/// A value that is constructed on first use and never destroyed. Unlike the guard of a static local, its
/// mutex is held across fork(), so a child can't deadlock on a construction that another thread had begun.
template <typename T>
class MadeOnce {
 public:
  /// Throws what T's constructor throws; the next call then tries again.
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
