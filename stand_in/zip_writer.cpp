#include "zip_writer.hpp"

#include <sys/stat.h>
#include <zlib.h>

#include <array>
#include <limits>
#include <stdexcept>
#include <utility>

namespace caprion::stand_in {
namespace {

constexpr std::uint64_t limit16 = std::numeric_limits<std::uint16_t>::max();
constexpr std::uint64_t limit32 = std::numeric_limits<std::uint32_t>::max();

// Appends a little-endian number; throws if it is too large.
void put16(std::string& to, std::uint64_t value) {
  if (value > limit16) throw std::length_error("too much for a zip archive");
  for (int shift = 0; shift < 16; shift += 8) to += static_cast<char>(value >> shift & 0xff);
}

void put32(std::string& to, std::uint64_t value) {
  if (value > limit32) throw std::length_error("too much for a zip archive");
  for (int shift = 0; shift < 32; shift += 8) to += static_cast<char>(value >> shift & 0xff);
}

std::uint32_t crcOf(std::string_view data) {
  return static_cast<std::uint32_t>(
      crc32_z(0, reinterpret_cast<const unsigned char*>(data.data()), data.size()));
}

// Raw deflate. `flush` is Z_FINISH for a complete stream, or the end of one, or Z_FULL_FLUSH for a piece that
// any other piece may follow, even itself.
std::string deflated(std::string_view data, int flush) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY) !=
      Z_OK)
    throw std::runtime_error("deflateInit2");
  if (data.size() > limit32) throw std::length_error("too much for a zip archive");
  std::string out(deflateBound(&stream, data.size()) + 16, '\0');
  stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(data.data()));
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, flush);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

// The format's traditional cipher: three keys, updated by every plain byte.
class ZipCipher {
 public:
  explicit ZipCipher(std::string_view password) {
    for (const char byte : password) stir(static_cast<std::uint8_t>(byte));
  }

  std::string encrypt(std::string_view plain) {
    std::string out;
    out.reserve(plain.size());
    for (const char byte : plain) {
      const std::uint32_t pad = (keys_[2] | 2) & 0xffff;
      out += static_cast<char>(static_cast<std::uint8_t>(byte) ^ (pad * (pad ^ 1) >> 8 & 0xff));
      stir(static_cast<std::uint8_t>(byte));
    }
    return out;
  }

 private:
  void stir(std::uint8_t byte) {
    keys_[0] = crcStep(keys_[0], byte);
    keys_[1] = (keys_[1] + (keys_[0] & 0xff)) * 134775813 + 1;
    keys_[2] = crcStep(keys_[2], static_cast<std::uint8_t>(keys_[1] >> 24));
  }

  static std::uint32_t crcStep(std::uint32_t crc, std::uint8_t byte) {
    return static_cast<std::uint32_t>(get_crc_table()[(crc ^ byte) & 0xff]) ^ crc >> 8;
  }

  std::array<std::uint32_t, 3> keys_{0x12345678, 0x23456789, 0x34567890};
};

}  // namespace

void ZipWriter::add(std::string_view name, std::string_view data, const ZipOptions& options) {
  const unsigned kind = (options.mode & S_IFMT) == 0 ? S_IFREG : 0;
  append(name, kind | options.mode, pack(data, options.deflate), options.password);
}

void ZipWriter::addZeros(std::string_view name, std::uint64_t size, const ZipOptions& options) {
  if (size > limit32) throw std::length_error("too much for a zip archive");
  // A piece, packed once and repeated, and then the remainder.
  const std::string piece(1 << 20, '\0');
  const std::string packedPiece = deflated(piece, Z_FULL_FLUSH);
  const std::uint32_t pieceCrc = crcOf(piece);
  Packed packed{{}, size, 0, true};
  for (; size >= piece.size(); size -= piece.size()) {
    packed.bytes += packedPiece;
    packed.crc =
        static_cast<std::uint32_t>(crc32_combine(packed.crc, pieceCrc, static_cast<z_off_t>(piece.size())));
  }
  const std::string_view rest = std::string_view(piece).substr(0, static_cast<std::size_t>(size));
  packed.bytes += deflated(rest, Z_FINISH);
  packed.crc = static_cast<std::uint32_t>(crc32_combine(packed.crc, crcOf(rest), static_cast<z_off_t>(size)));
  append(name, S_IFREG | options.mode, std::move(packed), options.password);
}

void ZipWriter::addSymlink(std::string_view name, std::string_view target) {
  append(name, S_IFLNK | 0777, pack(target, false), {});
}

void ZipWriter::addFolder(std::string_view name, unsigned mode) {
  append(name, S_IFDIR | mode, pack({}, false), {});
}

ZipWriter::Packed ZipWriter::pack(std::string_view data, bool deflate) {
  return {deflate ? deflated(data, Z_FINISH) : std::string(data), data.size(), crcOf(data), deflate};
}

void ZipWriter::append(std::string_view name, unsigned mode, Packed packed, const std::string& password) {
  if (!password.empty()) {
    // Twelve bytes precede the data. The last verifies the password; the others would be random, but here the
    // archive should be the same each time.
    const std::string header = std::string(11, 'x') + static_cast<char>(packed.crc >> 24);
    packed.bytes = ZipCipher(password).encrypt(header + packed.bytes);
  }

  std::string shared;  // the fields common to the local header and the directory
  put16(shared, 20);   // version needed: 2.0
  put16(shared, password.empty() ? 0 : 1);
  put16(shared, packed.deflated ? 8 : 0);
  put16(shared, 12 << 11);                         // 12:00:00
  put16(shared, (2020 - 1980) << 9 | 1 << 5 | 1);  // 2020-01-01
  put32(shared, packed.crc);
  put32(shared, packed.bytes.size());
  put32(shared, packed.size);
  put16(shared, name.size());
  put16(shared, 0);  // no extra field

  directory_ += "PK\1\2";
  put16(directory_, 3 << 8 | 20);  // made by: Unix, 2.0
  directory_ += shared;
  put16(directory_, 0);  // no comment
  put16(directory_, 0);  // first disk
  put16(directory_, 0);  // internal attributes
  put32(directory_, std::uint64_t{mode} << 16 | (S_ISDIR(mode) ? 0x10 : 0));
  put32(directory_, archive_.size());
  directory_ += name;

  archive_ += "PK\3\4";
  archive_ += shared;
  archive_ += name;
  archive_ += packed.bytes;
  ++count_;
}

std::string ZipWriter::finish() {
  std::string end = "PK\5\6";
  put16(end, 0);  // this disk
  put16(end, 0);  // the directory's disk
  put16(end, count_);
  put16(end, count_);
  put32(end, directory_.size());
  put32(end, archive_.size());
  put16(end, 0);  // no comment
  std::string archive = std::move(archive_) + directory_ + end;
  *this = {};
  return archive;
}

}  // namespace caprion::stand_in
