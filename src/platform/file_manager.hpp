#pragma once

#include <caprion/error.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace caprion {

/// $TMPDIR, or else the user's cache folder, $XDG_CACHE_HOME or ~/.cache, which unlike /tmp no other user can
/// create first. Reads the environment.
std::string temporaryDirectory();

/// A new file in a folder with mode 0600. The destructor removes it, unless it was moved away.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string folder);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Appends to the file. If creating it has failed, returns that error.
  std::optional<Error> write(std::string_view bytes);

  /// For moveItem. Where O_TMPFILE is supported the file has no name, so nothing is left behind however the
  /// process ends.
  std::string path() const;

 private:
  const std::string folder_;
  std::string name_;  // its path, unless it is unnamed
  bool isNamed_ = false;
  int descriptor_ = -1;
  int error_ = 0;
};

/// Creates a folder with mode 0700. An existing one is accepted if it belongs to the user and is no symbolic
/// link, and gets that mode.
std::optional<Error> createPrivateDirectory(const std::string& path);

/// Creates a folder and its missing parents, with mode 0700.
std::optional<Error> createDirectories(const std::string& path);

/// Removes the file or tree at a path, whatever the modes of the user's own folders. What can't be removed
/// stays.
void removeItem(const std::string& path);

/// The same for the contents of a folder.
void removeContents(const std::string& path);

/// Renames an item within a file system. Never replaces an existing one.
std::optional<Error> moveItem(const std::string& from, const std::string& to);

/// The resolved path, relative to the folder. Absent if nothing is there, or if symbolic links lead out of
/// the folder.
std::optional<std::string> pathWithin(const std::string& folder, const std::string& path);

/// Gives the owner full access to the item at a path relative to `folder`, and to the folders in between.
void grantOwnerAccess(const std::string& folder, const std::string& path);

/// The size of the file at a path, following symbolic links; 0 if there is none.
std::uint64_t fileSize(const std::string& path);

/// Walks a folder in pre-order and directory order, without hidden entries and without following symbolic
/// links. `visit` returns whether to go on. `failed` is called for what couldn't be read, and the walk goes
/// on.
void enumerate(const std::string& folder, const std::function<bool(const std::string& path)>& visit,
               const std::function<void(const std::string& path, const Error& error)>& failed);

}  // namespace caprion
