#pragma once

#include "samples.hpp"
#include "stand_in.hpp"

#include <caprion/caprion.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace caprion::test {

/// The stand-in for all searches of the test program. There is only one, as a process reads its proxy once.
stand_in::StandIn& service();

/// A handler that gives the same answer to every request.
inline stand_in::StandIn::Handler always(stand_in::Answer answer) {
  return [answer = std::move(answer)](const stand_in::Request&) { return answer; };
}

/// Waits for the value. Aborts if it doesn't come, as the test can't continue.
template <typename T>
T wait(std::future<T> future) {
  if (future.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
    ADD_FAILURE() << "no report came";
    std::abort();
  }
  return future.get();
}

inline Result<QueryResult> search(const std::vector<Arg>& args) {
  auto promise = std::make_shared<std::promise<Result<QueryResult>>>();
  Caprion::shared().query(args, [promise](auto result) { promise->set_value(std::move(result)); });
  return wait(promise->get_future());
}

inline std::shared_ptr<const Subtitle> subtitle(const Changes& changes = {}) {
  return Subtitle::decode(recordFor(changes)).value();
}

}  // namespace caprion::test
