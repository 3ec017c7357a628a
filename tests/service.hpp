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

/// The fields of a text; none of the empty one.
inline std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> fields;
  std::istringstream stream(text);
  for (std::string field; std::getline(stream, field, separator);) fields.push_back(field);
  return fields;
}

/// The text as often as makes it at least so long.
inline std::string repeated(std::string_view text, std::size_t size) {
  std::string all;
  while (all.size() < size) all += text;
  return all;
}

/// Keys of a record and values for them, as JSON texts; the empty text leaves the key out.
using Changes = std::vector<std::pair<std::string, std::string>>;

/// The changes that give each of the keys, which a space separates, its text.
Changes texts(const std::string& keys, std::vector<std::string> values);

/// The JSON text of a record with all its keys, but for the changes.
std::string record(const Changes& changes = {});

/// The same of subtitle 42, "film.srt", in English, whose archive is at https://dl.test/42.
std::string recordFor(const Changes& changes);

inline std::shared_ptr<const Subtitle> subtitle(const Changes& changes = {}) {
  return Subtitle::decode(recordFor(changes)).value();
}

/// An archive of files, each of which holds its own name, of folders ("a/") and of links ("a -> b").
std::string zip(const std::vector<std::string>& names);

}  // namespace caprion::test
