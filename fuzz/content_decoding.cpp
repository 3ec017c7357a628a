// Decodes any bytes as an encoded body, in pieces. The first byte selects the encoding, the second the size
// of the pieces.
#include "network/content_decoding.hpp"

#include <algorithm>
#include <cassert>
#include <string>

using namespace caprion;

namespace {

struct Decoded {
  std::string output;
  bool isBroken = false;
  bool mayEnd = false;

  bool operator==(const Decoded&) const = default;
};

/// Decodes up to a limit, because a bomb may be of any size.
Decoded decoded(ContentEncoding encoding, std::string_view body, std::size_t pieceSize) {
  constexpr std::size_t limit = std::size_t{8} << 20;
  ContentDecoding decoding(encoding);
  Decoded result;
  while (!body.empty() && !result.isBroken && result.output.size() < limit) {
    std::string_view piece = body.substr(0, pieceSize);
    body.remove_prefix(piece.size());
    while ((!piece.empty() || decoding.hasOutputLeft()) && !result.isBroken && result.output.size() < limit) {
      const auto step = decoding.step(piece);
      assert(step.error || step.consumed > 0 || !step.output.empty() || piece.empty());
      assert(step.consumed <= piece.size() &&
             step.output.size() <= std::max<std::size_t>(32 << 10, piece.size()));
      piece.remove_prefix(step.consumed);
      result.output += step.output;
      result.isBroken = step.error.has_value();
    }
  }
  result.output.resize(std::min(result.output.size(), limit));
  result.mayEnd = !result.isBroken && result.output.size() < limit && decoding.mayEnd();
  return result;
}

/// Decodes a body of a single, complete stream by zlib, at once.
std::string inflated(std::string_view body, int window, bool& isWhole) {
  std::string output(std::size_t{1} << 20, '\0');
  z_stream stream{};
  assert(::inflateInit2(&stream, window) == Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
  stream.avail_in = static_cast<uInt>(body.size());
  stream.next_out = reinterpret_cast<Bytef*>(output.data());
  stream.avail_out = static_cast<uInt>(output.size());
  isWhole = ::inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_in == 0;
  output.resize(stream.total_out);
  ::inflateEnd(&stream);
  return output;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  if (size < 2) return 0;
  const auto encoding = static_cast<ContentEncoding>(static_cast<unsigned char>(data[0]) % 3);
  const auto pieceSize = std::size_t{1} + static_cast<unsigned char>(data[1]);
  const std::string_view body(data + 2, size - 2);

  const Decoded whole = decoded(encoding, body, body.size() + 1);
  const Decoded inPieces = decoded(encoding, body, pieceSize);
  assert(whole.isBroken == inPieces.isBroken && whole.mayEnd == inPieces.mayEnd);
  assert(whole.isBroken || whole.output == inPieces.output);
  if (encoding == ContentEncoding::identity) assert(whole.mayEnd && whole.output == body);
  for (const int window : {31, 15, -15}) {
    bool isWhole = false;
    const std::string expected = inflated(body, window, isWhole);
    const bool isOurs =
        window == 31 ? encoding == ContentEncoding::gzip : encoding == ContentEncoding::deflate;
    // If it could be either kind of deflate, it is taken for a zlib stream.
    const bool isAmbiguous = window == -15 && !body.empty() && (body[0] & 0x8F) == 0x08;
    if (isWhole && isOurs && !isAmbiguous) assert(whole.mayEnd && whole.output == expected);
  }

  ContentEncodings encodings;
  if (encodings.add(body)) (void)encodings.add(body);
  return 0;
}
