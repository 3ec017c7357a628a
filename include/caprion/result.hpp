#pragma once

#include <caprion/error.hpp>

#include <utility>
#include <variant>

namespace caprion {

/// The outcome of an operation: a value, or the Error that took its place. The vocabulary is std::expected's.
template <typename T>
class [[nodiscard]] Result {
 public:
  /// What an operation that succeeds gives.
  using value_type = T;
  /// What one that fails gives.
  using error_type = Error;

  /// The outcome of an operation that succeeded.
  Result(T value) : outcome_(std::in_place_index<0>, std::move(value)) {}
  /// The outcome of one that failed.
  Result(Error error) : outcome_(std::in_place_index<1>, std::move(error)) {}

  /// Whether there is a value, and so no error.
  bool has_value() const noexcept { return outcome_.index() == 0; }
  /// The same as has_value().
  explicit operator bool() const noexcept { return has_value(); }

  /// \{
  /// The value; throws std::bad_variant_access when there is none.
  const T& value() const& { return std::get<0>(outcome_); }
  T& value() & { return std::get<0>(outcome_); }
  T&& value() && { return std::get<0>(std::move(outcome_)); }
  /// \}

  /// The error; throws std::bad_variant_access when there is none.
  const Error& error() const { return std::get<1>(outcome_); }

  /// \{
  /// The value, or of it a member; throws as value() does.
  const T& operator*() const& { return value(); }
  T& operator*() & { return value(); }
  T&& operator*() && { return std::move(*this).value(); }
  const T* operator->() const { return &value(); }
  T* operator->() { return &value(); }
  /// \}

 private:
  std::variant<T, Error> outcome_;
};

}  // namespace caprion
