#include "videos.hpp"

#include "files.hpp"
#include "text.hpp"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <utility>

namespace caprion::tool {

namespace {

constexpr std::string_view extensions[] = {"mkv", "mp4",  "m4v", "avi",  "mov",  "wmv", "webm",
                                           "ts",  "m2ts", "mts", "mpg",  "mpeg", "vob", "flv",
                                           "ogm", "ogv",  "3gp", "divx", "rmvb", "asf"};

bool isCalledLikeAVideo(std::string_view name) {
  const std::size_t period = name.rfind('.');
  if (period == std::string_view::npos || period == 0) return false;
  const std::string extension = lowercased(name.substr(period + 1));
  return std::find(std::begin(extensions), std::end(extensions), extension) != std::end(extensions);
}

std::string withoutLinks(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
  return resolved ? resolved.get() : path;
}

Folder folderAt(const std::string& path) {
  Folder folder{path, {}, 0};
  const auto close = [](DIR* stream) { ::closedir(stream); };
  const std::unique_ptr<DIR, decltype(close)> stream(::opendir(path.c_str()), close);
  if (!stream) {
    folder.error = errno;
    return folder;
  }
  errno = 0;
  while (const ::dirent* const entry = ::readdir(stream.get())) {
    folder.entries.push_back({entry->d_name, entry->d_type});
  }
  folder.error = errno;
  std::sort(folder.entries.begin(), folder.entries.end(),
            [](const auto& a, const auto& b) { return a.name < b.name; });
  return folder;
}

Video failure(std::string path, Error error) { return {std::move(path), nullptr, std::move(error)}; }

/// Collects the videos in a folder, recursively.
void walk(const std::string& top, Folders& folders, std::vector<Video>& videos) {
  std::vector<std::pair<std::string, const Folder*>> waiting{{top, &folders.at(top)}};
  while (!waiting.empty()) {
    const auto [path, folder] = std::move(waiting.back());
    waiting.pop_back();
    if (folder->error != 0) videos.push_back(failure(path, systemError(folder->error)));
    for (const auto& [name, type] : folder->entries) {
      if (name.front() == '.') continue;
      const bool isCalledSo = isCalledLikeAVideo(name);
      bool isFile = type == DT_REG;
      bool isFolder = type == DT_DIR;
      // Links must be resolved, and some file systems don't give types.
      if (type == DT_UNKNOWN || (type == DT_LNK && isCalledSo)) {
        struct stat status {};
        const std::string entry = pathOf(folder->path, name);
        if (type == DT_UNKNOWN && ::lstat(entry.c_str(), &status) == 0) isFolder = S_ISDIR(status.st_mode);
        isFile = isCalledSo && ::stat(entry.c_str(), &status) == 0 && S_ISREG(status.st_mode);
      }
      if (isFolder) waiting.emplace_back(pathOf(path, name), &folders.below(*folder, name));
      if (isFile && isCalledSo) videos.push_back({pathOf(path, name), folder, {}});
    }
  }
}

Video named(const std::string& path, bool any, const struct stat& status, Folders& folders) {
  Video video{path, nullptr, {}};
  if (!S_ISREG(status.st_mode) || (!any && !isCalledLikeAVideo(video.name())))
    return failure(path, Error("", 0, {}, "This is no video file"));
  video.folder = &folders.at(path.substr(0, path.size() - video.name().size()));
  if (video.folder->error != 0) return failure(path, systemError(video.folder->error, video.folder->path));
  return video;
}

/// Compares paths with '/' before all other characters, so that the contents of a folder stay together.
bool comesBefore(const Video& a, const Video& b) {
  const auto rank = [](char c) { return c == '/' ? 0 : static_cast<unsigned char>(c) + 1; };
  return std::lexicographical_compare(a.path.begin(), a.path.end(), b.path.begin(), b.path.end(),
                                      [&](char x, char y) { return rank(x) < rank(y); });
}

}  // namespace

std::string pathOf(std::string_view folder, std::string_view name) {
  std::string path;
  path.reserve(folder.size() + 1 + name.size());
  path.append(folder);
  if (!path.empty() && path.back() != '/') path += '/';
  return path.append(name);
}

const Folder& Folders::read(const std::string& path) {
  auto found = byPath_.find(path);
  if (found == byPath_.end()) found = byPath_.emplace(path, folderAt(path)).first;
  return found->second;
}

const Folder& Folders::at(const std::string& path) {
  const Folder*& folder = byName_[path];
  if (!folder) folder = &read(withoutLinks(path.empty() ? "." : path));
  return *folder;
}

const Folder& Folders::below(const Folder& folder, const std::string& name) {
  return read(pathOf(folder.path, name));
}

std::vector<Video> videosAt(std::span<const std::string_view> paths, bool any, Folders& folders) {
  std::vector<Video> videos;
  for (const std::string_view word : paths) {
    const std::string path(word);
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
      videos.push_back(failure(path, systemError(errno)));
    } else if (S_ISDIR(status.st_mode)) {
      walk(path, folders, videos);
    } else {
      videos.push_back(named(path, any, status, folders));
    }
  }
  if (paths.size() > 1) {
    std::set<std::pair<const Folder*, std::string>> known;
    std::erase_if(videos, [&known](const Video& video) {
      std::string name(video.name());
      if (!video.folder) name = std::filesystem::path(video.path).lexically_normal();
      return !known.emplace(video.folder, std::move(name)).second;
    });
  }
  std::sort(videos.begin(), videos.end(), comesBefore);
  return videos;
}

}  // namespace caprion::tool
