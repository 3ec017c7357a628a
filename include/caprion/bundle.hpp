#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>

namespace CAPRION_NAMESPACE {

/// What the host program says about itself. Any thread may call any member at any time.
class CAPRION_EXPORT Bundle {
 public:
  /// A string, or a value of another type.
  using Value = std::variant<std::string, std::int64_t, double, bool>;
  /// Keys and values.
  using InfoDictionary = std::map<std::string, Value, std::less<>>;

  /// The host's bundle. Never destroyed.
  static Bundle& main() noexcept;

  /// Absent until the host sets it. The library uses only the string for "CFBundleName", as the name of the
  /// folder for its downloads.
  std::optional<InfoDictionary> infoDictionary() const;
  /// Replaces or removes the dictionary. Affects downloads that start later.
  void setInfoDictionary(std::optional<InfoDictionary> dictionary);

 private:
  Bundle() = default;
};

}  // namespace CAPRION_NAMESPACE
