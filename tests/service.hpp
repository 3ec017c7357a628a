#pragma once

#include "stand_in.hpp"

#include <caprion/caprion.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace caprion::test {

/// The stand-in that all searches of the test program go to: the session reads its proxy once a process.
stand_in::StandIn& service();

/// A handler that gives the same answer to every request.
inline stand_in::StandIn::Handler always(stand_in::Answer answer) {
  return [answer = std::move(answer)](const stand_in::Request&) { return answer; };
}

/// Waits for the value; ends the process when it never comes, as there is no test to go on with then.
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

/// The JSON text of a record with all its keys. Each of `changes` gives a key another value, as JSON text;
/// the empty text leaves the key out.
std::string record(const std::vector<std::pair<std::string, std::string>>& changes = {});

}  // namespace caprion::test
