#pragma once

#include <caprion/error.hpp>

#include <string>
#include <string_view>

namespace caprion {

/// An error that the library words itself: no domain, code 0 and the message as its description.
Error libraryError(std::string_view message);

/// An error of the system, from an errno value.
Error posixError(int number);

/// The same at a path, with a reason that says more where there is one.
Error fileError(int number, const std::string& path, std::string_view reason = {});

}  // namespace caprion
