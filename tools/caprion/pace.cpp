#include "pace.hpp"

#include <algorithm>

namespace caprion::tool {

namespace {

constexpr std::size_t most = 40;
constexpr std::chrono::seconds window{10};

}  // namespace

Pace::Turn Pace::turnWith(std::string_view name, std::size_t requests) {
  std::unique_lock lock(mutex_);
  Host& host = hosts_.try_emplace(std::string(name)).first->second;
  for (;;) {
    const auto now = Clock::now();
    while (!host.ends.empty() && host.ends.front() + window < now) host.ends.pop_front();
    if (now < host.restsUntil && !isOver_) {
      ended_.wait_until(lock, host.restsUntil);
    } else if (host.underWay + host.ends.size() + requests <= most) {
      host.underWay += requests;
      return {*this, host, requests};
    } else if (host.ends.empty()) {
      ended_.wait(lock);
    } else {
      ended_.wait_until(lock, host.ends.front() + window + std::chrono::milliseconds(1));
    }
  }
}

Pace::Turn::~Turn() {
  const std::lock_guard lock(pace_.mutex_);
  host_.underWay -= requests_;
  host_.ends.insert(host_.ends.end(), requests_, Clock::now());
  pace_.ended_.notify_all();
}

bool Pace::pause(std::string_view name, std::chrono::milliseconds rest) {
  std::unique_lock lock(mutex_);
  Host& host = hosts_.try_emplace(std::string(name)).first->second;
  host.restsUntil = std::max(host.restsUntil, Clock::now() + rest);
  while (!isOver_ && Clock::now() < host.restsUntil) ended_.wait_until(lock, host.restsUntil);
  return !isOver_;
}

void Pace::end() {
  const std::lock_guard lock(mutex_);
  isOver_ = true;
  ended_.notify_all();
}

}  // namespace caprion::tool
