#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>
#include <caprion/subtitle.hpp>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace CAPRION_NAMESPACE {

/// The decoded answer of one search. Copies share the records.
struct CAPRION_EXPORT QueryResult {
  /// The hits, in the order of the answer.
  std::vector<std::shared_ptr<const Subtitle>> subtitles;

  /// Decodes a whole answer, which has to be a JSON array; a byte order mark may stand before it. Elements
  /// that don't decode as a Subtitle are left out without a trace. Fails with an error of DecodingErrorDomain
  /// when the text isn't JSON or no array.
  static Result<QueryResult> decode(std::string_view json) noexcept;

  /// The text of a JSON object whose key "subtitles" holds the encoded records. (Decoding takes the service's
  /// shape, the bare array, so it doesn't take this text back.) Fails with an error of EncodingErrorDomain
  /// when there is a null pointer among them.
  Result<std::string> encode() const noexcept;
};

}  // namespace CAPRION_NAMESPACE
