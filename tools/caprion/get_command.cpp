#include "command.hpp"
#include "files.hpp"
#include "service.hpp"
#include "text.hpp"

#include <caprion/video_file_components.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace caprion::tool {

namespace {

namespace fs = std::filesystem;

constexpr OptionRule options[] = {{"lang", true, 'l'}, {"output", true, 'o'}, {"force", false}};

constexpr std::string_view help = R"(usage: caprion get VIDEO... [-l LANG] [-o FOLDER] [--force]

Finds a subtitle for each video, downloads it, and places it beside the video as
VIDEO-STEM.LANG.FORMAT: movie.eng.srt for movie.mkv. Searches by the video's
content first, and if that finds nothing, by the text that its name gives; takes
the first hit that can be downloaded. Whatever happens to one video, the next one
gets its turn.

A subtitle that is there already stays as it is. That counts as done; in JSON,
"subtitleID" is missing then.

  -l, --lang LANG    the language, such as ger; eng when not given
  -o, --output FOLDER
                     place the subtitles in this folder, which has to exist
  --force            replace a subtitle that is there already
)";

struct Wish {
  std::vector<std::string_view> videos;
  std::string_view language = "eng";
  std::optional<fs::path> folder;
  bool force = false;
};

/// What the service has for a video: no hit when it has nothing.
struct Find {
  std::shared_ptr<const Subtitle> hit;
  std::string_view matched;  // by what
};

enum Ending : std::size_t { placed, alreadyThere, notFound, failed };

/// What became of one video.
struct Outcome {
  /// All that went wrong, in its order, even if there is a subtitle in the end.
  std::vector<Error> errors;
  Find find;
  /// Where the subtitle is; empty when there is none.
  fs::path subtitle;
  bool wasThere = false;

  Ending ending() const {
    if (subtitle.empty()) return errors.empty() ? notFound : failed;
    return wasThere ? alreadyThere : placed;
  }
};

Wish wishFrom(const Arguments& arguments) {
  if (arguments.operands.empty()) throw UsageError("name at least one video file");
  Wish wish;
  wish.videos = arguments.operands;
  for (const auto& [name, value] : arguments.options) {
    if (name == "lang") wish.language = value;
    if (name == "output") wish.folder = value;
    if (name == "force") wish.force = true;
  }
  std::error_code ignored;
  if (wish.folder && !fs::is_directory(*wish.folder, ignored))
    throw UsageError("there is no folder '" + wish.folder->string() + "'");
  return wish;
}

/// The first hit that can be downloaded, or null.
std::shared_ptr<const Subtitle> choiceOf(const Hits& hits) {
  const auto found = std::find_if(
      hits.begin(), hits.end(), [](const auto& hit) { return !hit->zipDownloadLink().value_or("").empty(); });
  return found == hits.end() ? nullptr : *found;
}

Result<Find> findFor(const URL& video, std::string_view language) {
  const auto hash = Caprion::hashFor(video);
  // A file that is too short for a hash is like all others of its kind. One that can't be read fails here.
  if (!hash || !hash->fileHash.empty()) {
    const auto hits = findSubtitles(video, language);
    if (!hits) return hits.error();
    if (auto hit = choiceOf(*hits)) return Find{std::move(hit), "content"};
  }
  const std::string text = VideoFileUtilities::componentsFrom(video).searchString();
  if (text.empty()) return Find{};
  const auto hits = findSubtitles(text, language);
  if (!hits) return hits.error();
  return Find{choiceOf(*hits), "name"};
}

char lowercased(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// A text of the service as a piece of a file name between periods: small, and free of surprises.
std::string pieceFrom(std::string_view text) {
  constexpr std::size_t longest = 16;
  std::string piece;
  for (char c : text) {
    c = lowercased(c);
    const bool isPlain = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    if (isPlain && piece.size() < longest) piece += c;
  }
  return piece;
}

fs::path subtitlePath(const fs::path& video, const Subtitle& subtitle,
                      const std::optional<fs::path>& folder) {
  fs::path name = video.stem();
  for (const std::string_view text : {subtitle.subLanguageID(), subtitle.subFormat()}) {
    const std::string piece = pieceFrom(text);
    if (!piece.empty()) name += "." + piece;
  }
  return folder.value_or(video.parent_path()) / name;
}

bool haveSameExtension(const fs::path& a, const fs::path& b) {
  const std::string first = a.extension(), second = b.extension();
  return std::equal(first.begin(), first.end(), second.begin(), second.end(),
                    [](char x, char y) { return lowercased(x) == lowercased(y); });
}

/// Why there is no use in a download for this path: 0 or an errno.
int obstacleAt(const fs::path& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0) return EEXIST;
  if (errno != ENOENT) return errno;
  const fs::path folder = path.parent_path();
  return ::access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) == 0 ? 0 : errno;
}

