#include "video/video_hash.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace caprion {

namespace {

// The movie hash of OpenSubtitles: the file's size plus all 64-bit little-endian words of its first and of
// its last 64 KiB, modulo 2^64.
constexpr std::size_t blockSize = 65'536;
// A block is read in pieces, as the host's thread may have little stack.
using Piece = std::array<unsigned char, 8'192>;

int openForReading(const char* path, int flags) {
  int descriptor = -1;
  do {
    descriptor = ::open(path, flags | O_CLOEXEC);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

/// A file that is open for reading, as long as this lives.
class OpenFile {
 public:
  explicit OpenFile(const std::string& path) {
    // Without waiting for the other end of a pipe, and without a terminal becoming the host's own.
    descriptor_ = openForReading(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (descriptor_ < 0 && errno == EWOULDBLOCK) waitForLease(path);
  }
  ~OpenFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  /// The size in bytes; absent for what isn't open, or isn't a file or a block device.
  std::optional<std::uint64_t> size() const {
    struct stat status {};
    if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0) return std::nullopt;
    if (S_ISREG(status.st_mode)) return static_cast<std::uint64_t>(status.st_size);
    const off_t end = S_ISBLK(status.st_mode) ? ::lseek(descriptor_, 0, SEEK_END) : -1;
    if (end < 0) return std::nullopt;
    return static_cast<std::uint64_t>(end);
  }

  /// Adds the words of a block to the sum; false when there is less to read.
  bool addBlock(std::uint64_t offset, std::uint64_t& sum) const {
    Piece piece;
    for (std::size_t done = 0; done < blockSize; done += piece.size()) {
      if (!read(piece, offset + done)) return false;
      sum += sumOfWords(piece);
    }
    return true;
  }

 private:
  /// Opens a file that another process holds a lease on: the system asks it to give that up, and takes it
  /// away after a while (/proc/sys/fs/lease-break-time). What is waited for is the very file that was looked
  /// at.
  void waitForLease(const std::string& path) {
    const int place = openForReading(path.c_str(), O_PATH);
    struct stat status {};
    if (place >= 0 && ::fstat(place, &status) == 0 && S_ISREG(status.st_mode)) {
      std::array<char, 48> link{};
      std::snprintf(link.data(), link.size(), "/proc/thread-self/fd/%d", place);
      descriptor_ = openForReading(link.data(), O_RDONLY);
    }
    if (place >= 0) ::close(place);
  }

  bool read(Piece& piece, std::uint64_t offset) const {
    std::size_t done = 0;
    while (done < piece.size()) {
      const ssize_t count =
          ::pread(descriptor_, piece.data() + done, piece.size() - done, static_cast<off_t>(offset + done));
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return false;
      done += static_cast<std::size_t>(count);
    }
    return true;
  }

  static std::uint64_t sumOfWords(const Piece& piece) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < piece.size(); i += sizeof sum) {
      std::uint64_t word = 0;
      std::memcpy(&word, piece.data() + i, sizeof word);
      if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
      sum += word;
    }
    return sum;
  }

  int descriptor_ = -1;
};

}  // namespace

std::optional<VideoHash> videoHash(const std::string& path) {
  if (path.find('\0') != std::string::npos) return std::nullopt;
  const OpenFile file(path);
  const auto size = file.size();
  if (!size) return std::nullopt;
  if (*size < blockSize) return VideoHash{};

  std::uint64_t sum = *size;
  if (!file.addBlock(0, sum) || !file.addBlock(*size - blockSize, sum)) return std::nullopt;
  std::array<char, 17> digits{};
  std::snprintf(digits.data(), digits.size(), "%016" PRIx64, sum);
  return VideoHash{digits.data(), *size};
}

}  // namespace caprion
