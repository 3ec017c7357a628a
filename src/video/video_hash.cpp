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
#include <memory>

namespace caprion {

namespace {

// The movie hash of OpenSubtitles: the file's size plus all 64-bit little-endian words of its first and of
// its last 64 KiB, modulo 2^64.
constexpr std::size_t blockSize = 65'536;
using Block = std::array<unsigned char, blockSize>;

int openForReading(const char* path, int flags) {
  int descriptor = -1;
  do {
    descriptor = ::open(path, flags | O_CLOEXEC);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

/// RAII for a file that is open for reading.
class OpenFile {
 public:
  explicit OpenFile(const std::string& path) {
    // Don't wait for the other end of a pipe; don't acquire a controlling terminal.
    descriptor_ = openForReading(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (descriptor_ < 0 && errno == EWOULDBLOCK) waitForLease(path);
  }
  ~OpenFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  /// Absent unless open, and a regular file or a block device.
  std::optional<std::uint64_t> size() const {
    struct stat status {};
    if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0) return std::nullopt;
    if (S_ISREG(status.st_mode)) return static_cast<std::uint64_t>(status.st_size);
    const off_t end = S_ISBLK(status.st_mode) ? ::lseek(descriptor_, 0, SEEK_END) : -1;
    if (end < 0) return std::nullopt;
    return static_cast<std::uint64_t>(end);
  }

  /// Reads a whole block; false if there is less.
  bool read(Block& block, std::uint64_t offset) const {
    std::size_t done = 0;
    while (done < block.size()) {
      const ssize_t count =
          ::pread(descriptor_, block.data() + done, block.size() - done, static_cast<off_t>(offset + done));
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return false;
      done += static_cast<std::size_t>(count);
    }
    return true;
  }

 private:
  /// Opens a file on which another process holds a lease: blocks until the holder gives it up or the system
  /// breaks it (/proc/sys/fs/lease-break-time). Checks the type through O_PATH first, so that it can't block
  /// on a pipe.
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

  int descriptor_ = -1;
};

std::uint64_t sumOfWords(const Block& block) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < block.size(); i += sizeof sum) {
    std::uint64_t word = 0;
    std::memcpy(&word, block.data() + i, sizeof word);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    sum += word;
  }
  return sum;
}

}  // namespace

std::optional<VideoHash> videoHash(const std::string& path) {
  if (path.find('\0') != std::string::npos) return std::nullopt;
  const OpenFile file(path);
  const auto size = file.size();
  if (!size) return std::nullopt;
  if (*size < blockSize) return VideoHash{};

  const auto block = std::make_unique_for_overwrite<Block>();  // the host's thread may have little stack
  std::uint64_t sum = *size;
  for (const std::uint64_t offset : {std::uint64_t{0}, *size - blockSize}) {
    if (!file.read(*block, offset)) return std::nullopt;
    sum += sumOfWords(*block);
  }
  std::array<char, 17> digits{};
  std::snprintf(digits.data(), digits.size(), "%016" PRIx64, sum);
  return VideoHash{digits.data(), *size};
}

}  // namespace caprion
