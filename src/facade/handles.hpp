#pragma once

#include <caprion/caprion.h>
#include <caprion/subtitle.hpp>

#include <memory>
#include <new>
#include <optional>
#include <vector>

// What stands behind those handles of the C face that more than one of its files knows.

struct caprion_subtitle {
  std::shared_ptr<const caprion::Subtitle> record;
};

// Handles rather than records, so that one can be lent.
struct caprion_subtitle_list {
  std::vector<caprion_subtitle> subtitles;
};

namespace caprion {

/// What `make` returns; null when the memory runs out.
template <class Make>
auto orNull(Make make) -> decltype(make()) {
  try {
    return make();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

/// Whether there is a number, which then goes to `*number`, if that is wanted.
template <class Number>
bool numberOf(const std::optional<Number>& field, Number* number) {
  if (field && number != nullptr) *number = *field;
  return field.has_value();
}

}  // namespace caprion
