#pragma once

#include <caprion/url.hpp>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace caprion {

/// An HTTP GET request.
struct URLRequest {
  URL url;
  /// For connecting, and then without progress.
  std::chrono::milliseconds timeoutInterval;
  /// Names and values, without line breaks.
  std::vector<std::pair<std::string, std::string>> headerFields = {};

  void addValue(std::string value, std::string field) {
    headerFields.emplace_back(std::move(field), std::move(value));
  }
};

}  // namespace caprion
