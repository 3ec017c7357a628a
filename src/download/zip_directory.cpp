#include "download/zip_directory.hpp"

#include "platform/descriptor.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace caprion {

namespace {

// Signatures, and the sizes of the fixed parts.
constexpr std::string_view entrySignature = "PK\1\2";
constexpr std::string_view endSignature = "PK\5\6";
constexpr std::size_t entryHeaderSize = 46;
constexpr std::size_t endSize = 22;
/// The end record, followed by a comment.
constexpr std::uint64_t longestEnd = endSize + 0xFFFF;
/// Only so much of a directory is read.
constexpr std::uint64_t longestDirectory = 16 << 20;

// ZIP64: an additional end record followed by a locator, and an extra field for sizes that exceed 32 bits.
constexpr std::string_view zip64EndSignature = "PK\6\6";
constexpr std::size_t zip64EndSize = 56 + 20;
constexpr std::uint64_t zip64Field = 1;
constexpr std::uint64_t inZip64Field = 0xFFFFFFFF;

std::uint64_t number(std::string_view bytes, std::size_t at, std::size_t size) {
  std::uint64_t value = 0;
  while (size > 0) value = value << 8 | static_cast<unsigned char>(bytes[at + --size]);
  return value;
}

std::size_t shortNumber(std::string_view bytes, std::size_t at) {
  return static_cast<std::size_t>(number(bytes, at, 2));
}

/// The uncompressed size in an entry's extra fields, each of which is an ID, a length and that many bytes.
std::uint64_t zip64Size(std::string_view fields) {
  while (fields.size() >= 4 + 8) {
    if (shortNumber(fields, 0) == zip64Field) return number(fields, 4, 8);
    fields.remove_prefix(std::min(fields.size(), 4 + shortNumber(fields, 2)));
  }
  return inZip64Field;
}

/// A part of a file, which has to have room in memory.
std::string bytesAt(int file, std::uint64_t at, std::uint64_t size) {
  std::string bytes(static_cast<std::size_t>(size), '\0');
  const ssize_t count = ::pread(file, bytes.data(), bytes.size(), static_cast<off_t>(at));
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return bytes;
}

struct CloseFile {
  int descriptor;
  ~CloseFile() {
    if (descriptor >= 0) ::close(descriptor);
  }
};

/// The central directory of an archive, which precedes the end record; empty if there is none.
std::string directoryOf(const std::string& archive) {
  const int file = pastStandardDescriptors(::open(archive.c_str(), O_RDONLY | O_CLOEXEC));
  const CloseFile close{file};
  struct stat status {};
  if (::fstat(file, &status) != 0) return "";
  const auto size = static_cast<std::uint64_t>(status.st_size);
  const std::uint64_t from = size - std::min(size, longestEnd);
  const std::string tail = bytesAt(file, from, size - from);
  std::size_t end = tail.rfind(endSignature);
  if (end == std::string::npos || tail.size() - end < endSize) return "";
  std::uint64_t length = number(tail, end + 12, 4);
  if (end >= zip64EndSize && tail.compare(end - zip64EndSize, 4, zip64EndSignature) == 0) {
    end -= zip64EndSize;
    length = number(tail, end + 40, 8);
  }
  if (length > from + end) return "";
  return bytesAt(file, from + end - length, std::min(length, longestDirectory));
}

}  // namespace

void readZipDirectory(const std::string& archive,
                      const std::function<bool(std::string_view name, std::uint64_t size)>& visit) {
  const std::string directory = directoryOf(archive);
  std::string_view rest = directory;
  while (rest.size() >= entryHeaderSize && rest.starts_with(entrySignature)) {
    const std::size_t nameSize = shortNumber(rest, 28);
    const std::size_t fieldsSize = shortNumber(rest, 30);
    const std::size_t entrySize = entryHeaderSize + nameSize + fieldsSize + shortNumber(rest, 32);
    if (entrySize > rest.size()) return;
    std::uint64_t size = number(rest, 24, 4);
    if (size == inZip64Field) size = zip64Size(rest.substr(entryHeaderSize + nameSize, fieldsSize));
    if (!visit(rest.substr(entryHeaderSize, nameSize), size)) return;
    rest.remove_prefix(entrySize);
  }
}

}  // namespace caprion
