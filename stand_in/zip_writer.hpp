#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace caprion::stand_in {

struct ZipOptions {
  unsigned mode = 0644;    ///< Unix permissions and optionally a file type (S_IFIFO)
  bool deflate = true;     ///< else the data is stored uncompressed
  std::string password{};  ///< if not empty, used for traditional (ZipCrypto) encryption
};

/// Writes a zip archive to memory, as a Unix system would, even a hostile one: names may be any bytes
/// ("../up", "/absolute", the same twice), and modes are not checked.
///
/// Throws std::length_error beyond the limits of the format without its 64-bit extension: 4 GiB for an entry
/// or the archive, 65,535 entries, 65,535 bytes for a name.
class ZipWriter {
 public:
  void add(std::string_view name, std::string_view data, const ZipOptions& options = {});

  /// Adds a file of `size` zero bytes, deflated to a thousandth of that, which is never in memory as a whole.
  void addZeros(std::string_view name, std::uint64_t size, const ZipOptions& options = {});

  void addSymlink(std::string_view name, std::string_view target);

  /// The name should end with a slash.
  void addFolder(std::string_view name, unsigned mode = 0755);

  /// Returns the archive, and resets the writer.
  std::string finish();

 private:
  struct Packed {
    std::string bytes;
    std::uint64_t size = 0;  // before packing
    std::uint32_t crc = 0;   // before packing
    bool deflated = false;
  };

  static Packed pack(std::string_view data, bool deflate);
  void append(std::string_view name, unsigned mode, Packed packed, const std::string& password);

  std::string archive_;
  std::string directory_;
  unsigned count_ = 0;
};

}  // namespace caprion::stand_in
