#pragma once

namespace caprion {

/// A constant-initialized value whose destructor never runs, as threads may still use it while the process
/// exits.
template <typename T>
union NeverDestroyed {
  constexpr NeverDestroyed() noexcept : value() {}
  ~NeverDestroyed() {}  // NOLINT(modernize-use-equals-default): that would be deleted

  T value;
};

}  // namespace caprion
