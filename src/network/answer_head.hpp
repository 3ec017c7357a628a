#pragma once

#include "network/content_decoding.hpp"

#include <caprion/error.hpp>

#include <curl/curl.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace caprion {

/// What the lines of an exchange's heads say: those of hints that come before the answer's own, that one, and
/// the trailers.
class AnswerHead {
 public:
  explicit AnswerHead(CURL* easy) : easy_(easy) {}

  /// Takes a line as libcurl hands it over. Returns why the answer can't be taken. Throws std::bad_alloc.
  std::optional<Error> add(std::string_view line);

  /// Whether the answer's head is over, after which the rest is known.
  bool isOver() const { return statusCode_ != 0; }
  int statusCode() const { return statusCode_; }
  /// The value of the Location field of a redirect; absent for any other answer.
  const std::optional<std::string>& redirect() const { return location_; }
  ContentEncoding encoding() const { return encodings_.encoding(); }
  /// Whether the body comes in a form that can be undone. That of a redirect doesn't matter.
  bool isDecodable() const { return isDecodable_; }

 private:
  void addField(std::string_view line);
  void end();

  CURL* const easy_;
  std::size_t size_ = 0;  // of all heads and of the trailers
  int statusCode_ = 0;
  ContentEncodings encodings_;
  bool isDecodable_ = true;
  std::optional<std::string> location_;
};

}  // namespace caprion
