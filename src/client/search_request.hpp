#pragma once

#include "platform/url_request.hpp"

#include <caprion/search_request.hpp>

#include <string>
#include <vector>

namespace caprion {

/// The request of a search by these criteria, in their order.
URLRequest searchRequest(const std::vector<Arg>& args);

}  // namespace caprion
