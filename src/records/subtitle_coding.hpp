#pragma once

#include "platform/json.hpp"

#include <caprion/subtitle.hpp>

#include <memory>
#include <string_view>

namespace caprion {

/// The mapping between a Subtitle and JSON, and what of a record only the library itself may read.
struct SubtitleCoding {
  static const CodingKeys keys;

  /// The record in the view of one JSON value, or the fault of the first key that has one.
  static Result<std::shared_ptr<const Subtitle>> decode(const KeyedView& view);

  /// The IMDb number of the title, and of the series that an episode belongs to, as the service wrote them.
  static std::string_view imdbIDMovie(const Subtitle& subtitle) noexcept;
  static std::string_view imdbIDSeries(const Subtitle& subtitle) noexcept;
};

}  // namespace caprion
