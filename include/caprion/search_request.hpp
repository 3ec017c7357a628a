#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace CAPRION_NAMESPACE {

/// The kinds of search criterion that the service knows. Each hashes as its key.
enum class Param { episode, imdbid, moviebytesize, moviehash, query, season, sublanguageid, tag };

/// The kind's key in the request path, which is its name: "moviehash" for Param::moviehash.
CAPRION_EXPORT std::string_view rawValue(Param param) noexcept;

/// The kind with exactly this key, byte for byte; absent for any other text.
CAPRION_EXPORT std::optional<Param> paramFrom(std::string_view rawValue) noexcept;

/// One search criterion: a kind and its value. An immutable value.
class CAPRION_EXPORT Arg {
 public:
  /// Any text is a value, the empty one included; it is kept and sent as it is.
  Arg(Param param, std::string arg);

  /// The kind.
  Param param() const noexcept { return param_; }
  /// The value, as it was given.
  const std::string& arg() const noexcept { return arg_; }

  /// The criterion's piece of the request path, not yet percent-encoded: "/query-the matrix".
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
