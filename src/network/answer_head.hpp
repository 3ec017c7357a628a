#pragma once

#include "network/content_decoding.hpp"

#include <caprion/error.hpp>

#include <curl/curl.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace caprion {

/// Parses the header lines of an exchange: interim (1xx) heads, the final head, and trailers.
class AnswerHead {
 public:
  explicit AnswerHead(CURL* easy) : easy_(easy) {}

  /// Parses one line as libcurl delivers it. Returns an error if the answer must be rejected. Throws
  /// std::bad_alloc.
  std::optional<Error> add(std::string_view line);

  /// Whether the final head is complete. Everything below is known only then.
  bool isOver() const { return statusCode_ != 0; }
  int statusCode() const { return statusCode_; }
  /// The value of the Location field of a redirect; absent for any other answer.
  const std::optional<std::string>& redirect() const { return location_; }
  ContentEncoding encoding() const { return encodings_.encoding(); }
  /// Whether the body's encoding is supported. Of no interest for a redirect.
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
