#include "unpacked.hpp"

#include "text.hpp"

#include <caprion/release_name.hpp>
#include <caprion/url.hpp>

#include <algorithm>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace caprion::tool {

namespace {

namespace fs = std::filesystem;

struct Candidate {
  fs::path file;
  std::string name;  // in the archive
};

/// The hit's cache folder, which is some parent of the file's.
fs::path folderOf(const Subtitle& hit, const fs::path& file) {
  for (fs::path folder = file.parent_path(); folder.has_relative_path(); folder = folder.parent_path()) {
    if (folder.filename() == hit.subtitleID()) return folder;
  }
  return file.parent_path();
}

std::vector<Candidate> candidatesFor(const Subtitle& hit, const fs::path& reported) {
  const std::string extension = fs::path(hit.subFileName()).extension();
  std::vector<Candidate> candidates{{reported, reported.stem().stem().string() + extension}};
  std::error_code error;
  constexpr auto options = fs::directory_options::skip_permission_denied;
  for (fs::recursive_directory_iterator entry(folderOf(hit, reported), options, error), end;
       !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    const std::string name = entry->path().filename();
    const bool isFile = entry->symlink_status(ignored).type() == fs::file_type::regular;
    if (isFile && entry->path() != reported &&
        lowercased(entry->path().extension().string()) == lowercased(extension))
      candidates.push_back({entry->path(), name});
  }
  // macOS adds a metadata file "._NAME" for each file.
  if (candidates.size() > 1)
    std::erase_if(candidates, [](const Candidate& one) { return one.name.starts_with("._"); });
  return candidates;
}

ReleaseName releaseOf(std::string_view name) {
  return ReleaseName::from(URL::fileURLWithPath(std::string("/").append(name)));
}

bool shareAnEpisode(const ReleaseName& a, const ReleaseName& b) {
  return std::find_first_of(a.episodes.begin(), a.episodes.end(), b.episodes.begin(), b.episodes.end()) !=
         a.episodes.end();
}

/// Whether the name is of another episode than the video.
bool contradicts(const ReleaseName& file, const ReleaseName& video) {
  return (file.season && video.season && file.season != video.season) ||
         (!file.episodes.empty() && !video.episodes.empty() && !shareAnEpisode(file, video));
}

/// Whether the name is of the video's episode or movie.
bool suits(const ReleaseName& file, const ReleaseName& video) {
  if (video.season) return file.season == video.season && shareAnEpisode(file, video);
  return !file.season && !file.title.empty() && lowercased(file.title) == lowercased(video.title) &&
         (!file.year || !video.year || file.year == video.year);
}

/// Whether the name is of one of several parts: "CD2", "disc.2", "part 2".
bool isOfAPart(std::string_view name) {
  const std::string text = lowercased(name);
  for (const std::string_view word : {"cd", "disc", "disk", "part"}) {
    for (std::size_t place = 0; (place = text.find(word, place)) != std::string::npos; place += word.size()) {
      const bool isWordStart = place == 0 || !((text[place - 1] >= 'a' && text[place - 1] <= 'z'));
      std::size_t next = place + word.size();
      if (next < text.size() && std::string_view(" ._-").find(text[next]) != std::string_view::npos) ++next;
      const bool isNumbered = next < text.size() && text[next] >= '1' && text[next] <= '9';
      if (isWordStart && isNumbered) return true;
    }
  }
  return false;
}

}  // namespace

Result<Unpacked> subtitleFor(const Video& video, const Subtitle& hit, const fs::path& reported) {
  const std::vector<Candidate> candidates = candidatesFor(hit, reported);
  if (candidates.size() == 1) return Unpacked{candidates.front().file};

  const bool isInParts = std::all_of(candidates.begin(), candidates.end(),
                                     [](const Candidate& one) { return isOfAPart(one.name); });
  if (isInParts) return Error("", 0, {}, "The archive holds the subtitle in several parts");

  const ReleaseName wanted = releaseOf(video.name());
  const auto only = [&candidates](const auto& isRight) -> const Candidate* {
    const auto found = std::find_if(candidates.begin(), candidates.end(), isRight);
    if (found == candidates.end() || std::any_of(found + 1, candidates.end(), isRight)) return nullptr;
    return &*found;
  };
  const Candidate* chosen = only([&](const Candidate& one) {
    return one.name == hit.subFileName() && !contradicts(releaseOf(one.name), wanted);
  });
  if (!chosen) chosen = only([&](const Candidate& one) { return suits(releaseOf(one.name), wanted); });
  if (!chosen)
    return Error("", 0, {}, "The archive holds several subtitles, and none is known to be the video's");
  return Unpacked{chosen->file, false};
}

}  // namespace caprion::tool
