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

/// Holds a run to the requests that the service allows an address: 40 to one host in any 10 seconds. Any
/// thread may use it.
class Pace {
  struct Host;

 public:
  /// Some requests to a host, from before the first is sent until the last answer is there.
  class Turn {
   public:
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    friend class Pace;
    Turn(Pace& pace, Host& host, std::size_t requests) : pace_(pace), host_(host), requests_(requests) {}
    Pace& pace_;
    Host& host_;
    const std::size_t requests_;
  };

  /// Waits until so many more requests may be sent to a host, at least 1.
  Turn turnWith(std::string_view host, std::size_t requests);

  /// Gives the host a rest from now on, for all of the run, and waits for its end; false when that is a
  /// call of end(), and nothing should be asked any more.
  bool pause(std::string_view host, std::chrono::milliseconds rest);

  /// Ends all rests, for good.
  void end();

 private:
  using Clock = std::chrono::steady_clock;
  struct Host {
    std::size_t underWay = 0;
    // A request reaches the host at some moment before its end. So only what began 10 seconds after that is
    // sure to be more than 10 seconds behind it.
    std::deque<Clock::time_point> ends{};
    Clock::time_point restsUntil{};
  };

  std::mutex mutex_;
  std::condition_variable ended_;
  bool isOver_ = false;
  std::map<std::string, Host, std::less<>> hosts_;
};

}  // namespace caprion::tool
