#pragma once

#include <caprion/error.hpp>
#include <caprion/namespace.hpp>

#include <concepts>
#include <functional>
#include <type_traits>
#include <utility>
#include <variant>

namespace CAPRION_NAMESPACE {

template <typename T>
class Result;

/// \cond
template <typename T>
inline constexpr bool isResult = false;
template <typename T>
inline constexpr bool isResult<Result<T>> = true;
/// \endcond

/// The outcome of an operation: a value, or an Error. The interface is that of std::expected, but reading a
/// value that isn't there is never undefined: it throws std::bad_variant_access.
template <typename T>
class [[nodiscard]] Result {
  static_assert(!std::same_as<std::remove_cv_t<T>, Error>, "an Error can't be the value of a Result");
  static_assert(std::is_object_v<T>, "a Result holds an object; std::monostate stands for no value");

 public:
  /// The type of the value.
  using value_type = T;
  /// The type of the error.
  using error_type = Error;

  /// A success, with a T or something that a T can be constructed from.
  template <typename U = T>
  requires(!std::same_as<std::remove_cvref_t<U>, Result> && !std::same_as<std::remove_cvref_t<U>, Error> &&
           std::constructible_from<T, U>) explicit(!std::convertible_to<U, T>)
      // NOLINTNEXTLINE(bugprone-forwarding-reference-overload): never for a Result, see above
      Result(U&& value) noexcept(std::is_nothrow_constructible_v<T, U>)
      : outcome_(std::in_place_index<0>, std::forward<U>(value)) {}
  /// A failure.
  Result(Error error) noexcept : outcome_(std::in_place_index<1>, std::move(error)) {}

  Result(const Result&) = default;
  Result(Result&&) noexcept(std::is_nothrow_move_constructible_v<T>) = default;
  ~Result() = default;
  /// Leaves this as it was if copying `other` throws.
  Result& operator=(Result other) noexcept(std::is_nothrow_move_constructible_v<T>) {
    outcome_ = std::move(other.outcome_);
    return *this;
  }

  /// Whether there is a value rather than an error.
  bool has_value() const noexcept { return outcome_.index() == 0; }
  /// The same as has_value().
  explicit operator bool() const noexcept { return has_value(); }

  /// \{
  /// The value; throws std::bad_variant_access if there is none.
  const T& value() const& { return std::get<0>(outcome_); }
  T& value() & { return std::get<0>(outcome_); }
  T&& value() && { return std::get<0>(std::move(outcome_)); }
  /// \}

  /// The error; throws std::bad_variant_access if there is none.
  const Error& error() const { return std::get<1>(outcome_); }

  /// \{
  /// The value, or a member of it; throws like value().
  const T& operator*() const& { return value(); }
  T& operator*() & { return value(); }
  T&& operator*() && { return std::move(*this).value(); }
  const T* operator->() const { return &value(); }
  T* operator->() { return &value(); }
  /// \}

  /// \{
  /// The value, or `instead` if there is none.
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
  /// The result of `next`, called with the value; `next` returns a Result. If there is no value, the error.
  template <typename Next>
  auto and_then(Next&& next) & {
    return chained(*this, std::forward<Next>(next));
  }
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
  /// A Result with what `function` returns for the value. If there is no value, the error.
  template <typename Function>
  auto transform(Function&& function) & {
    return transformed(*this, std::forward<Function>(function));
  }
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
  /// The value. If there is none, the result of `next`, called with the error; it returns the same type of
  /// Result.
  template <typename Next>
  Result or_else(Next&& next) const& {
    static_assert(std::same_as<std::remove_cvref_t<std::invoke_result_t<Next, const Error&>>, Result>,
                  "or_else takes a function that returns a Result of the same type");
    if (has_value()) return *this;
    return std::invoke(std::forward<Next>(next), error());
  }
  template <typename Next>
  Result or_else(Next&& next) && {
    static_assert(std::same_as<std::remove_cvref_t<std::invoke_result_t<Next, Error&&>>, Result>,
                  "or_else takes a function that returns a Result of the same type");
    if (has_value()) return std::move(*this);
    return std::invoke(std::forward<Next>(next), std::get<1>(std::move(outcome_)));
  }
  /// \}

  /// Whether both have equal values or equal errors. Also compares with anything that converts to a Result.
  friend bool operator==(const Result& a, const Result& b) requires std::equality_comparable<T> {
    return a.outcome_ == b.outcome_;
  }

 private:
  template <typename Self, typename Next>
  static auto chained(Self&& self, Next&& next) {
    using Outcome = std::remove_cvref_t<std::invoke_result_t<Next, decltype(*std::forward<Self>(self))>>;
    static_assert(isResult<Outcome>,
                  "and_then takes a function that returns a Result; transform takes any other");
    return self.has_value() ? std::invoke(std::forward<Next>(next), *std::forward<Self>(self))
                            : Outcome(self.error());
  }

  template <typename Self, typename Function>
  static auto transformed(Self&& self, Function&& function) {
    using Value = std::remove_cvref_t<std::invoke_result_t<Function, decltype(*std::forward<Self>(self))>>;
    static_assert(!std::is_void_v<Value>, "transform takes a function that returns something");
    return self.has_value()
               ? Result<Value>(std::invoke(std::forward<Function>(function), *std::forward<Self>(self)))
               : Result<Value>(self.error());
  }

  std::variant<T, Error> outcome_;
};

/// Result(5) is a Result<int>.
template <typename T>
Result(T) -> Result<T>;

}  // namespace CAPRION_NAMESPACE
