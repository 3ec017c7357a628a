#include "network/content_decoding.hpp"

#include "network/transport_error.hpp"
#include "platform/letter_case.hpp"
#include "platform/text.hpp"

#include <algorithm>
#include <new>

namespace caprion {

namespace {

constexpr std::size_t pieceSize = std::size_t{32} << 10;
/// The window bits by which inflateInit2 tells RFC 1950, 1951 and 1952 apart.
constexpr int zlibWindow = 15;
constexpr int rawWindow = -15;
constexpr int gzipWindow = 16 + 15;

/// Servers send "deflate" as a zlib stream, which is correct, or as raw deflate data. The first byte of a
/// zlib stream names method 8; no raw stream in practice begins like that.
bool beginsZlibStream(std::string_view input) {
  const auto first = static_cast<unsigned char>(input.front());
  return (first & 0x0F) == 8 && (first >> 4) <= 7;
}

}  // namespace

bool ContentEncodings::add(std::string_view value) {
  while (!value.empty()) {
    const std::size_t comma = std::min(value.find(','), value.size());
    const std::string name = lowercasedASCII(trimmed(value.substr(0, comma)));
    value.remove_prefix(std::min(comma + 1, value.size()));
    if (name.empty() || name == "identity") continue;
    if (encoding_ != ContentEncoding::identity) return false;
    if (name == "gzip" || name == "x-gzip") {
      encoding_ = ContentEncoding::gzip;
    } else if (name == "deflate") {
      encoding_ = ContentEncoding::deflate;
    } else {
      return false;
    }
  }
  return true;
}

ContentDecoding::Inflation::Inflation(int window) {
  if (::inflateInit2(&stream, window) != Z_OK) throw std::bad_alloc();
}

/// Begins the first stream, or a further member of a gzip file (RFC 1952, 2.2).
void ContentDecoding::begin(std::string_view input) {
  if (inflation_) {
    ::inflateReset(&inflation_->stream);
  } else {
    const bool isGzip = encoding_ == ContentEncoding::gzip;
    inflation_ = std::make_unique<Inflation>(isGzip                    ? gzipWindow
                                             : beginsZlibStream(input) ? zlibWindow
                                                                       : rawWindow);
    piece_ = std::make_unique_for_overwrite<char[]>(pieceSize);
  }
  isInside_ = true;
}

ContentDecoding::Step ContentDecoding::step(std::string_view input) {
  if (encoding_ == ContentEncoding::identity) return {input.size(), input, {}};
  const auto broken = [](const char* why) {
    return Step{0, {}, urlError(url_error::cannotDecodeContentData, why)};
  };
  if (!isInside_) {
    if (inflation_ && encoding_ == ContentEncoding::deflate) return broken("There is data behind the stream");
    begin(input);
  }
  z_stream& stream = inflation_->stream;
  // zlib takes no pointers to const, but leaves its input alone.
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = reinterpret_cast<Bytef*>(piece_.get());
  stream.avail_out = pieceSize;
  const int status = ::inflate(&stream, Z_NO_FLUSH);
  const std::size_t consumed = input.size() - stream.avail_in;
  const std::size_t produced = pieceSize - stream.avail_out;
  if (status == Z_MEM_ERROR) throw std::bad_alloc();
  if (status == Z_NEED_DICT) return broken("The stream needs a dictionary");
  if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR)
    return broken(stream.msg != nullptr ? stream.msg : "The stream is broken");
  if (status == Z_STREAM_END) isInside_ = false;
  return {consumed, {piece_.get(), produced}, {}};
}

}  // namespace caprion