void getOne(const fs::path& video, const Wish& wish, Outcome& outcome) {
  const auto find = findFor(URL::fileURLWithPath(video.native()), wish.language);
  if (!find) outcome.errors.push_back(find.error());
  if (!find || !find->hit) return;
  outcome.find = *find;

  const fs::path path = subtitlePath(video, *find->hit, wish.folder);
  // The format is the service's word. It must not lead --force to a video.
  if (haveSameExtension(path, video)) {
    outcome.errors.emplace_back("", 0, Error::UserInfo(), "The subtitle would be named like a video");
    return;
  }

  int error = obstacleAt(path);
  if (error == EEXIST && wish.force) error = 0;
  if (error == 0) {
    for (const auto& report : download(*find->hit)) {
      if (!report) {
        outcome.errors.push_back(report.error());
      } else if ((error = placeFile(report->path(), path, wish.force)) == 0) {
        outcome.subtitle = path;
      }
    }
  }
  if (error == EEXIST && !wish.force) {
    outcome.subtitle = path;
    outcome.wasThere = true;
  } else if (error != 0) {
    outcome.errors.push_back(systemError(error, path.native()));
  }
}

void print(std::string_view video, const Outcome& outcome, Output& output) {
  for (const Error& error : outcome.errors) output.printFailure(video, error, video);
  if (outcome.ending() == failed) return;
  if (outcome.ending() == notFound) {
    output.printFailure(video, Error("", 0, {}, "No subtitle found"), video);
  } else if (output.json()) {
    boost::json::object line{{"file", wellFormed(video)},
                             {"subtitle", wellFormed(outcome.subtitle.native())}};
    if (!outcome.wasThere) line["subtitleID"] = wellFormed(outcome.find.hit->subtitleID());
    output.printJSON(line);
  } else {
    constexpr std::size_t longestTitle = 80;
    std::string line = printable(outcome.subtitle.native());
    if (outcome.wasThere) {
      line += "  already there";
    } else {
      line.append("  found by ").append(outcome.find.matched).append(": ");
      line += fitted(printable(outcome.find.hit->detailString()), longestTitle);
    }
    output.print(line + "\n");
  }
}

ExitStatus run(const Arguments& arguments, Output& output) {
  const Wish wish = wishFrom(arguments);
  const std::string count = std::to_string(wish.videos.size());
  std::array<std::size_t, 4> counts{};
  bool somethingFailed = false;
  for (std::size_t i = 0; i < wish.videos.size(); ++i) {
    const fs::path video = wish.videos[i];
    Outcome outcome;
    {
      std::string text = "[";
      text.append(std::to_string(i + 1)).append("/").append(count).append("] ");
      const Progress progress(output, text.append(video.filename().native()).append(" ..."));
      getOne(video, wish, outcome);
    }
    print(wish.videos[i], outcome, output);
    ++counts[outcome.ending()];
    somethingFailed = somethingFailed || !outcome.errors.empty();
  }
  if (wish.videos.size() > 1 && !output.json()) {
    std::string summary = count + " videos: ";
    summary += std::to_string(counts[placed]) + " placed, ";
    summary += std::to_string(counts[alreadyThere]) + " already there, ";
    summary += std::to_string(counts[notFound]) + " not found, ";
    summary += std::to_string(counts[failed]) + " failed";
    output.printNote(summary);
  }
  if (somethingFailed) return ExitStatus::failed;
  return counts[notFound] > 0 ? ExitStatus::nothingFound : ExitStatus::done;
}

}  // namespace

constexpr Command getCommand{"get", "find, download and place subtitles beside video files", help, options,
                             run};

}  // namespace caprion::tool
