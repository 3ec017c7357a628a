#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>
#include <caprion/subtitle.hpp>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace CAPRION_NAMESPACE {

/// The decoded answer to one search. Copies share the records.
struct CAPRION_EXPORT QueryResult {
  /// The hits, in the order of the answer.
  std::vector<std::shared_ptr<const Subtitle>> subtitles;

  /// Decodes a whole answer, a JSON array, optionally after a byte order mark. Elements that can't be decoded
  /// as a Subtitle are silently left out. Fails with an error of DecodingErrorDomain if the answer isn't JSON
  /// or isn't an array.
  static Result<QueryResult> decode(std::string_view json) noexcept;

  /// Encodes the records as a JSON object with the single key "subtitles". (decode() can't read this: it
  /// expects the bare array that the service sends.) Fails with an error of EncodingErrorDomain if a record
  /// is a null pointer.
  Result<std::string> encode() const noexcept;
};

}  // namespace CAPRION_NAMESPACE
