#pragma once

namespace caprion {

/// A value that needs no initialization at run time, and is there for the threads that outlive the static
/// objects of a process that exits.
template <typename T>
union NeverDestroyed {
  constexpr NeverDestroyed() noexcept : value() {}
  ~NeverDestroyed() {}  // NOLINT(modernize-use-equals-default): which would destroy the value

  T value;
};

}  // namespace caprion
