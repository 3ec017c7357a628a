#include "placement.hpp"

#include "files.hpp"
#include "languages.hpp"
#include "text.hpp"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <span>
#include <unordered_map>
#include <utility>

namespace caprion::tool {

namespace {

// The first eight consist of a single file, so they can be placed.
constexpr std::string_view formats[] = {"srt", "ass", "ssa", "sub", "smi", "vtt", "txt", "mpl", "idx", "sup"};
constexpr std::span<const std::string_view> placeable(formats, 8);

bool isAmong(std::span<const std::string_view> words, std::string_view word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

/// An existing entry with a name that a subtitle would have.
struct Found {
  std::string_view name;
  int error = 0;  // why it isn't a usable file
};

int errorOf(const Folder& folder, const Folder::Entry& entry) {
  if (entry.type == DT_REG) return 0;
  struct stat status {};
  if (::stat(pathOf(folder.path, entry.name).c_str(), &status) != 0) return errno;
  return S_ISREG(status.st_mode) ? 0 : S_ISDIR(status.st_mode) ? EISDIR : EEXIST;
}

/// Whether the name STEM.REST is that of a subtitle in the language.
bool isSubtitle(std::string_view rest, const Language& language, bool isOnlyLanguage) {
  const std::size_t period = rest.rfind('.');
  const std::string format = lowercased(period == std::string_view::npos ? rest : rest.substr(period + 1));
  if (!isAmong(formats, format)) return false;
  if (period == std::string_view::npos) return isOnlyLanguage && format != "txt";  // which is often a note
  return Language::from(rest.substr(0, period)) == language;
}

std::optional<Found> subtitleIn(const Folder& folder, const Video& video, const Language& language,
                                bool isOnlyLanguage) {
  std::optional<Found> found;
  const std::string start = std::string(stemOf(video.name())) + '.';
  const auto comesBefore = [](const Folder::Entry& entry, const std::string& name) {
    return entry.name < name;
  };
  auto entry = std::lower_bound(folder.entries.begin(), folder.entries.end(), start, comesBefore);
  for (; entry != folder.entries.end() && entry->name.starts_with(start); ++entry) {
    const bool isVideo = &folder == video.folder && entry->name == video.name();
    const std::string_view rest = std::string_view(entry->name).substr(start.size());
    if (isVideo || !isSubtitle(rest, language, isOnlyLanguage)) continue;
    found = {entry->name, errorOf(folder, *entry)};
    if (found->error == 0) break;
  }
  return found;
}

/// The path for a video's subtitle with this name.
std::string placeOf(std::string_view name, const Video& video, const GetOptions& options) {
  const std::string_view path = video.path;
  return pathOf(options.folder ? *options.folder : path.substr(0, path.size() - video.name().size()), name);
}

/// The folder and stem of a video's subtitles.
using Name = std::pair<const Folder*, std::string_view>;
struct HashOfName {
  std::size_t operator()(const Name& name) const {
    return std::hash<std::string_view>()(name.second) ^ std::hash<const Folder*>()(name.first);
  }
};

void lookForOne(Outcome& outcome, const Folder& folder, const Video& video, const GetOptions& options) {
  const auto found = subtitleIn(folder, video, outcome.language, options.languages.size() == 1);
  if (!found) return;
  outcome.subtitle = placeOf(found->name, video, options);
  if (found->error != 0) return outcome.fail(systemError(found->error, outcome.subtitle));
  outcome.ending = Ending::alreadyThere;
}

}  // namespace

std::vector<Task> tasksFor(std::vector<Video> videos, const GetOptions& options, Folders& folders) {
  const Folder* const common = options.folder ? &folders.at(*options.folder) : nullptr;
  std::unordered_map<Name, const Video*, HashOfName> owners;
  owners.reserve(videos.size());
  std::vector<Task> tasks;
  tasks.reserve(videos.size());
  for (Video& one : videos) {
    Task& task = tasks.emplace_back(Task{std::move(one)});
    const Video& video = task.video;
    if (video.error) continue;
    const Folder* const folder = common ? common : video.folder;
    const auto [owner, isFirst] = owners.try_emplace(Name{folder, stemOf(video.name())}, &video);
    for (const Language& language : options.languages) {
      Outcome& outcome = task.outcomes.emplace_back(Outcome{language});
      if (!isFirst) {
        outcome.fail(Error("", 0, {}, "Its subtitle would be called like that of " + owner->second->path));
      } else if (folder->error != 0) {
        outcome.fail(systemError(folder->error, folder->path));
      } else if (!options.force) {
        lookForOne(outcome, *folder, video, options);
      }
    }
  }
  return tasks;
}

std::string_view stemOf(std::string_view name) {
  const std::size_t period = name.rfind('.');
  return period == 0 ? name : name.substr(0, period);
}

std::string placeFor(const Video& video, const Subtitle& hit, const Language& language,
                     const GetOptions& options) {
  const std::string format = lowercased(hit.subFormat());
  if (!isAmong(placeable, format)) return {};
  std::string name(stemOf(video.name()));
  name.append(".").append(fileNameCodeOf(language)).append(".").append(format);
  return placeOf(name, video, options);
}

int obstacleAt(const std::string& path, bool replace) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0) {
    if (!replace || !S_ISREG(status.st_mode)) return EEXIST;
  } else if (errno != ENOENT) {
    return errno;
  }
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  return ::access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) == 0 ? 0 : errno;
}

}  // namespace caprion::tool
