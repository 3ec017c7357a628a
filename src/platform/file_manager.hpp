#pragma once

#include <caprion/error.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace caprion {

/// Where temporary files of this user go: $TMPDIR where it is set. Or else the user's cache folder, which no
/// other user can have made beforehand: $XDG_CACHE_HOME or ~/.cache. Reads the environment.
std::string temporaryDirectory();

/// A new file in a folder, for the user alone, that is gone with this unless it was moved away.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string folder);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Adds to the file; the error, too, if it could not be made.
  std::optional<Error> write(std::string_view bytes);

  /// For moveItem. A file without a name in its folder, which is what the system gives where it can, leaves
  /// nothing behind however the process ends.
  std::string path() const;

 private:
  const std::string folder_;
  std::string name_;  // its path, if it has one
  bool isNamed_ = false;
  int descriptor_ = -1;
  int error_ = 0;
};

/// Makes a folder that only the user may enter. One that is there already will do if it is the user's own and
/// no symbolic link; it is closed to others then.
std::optional<Error> createPrivateDirectory(const std::string& path);

/// Makes a folder and all that lead to it, those that are missing for the user alone.
std::optional<Error> createDirectories(const std::string& path);

/// Removes whatever there is at the path, a folder with all that is in it. What the user owns goes, whatever
/// its mode; what can't be removed stays.
void removeItem(const std::string& path);

/// The same for all that is in a folder, but not for the folder itself.
void removeContents(const std::string& path);

/// Gives an item another name in the same file system; never at the cost of one that has this name already.
std::optional<Error> moveItem(const std::string& from, const std::string& to);

/// The way from a folder to what lies at a path behind all symbolic links; absent when there is nothing, or
/// when they lead out of the folder.
std::optional<std::string> pathWithin(const std::string& folder, const std::string& path);

/// Lets the user, as far as he owns them, read and write the item at a path from a folder, and enter and
/// change the folders on the way to it.
void letUserIn(const std::string& folder, const std::string& path);

/// How many bytes the file at the path has, behind all symbolic links; 0 where there is none.
std::uint64_t fileSize(const std::string& path);

/// Walks through a folder, each folder in it before its content, in the order of the file system. Hidden
/// entries are passed over with all below them, and symbolic links are not followed. `visit` gets the path of
/// each entry and answers whether to go on. `failed` gets what could not be read, and the walk goes on with
/// the rest.
void enumerate(const std::string& folder, const std::function<bool(const std::string& path)>& visit,
               const std::function<void(const std::string& path, const Error& error)>& failed);

}  // namespace caprion
