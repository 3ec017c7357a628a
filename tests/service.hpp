#pragma once

#include "stand_in.hpp"

#include <caprion/caprion.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <sstream>
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

/// The fields of a string; none if it is empty.
inline std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> fields;
  std::istringstream stream(text);
  for (std::string field; std::getline(stream, field, separator);) fields.push_back(field);
  return fields;
}

/// Repeats the text until it has at least this size.
inline std::string repeated(std::string_view text, std::size_t size) {
  std::string all;
  while (all.size() < size) all += text;
  return all;
}

/// Keys of a record, and their values as JSON; an empty value removes the key.
using Changes = std::vector<std::pair<std::string, std::string>>;

/// Changes that set the keys, which are separated by spaces, to these strings.
Changes texts(const std::string& keys, std::vector<std::string> values);

/// A record with all keys as JSON, after the changes.
std::string record(const Changes& changes = {});

/// The same for the subtitle 42, "film.srt", in English, with its archive at https://dl.test/42.
std::string recordFor(const Changes& changes);

inline std::shared_ptr<const Subtitle> subtitle(const Changes& changes = {}) {
  return Subtitle::decode(recordFor(changes)).value();
}

/// An archive of files that contain their own names, of folders ("a/") and of links ("a -> b").
std::string zip(const std::vector<std::string>& names);

}  // namespace caprion::test
