#pragma once

#include <caprion/error.hpp>

#include <zlib.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace caprion {

/// The Content-Encoding of an answer.
enum class ContentEncoding { identity, gzip, deflate };

/// Collects the encodings that a head names. At most one is supported.
class ContentEncodings {
 public:
  /// Adds the value of a Content-Encoding field. Returns false if it names an unknown encoding or a second
  /// one.
  bool add(std::string_view value);

  ContentEncoding encoding() const { return encoding_; }

 private:
  ContentEncoding encoding_ = ContentEncoding::identity;
};

/// Decodes a body in short steps, whatever comes in.
class ContentDecoding {
 public:
  /// Some decoded output, valid until the next step, and how much input it consumed.
  struct Step {
    std::size_t consumed = 0;
    std::string_view output;
    std::optional<Error> error;
  };

  explicit ContentDecoding(ContentEncoding encoding) : encoding_(encoding) {}

  /// Decodes from the start of the input: all of it, unless the output buffer fills up. Call it while there
  /// is input or hasOutputLeft(). Throws std::bad_alloc.
  Step step(std::string_view input);

  /// Whether consumed input may still produce output.
  bool hasOutputLeft() const { return isInside_ && inflation_->stream.avail_out == 0; }

  /// Whether the body may end here, that is, outside a compressed stream.
  bool mayEnd() const { return !isInside_; }

 private:
  struct Inflation {
    /// `window` is that of inflateInit2. Throws std::bad_alloc.
    explicit Inflation(int window);
    ~Inflation() { ::inflateEnd(&stream); }
    Inflation(const Inflation&) = delete;
    Inflation& operator=(const Inflation&) = delete;

    z_stream stream{};
  };

  void begin(std::string_view input);

  const ContentEncoding encoding_;
  bool isInside_ = false;  // a compressed stream
  std::unique_ptr<Inflation> inflation_;
  std::unique_ptr<char[]> piece_;
};

}  // namespace caprion
