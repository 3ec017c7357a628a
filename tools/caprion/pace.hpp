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
  /// One request to a host, from before it is sent until its answer is there.
  class Turn {
   public:
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    friend class Pace;
    Turn(Pace& pace, Host& host) : pace_(pace), host_(host) {}
    Pace& pace_;
    Host& host_;
  };

  /// Waits until one more request may be sent to a host.
  Turn turnWith(std::string_view host);

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
