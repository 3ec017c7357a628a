#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace caprion::tool {

/// Limits requests to what the service allows an address: 40 to one host in any 10 seconds. Thread-safe.
class RateLimiter {
  struct Host;

 public:
  /// A permit for some requests to a host. To be held until they have been answered.
  class Permit {
   public:
    ~Permit();
    Permit(const Permit&) = delete;
    Permit& operator=(const Permit&) = delete;

   private:
    friend class RateLimiter;
    Permit(RateLimiter& pace, Host& host, std::size_t requests)
        : limiter_(pace), host_(host), requests_(requests) {}
    RateLimiter& limiter_;
    Host& host_;
    const std::size_t requests_;
  };

  /// Waits until `requests` more may be sent to the host; at least 1.
  Permit acquire(std::string_view host, std::size_t requests);

  /// Backs off: blocks all requests to the host for the duration, and waits. Returns false if end() was
  /// called, and the caller should give up.
  bool backOff(std::string_view host, std::chrono::milliseconds duration);

  /// Ends all back-offs, for good.
  void end();

 private:
  using Clock = std::chrono::steady_clock;
  struct Host {
    std::size_t inFlight = 0;
    // The window counts from the end of a request, as the host may have received it at any time before that.
    std::deque<Clock::time_point> ends{};
    Clock::time_point blockedUntil{};
  };

  std::mutex mutex_;
  std::condition_variable ended_;
  bool isOver_ = false;
  std::map<std::string, Host, std::less<>> hosts_;
};

}  // namespace caprion::tool
