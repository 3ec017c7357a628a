#pragma once

#include <caprion/error.hpp>

#include <string_view>

namespace caprion {

/// An error that the library words itself: no domain, code 0 and the message as its description.
Error libraryError(std::string_view message);

/// An error of the system, from an errno value.
Error posixError(int number);

}  // namespace caprion
