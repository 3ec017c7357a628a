#include "network/answer_head.hpp"

#include "network/transport_error.hpp"
#include "platform/letter_case.hpp"
#include "platform/text.hpp"

namespace caprion {

namespace {

/// In bytes, of all heads of an exchange and its trailers together.
constexpr std::size_t headSizeLimit = std::size_t{256} << 10;

bool isRedirect(int statusCode) {
  return statusCode == 301 || statusCode == 302 || statusCode == 303 || statusCode == 307 ||
         statusCode == 308;
}

}  // namespace

std::optional<Error> AnswerHead::add(std::string_view line) {
  size_ += line.size();
  if (size_ > headSizeLimit)
    return urlError(url_error::dataLengthExceedsMaximum, "The head of the answer is too large");
  if (isOver()) return std::nullopt;  // a trailer
  if (line.starts_with("HTTP/")) {
    encodings_ = {};
    isDecodable_ = true;
    location_.reset();
  } else if (line == "\r\n" || line == "\n") {
    end();
  } else {
    addField(line);
  }
  return std::nullopt;
}

void AnswerHead::addField(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return;
  const std::string name = lowercasedASCII(line.substr(0, colon));
  const std::string_view value = trimmed(line.substr(colon + 1));
  if (name == "content-encoding") {
    isDecodable_ = isDecodable_ && encodings_.add(value);
  } else if (name == "transfer-encoding") {
    const std::string coding = lowercasedASCII(value);
    isDecodable_ = isDecodable_ && (coding == "chunked" || coding == "identity" || coding.empty());
  } else if (name == "location" && !location_) {
    location_ = value;
  }
}

void AnswerHead::end() {
  long statusCode = 0;
  curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &statusCode);
  if (statusCode < 200 && statusCode != 101) return;  // interim: another head follows
  statusCode_ = static_cast<int>(statusCode);
  if (!isRedirect(statusCode_) || location_.value_or("").empty()) location_.reset();
}

}  // namespace caprion
