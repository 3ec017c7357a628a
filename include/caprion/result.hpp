#pragma once

#include <caprion/error.hpp>
#include <caprion/namespace.hpp>

#include <functional>
#include <type_traits>
#include <utility>
#include <variant>

namespace CAPRION_NAMESPACE {

/// The outcome of an operation: a value, or the Error that took its place. The vocabulary is std::expected's,
/// but for the value that isn't there: to ask for it is never undefined, it throws std::bad_variant_access.
template <typename T>
class [[nodiscard]] Result {
 public:
  /// What an operation that succeeds gives.
  using value_type = T;
  /// What one that fails gives.
  using error_type = Error;

  /// The outcome of an operation that succeeded.
  Result(T value) noexcept(std::is_nothrow_move_constructible_v<T>)
      : outcome_(std::in_place_index<0>, std::move(value)) {}
  /// The outcome of one that failed.
  Result(Error error) noexcept : outcome_(std::in_place_index<1>, std::move(error)) {}

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

  /// \{
  /// The value, or `instead` when there is none.
  template <typename U = std::remove_cv_t<T>>
  T value_or(U&& instead) const& {
    return has_value() ? value() : static_cast<T>(std::forward<U>(instead));
  }
  template <typename U = std::remove_cv_t<T>>
  T value_or(U&& instead) && {
    return has_value() ? std::move(*this).value() : static_cast<T>(std::forward<U>(instead));
  }
  /// \}

  /// \{
  /// What `next`, which returns a Result, makes of the value; the error as it is when there is none.
  template <typename Next>
  auto and_then(Next&& next) const& {
    return chained(*this, std::forward<Next>(next));
  }
  template <typename Next>
  auto and_then(Next&& next) && {
    return chained(std::move(*this), std::forward<Next>(next));
  }
  /// \}

  /// \{
  /// A Result of what `function` makes of the value; the error as it is when there is none.
  template <typename Function>
  auto transform(Function&& function) const& {
    return transformed(*this, std::forward<Function>(function));
  }
  template <typename Function>
  auto transform(Function&& function) && {
    return transformed(std::move(*this), std::forward<Function>(function));
  }
  /// \}

  /// \{
  /// The value as it is; what `next`, which returns such a Result, makes of the error when there is none.
  template <typename Next>
  Result or_else(Next&& next) const& {
    return has_value() ? *this : std::invoke(std::forward<Next>(next), error());
  }
  template <typename Next>
  Result or_else(Next&& next) && {
    return has_value() ? std::move(*this) : std::invoke(std::forward<Next>(next), error());
  }
  /// \}

  /// Equal values, or equal errors. A value and an error, which become a Result by themselves, compare as
  /// well.
  friend bool operator==(const Result& a, const Result& b) { return a.outcome_ == b.outcome_; }

 private:
  template <typename U>
  static constexpr bool isResult(const Result<U>*) {
    return true;
  }
  static constexpr bool isResult(const void*) { return false; }

  template <typename Self, typename Next>
  static auto chained(Self&& self, Next&& next) {
    using Outcome = std::remove_cvref_t<std::invoke_result_t<Next, decltype(*std::forward<Self>(self))>>;
    static_assert(isResult(static_cast<Outcome*>(nullptr)),
                  "and_then takes a function that returns a Result; transform takes any other");
    return self.has_value() ? std::invoke(std::forward<Next>(next), *std::forward<Self>(self))
                            : Outcome(self.error());
  }

  template <typename Self, typename Function>
  static auto transformed(Self&& self, Function&& function) {
    using Value = std::remove_cvref_t<std::invoke_result_t<Function, decltype(*std::forward<Self>(self))>>;
    return self.has_value()
               ? Result<Value>(std::invoke(std::forward<Function>(function), *std::forward<Self>(self)))
               : Result<Value>(self.error());
  }

  std::variant<T, Error> outcome_;
};

}  // namespace CAPRION_NAMESPACE
