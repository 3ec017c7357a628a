#pragma once

#include <caprion/error.hpp>

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace caprion::tool {

/// The listing of a folder, read once per run, rather than a few system calls for each video.
struct Folder {
  struct Entry {
    std::string name;
    unsigned char type;  // DT_REG and so on; DT_LNK for a link
  };

  /// The real path, which identifies the folder.
  std::string path;
  /// Sorted by name.
  std::vector<Entry> entries;
  /// The errno if it couldn't be read, or 0.
  int error = 0;
};

/// A cache of folder listings. References stay valid as long as it lives. Different paths of one folder give
/// the same object.
class Folders {
 public:
  /// The folder at a path; the empty path is the working directory.
  const Folder& at(const std::string& path);

  /// The subfolder of this name, which must not be a link.
  const Folder& below(const Folder& folder, const std::string& name);

 private:
  const Folder& read(const std::string& path);

  std::map<std::string, Folder> byPath_;
  std::map<std::string, const Folder*> byName_;
};

/// A video file, or a path that isn't one, with an error.
struct Video {
  /// As given on the command line, or below a folder given there.
  std::string path;
  /// Its folder; null if there is an error.
  const Folder* folder = nullptr;
  std::optional<Error> error;

  std::string_view name() const { return std::string_view(path).substr(path.rfind('/') + 1); }
};

/// Joins a folder and a name; the empty folder is the working directory.
std::string pathOf(std::string_view folder, std::string_view name);

/// The videos at the given paths, which may be files or folders to search recursively: without duplicates,
/// sorted by path. Skips hidden entries and links to folders. A given file without a video's extension is an
/// error, unless `any`.
std::vector<Video> videosAt(std::span<const std::string_view> paths, bool any, Folders& folders);

}  // namespace caprion::tool
