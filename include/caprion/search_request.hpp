#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace CAPRION_NAMESPACE {

/// The kinds of search criterion that the service knows. The hash of a kind is that of its key.
enum class Param { episode, imdbid, moviebytesize, moviehash, query, season, sublanguageid, tag };

/// The key of a kind in the request path, which is its name: "moviehash" for Param::moviehash.
CAPRION_EXPORT std::string_view rawValue(Param param) noexcept;

/// The kind with exactly this key, byte for byte; absent for any other string.
CAPRION_EXPORT std::optional<Param> paramFrom(std::string_view rawValue) noexcept;

/// One search criterion: a kind and its value. Immutable, except by assignment.
class CAPRION_EXPORT Arg {
 public:
  /// The value may be any string, even an empty one; it is sent as it is.
  Arg(Param param, std::string arg);

  /// The kind.
  Param param() const noexcept { return param_; }
  /// The value, unchanged.
  const std::string& arg() const noexcept { return arg_; }

  /// The criterion's part of the request path, not yet percent-encoded: "/query-the matrix".
  std::string path() const;

 private:
  Param param_;
  std::string arg_;
};

}  // namespace CAPRION_NAMESPACE

/// \cond
template <>
struct std::hash<caprion::Param> {
  std::size_t operator()(caprion::Param param) const noexcept {
    return std::hash<std::string_view>()(rawValue(param));
  }
};
/// \endcond
