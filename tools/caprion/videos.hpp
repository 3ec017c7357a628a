#pragma once

#include <caprion/error.hpp>

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace caprion::tool {

/// What is in a folder, read once a run: what a library of thousands of videos needs is there in a few reads.
struct Folder {
  struct Entry {
    std::string name;
    unsigned char type;  // DT_REG and so on; of a link it says no more than that it is one
  };

  /// The path without links, which tells whether two folders are the same.
  std::string path;
  /// In the order of their names.
  std::vector<Entry> entries;
  /// What kept it from being read, or 0.
  int error = 0;
};

/// The folders that a run has to do with. What it hands out lives as long as this does, and the same folder
/// is the same object, whatever it was called.
class Folders {
 public:
  /// The folder at a path; the empty path is the working folder.
  const Folder& at(const std::string& path);

  /// The one of this name in a folder, which is no link.
  const Folder& below(const Folder& folder, const std::string& name);

 private:
  const Folder& read(const std::string& path);

  std::map<std::string, Folder> byPath_;
  std::map<std::string, const Folder*> byName_;
};

/// A file to find subtitles for, or a path that can't be one, and why.
struct Video {
  /// As the command line has it, or begins it.
  std::string path;
  /// Where it lies; null if there is an error.
  const Folder* folder = nullptr;
  std::optional<Error> error;

  std::string_view name() const { return std::string_view(path).substr(path.rfind('/') + 1); }
};

/// The path of an entry of a folder; the empty folder is the working one.
std::string pathOf(std::string_view folder, std::string_view name);

/// The videos that the paths of the command line name, files or folders with all below them: each once, in
/// the order of their paths. Hidden entries of folders are passed over, and so are links to folders. A named
/// file that isn't called like a video is an error, unless `any`.
std::vector<Video> videosAt(std::span<const std::string_view> paths, bool any, Folders& folders);

}  // namespace caprion::tool
