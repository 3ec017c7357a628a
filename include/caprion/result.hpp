#pragma once

#include <caprion/error.hpp>

#include <utility>
#include <variant>

namespace caprion {

/// The outcome of an operation: a value, or the Error that took its place. The vocabulary is std::expected's.
template <typename T>
class [[nodiscard]] Result {
 public:
  using value_type = T;
  using error_type = Error;

  Result(T value) : outcome_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : outcome_(std::in_place_index<1>, std::move(error)) {}

  bool has_value() const noexcept { return outcome_.index() == 0; }
  explicit operator bool() const noexcept { return has_value(); }

  /// The value; throws std::bad_variant_access when there is none.
  const T& value() const& { return std::get<0>(outcome_); }
  T& value() & { return std::get<0>(outcome_); }
  T&& value() && { return std::get<0>(std::move(outcome_)); }

  /// The error; throws std::bad_variant_access when there is none.
  const Error& error() const { return std::get<1>(outcome_); }

  const T& operator*() const& { return value(); }
  T& operator*() & { return value(); }
  T&& operator*() && { return std::move(*this).value(); }
  const T* operator->() const { return &value(); }
  T* operator->() { return &value(); }

 private:
  std::variant<T, Error> outcome_;
};

}  // namespace caprion
