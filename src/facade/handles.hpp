#pragma once

#include <caprion/caprion.h>
#include <caprion/subtitle.hpp>

#include <memory>
#include <new>
#include <optional>
#include <vector>

// The handles of the C interface that several files use.

struct caprion_subtitle {
  std::shared_ptr<const caprion::Subtitle> record;
};

// Holds handles rather than records, as the getters return borrowed handles.
struct caprion_subtitle_list {
  std::vector<caprion_subtitle> subtitles;
};

namespace caprion {

/// What `make` returns; null when memory runs out.
template <class Make>
auto orNull(Make make) -> decltype(make()) {
  try {
    return make();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

/// Whether there is a number; stores it in `*number` unless that is null.
template <class Number>
bool numberOf(const std::optional<Number>& field, Number* number) {
  if (field && number != nullptr) *number = *field;
  return field.has_value();
}

}  // namespace caprion
