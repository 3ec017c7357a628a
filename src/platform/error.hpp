#pragma once

#include <caprion/error.hpp>

#include <new>
#include <string>
#include <string_view>
#include <type_traits>

namespace CAPRION_NAMESPACE {

/// The keyed values of an error with that description. To be used instead of a list in braces, whose values
/// are copied: an Error::Value whose copying runs out of memory breaks in libstdc++ 12, moving one doesn't.
Error::UserInfo describedBy(std::string description);

/// An error that the library words itself: no domain, code 0 and the message as its description. That the
/// memory has run out, when there is none for it; the same goes for the errors below.
Error libraryError(std::string_view message) noexcept;

/// The error that the memory has run out. Its own is there beforehand.
Error outOfMemory() noexcept;

/// What the work returns, or outOfMemory() when there isn't the memory for it.
template <typename Work>
std::invoke_result_t<Work> orOutOfMemory(Work&& work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return outOfMemory();
  }
}

/// An error of the system, from an errno value.
Error posixError(int number) noexcept;

/// The same at a path, with a reason that says more where there is one.
Error fileError(int number, const std::string& path, std::string_view reason = {}) noexcept;

}  // namespace CAPRION_NAMESPACE
