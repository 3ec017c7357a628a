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

/// What a program says of itself. Any thread may call it at any time.
class CAPRION_EXPORT Bundle {
 public:
  /// A text, or a value of another kind.
  using Value = std::variant<std::string, std::int64_t, double, bool>;
  /// Values by their keys.
  using InfoDictionary = std::map<std::string, Value, std::less<>>;

  /// The bundle of the host, made on first use and never destroyed.
  static Bundle& main() noexcept;

  /// Absent until the host sets it. The library reads the text under "CFBundleName": the name of the folder
  /// that its downloads go to.
  std::optional<InfoDictionary> infoDictionary() const;
  /// Replaces the dictionary, or takes it away. Downloads that start later go by the new one.
  void setInfoDictionary(std::optional<InfoDictionary> dictionary);

 private:
  Bundle() = default;
};

}  // namespace CAPRION_NAMESPACE
