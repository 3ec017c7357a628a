#include "rate_limiter.hpp"

#include <algorithm>

namespace caprion::tool {

namespace {

constexpr std::size_t maxRequests = 40;
constexpr std::chrono::seconds window{10};

}  // namespace

RateLimiter::Permit RateLimiter::acquire(std::string_view name, std::size_t requests) {
  std::unique_lock lock(mutex_);
  Host& host = hosts_.try_emplace(std::string(name)).first->second;
  for (;;) {
    const auto now = Clock::now();
    while (!host.ends.empty() && host.ends.front() + window < now) host.ends.pop_front();
    if (now < host.blockedUntil && !isOver_) {
      ended_.wait_until(lock, host.blockedUntil);
    } else if (host.inFlight + host.ends.size() + requests <= maxRequests) {
      host.inFlight += requests;
      return {*this, host, requests};
    } else if (host.ends.empty()) {
      ended_.wait(lock);
    } else {
      ended_.wait_until(lock, host.ends.front() + window + std::chrono::milliseconds(1));
    }
  }
}

RateLimiter::Permit::~Permit() {
  const std::lock_guard lock(limiter_.mutex_);
  host_.inFlight -= requests_;
  host_.ends.insert(host_.ends.end(), requests_, Clock::now());
  limiter_.ended_.notify_all();
}

bool RateLimiter::backOff(std::string_view name, std::chrono::milliseconds duration) {
  std::unique_lock lock(mutex_);
  Host& host = hosts_.try_emplace(std::string(name)).first->second;
  host.blockedUntil = std::max(host.blockedUntil, Clock::now() + duration);
  while (!isOver_ && Clock::now() < host.blockedUntil) ended_.wait_until(lock, host.blockedUntil);
  return !isOver_;
}

void RateLimiter::end() {
  const std::lock_guard lock(mutex_);
  isOver_ = true;
  ended_.notify_all();
}

}  // namespace caprion::tool
