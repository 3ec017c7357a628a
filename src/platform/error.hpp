#pragma once

#include <caprion/error.hpp>

#include <new>
#include <string>
#include <string_view>
#include <type_traits>

namespace CAPRION_NAMESPACE {

/// The `userInfo` of an error with this description. Use it instead of an initializer list, which copies its
/// values: in libstdc++ 12, copying an Error::Value breaks if it runs out of memory.
Error::UserInfo describedBy(std::string description);

/// An error of the library's own: empty domain, code 0, and the message as its description. Like the
/// functions below, returns outOfMemory() if there isn't the memory for it.
Error libraryError(std::string_view message) noexcept;

/// ENOMEM. Needs no memory, as it is created beforehand.
Error outOfMemory() noexcept;

/// The result of `work`, or outOfMemory() if it throws std::bad_alloc.
template <typename Work>
std::invoke_result_t<Work> orOutOfMemory(Work&& work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return outOfMemory();
  }
}

/// The error for an errno value.
Error posixError(int number) noexcept;

/// The same with a path and, optionally, a reason more specific than the system's text.
Error fileError(int number, const std::string& path, std::string_view reason = {}) noexcept;

}  // namespace CAPRION_NAMESPACE
