#pragma once

#include <caprion/error.hpp>

#include <zlib.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace caprion {

/// How the body of an HTTP answer is encoded, by its head.
enum class ContentEncoding { identity, gzip, deflate };

/// Gathers the encodings that the fields of a head name, of which a body may have one.
class ContentEncodings {
 public:
  /// Takes the value of a Content-Encoding field. False when the body can't be decoded: by a name that is not
  /// known, or by a second encoding over the first.
  bool add(std::string_view value);

  ContentEncoding encoding() const { return encoding_; }

 private:
  ContentEncoding encoding_ = ContentEncoding::identity;
};

/// Undoes the encoding of a body, piece by piece, so that no single step takes long, whatever comes in.
class ContentDecoding {
 public:
  /// A piece of the decoded body, valid until the next step, and how much of the input it took.
  struct Step {
    std::size_t consumed = 0;
    std::string_view output;
    std::optional<Error> error;
  };

  explicit ContentDecoding(ContentEncoding encoding) : encoding_(encoding) {}

  /// Decodes a beginning of the input. Takes all of it, unless it makes more output than fits into a piece.
  /// To be called while there is input, or hasOutputLeft(). Throws std::bad_alloc.
  Step step(std::string_view input);

  /// Whether there may be more output for what was taken.
  bool hasOutputLeft() const { return isInside_ && inflation_->stream.avail_out == 0; }

  /// Whether the body may end here: an encoded one may where its stream does, or before it has begun.
  bool mayEnd() const { return !isInside_; }

 private:
  struct Inflation {
    /// Throws std::bad_alloc. `window` tells the format, as zlib's inflateInit2 has it.
    explicit Inflation(int window);
    ~Inflation() { ::inflateEnd(&stream); }
    Inflation(const Inflation&) = delete;
    Inflation& operator=(const Inflation&) = delete;

    z_stream stream{};
  };

  void begin(std::string_view input);

  const ContentEncoding encoding_;
  bool isInside_ = false;  // a stream that has begun and not ended
  std::unique_ptr<Inflation> inflation_;
  std::unique_ptr<char[]> piece_;
};

}  // namespace caprion
