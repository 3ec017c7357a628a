#include "command.hpp"
#include "get.hpp"
#include "languages.hpp"
#include "picking.hpp"

#include <charconv>
#include <filesystem>
#include <string>
#include <system_error>

namespace caprion::tool {

namespace {

constexpr OptionRule getOptions[] = {{"lang", true, 'l'},     {"output", true, 'o'},   {"force", false},
                                     {"dry-run", false, 'n'}, {"jobs", true, 'j'},     {"pick", false},
                                     {"any", false},          {"keep-encoding", false}};

constexpr std::string_view getHelp =
    R"(usage: caprion get PATH... [-l LANG[,LANG...]]... [-o FOLDER] [--force] [-n]
                   [-j N] [--pick] [--keep-encoding] [--any]

Finds a subtitle for each video, downloads it, and places it next to the video
as STEM.LANG.FORMAT: movie.eng.srt for movie.mkv. PATH is a video, or a folder:
all videos in it and its subfolders. Takes the best hit that suits the video's
name, found by its content, else by its release name, else by its title.

Existing subtitles are kept, and not searched for again.

  -l, --lang LANG    the languages, such as ger or pt-BR, separated by commas or
                     given several times; by default that of the locale. See
                     'caprion languages'.
  -o, --output FOLDER
                     place the subtitles in this folder, which must exist, and
                     look for existing ones there
  --force            replace existing subtitles
  -n, --dry-run      only show what would be placed, and why
  -j, --jobs N       the number of videos to handle at a time; 6 by default
  --pick             show the hits that suit, and ask which to take
  --keep-encoding    don't convert texts to UTF-8
  --any              treat named files as videos, whatever their extension
)";

// More would only wait: the library has at most six connections to a host.
constexpr std::size_t mostAtATime = 64;

std::size_t jobsFrom(std::string_view word) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc() || end != word.data() + word.size() || number < 1 || number > mostAtATime)
    throw UsageError("--jobs needs a number from 1 to 64, not '" + std::string(word) + "'");
  return number;
}

GetOptions optionsFrom(const Arguments& arguments) {
  if (arguments.operands.empty()) throw UsageError("name at least one video file or folder");
  GetOptions result;
  result.paths = arguments.operands;
  for (const auto& [name, value] : arguments.options) {
    if (name == "lang") addLanguages(result.languages, value);
    if (name == "output") result.folder = value;
    if (name == "force") result.force = true;
    if (name == "dry-run") result.dryRun = true;
    if (name == "jobs") result.videosAtATime = jobsFrom(value);
    if (name == "pick") result.pick = true;
    if (name == "keep-encoding") result.keepEncoding = true;
    if (name == "any") result.any = true;
  }
  if (result.languages.empty()) result.languages = {languageOfLocale()};
  std::error_code ignored;
  if (result.folder && !std::filesystem::is_directory(*result.folder, ignored))
    throw UsageError("there is no folder '" + *result.folder + "'");
  if (result.pick && !canPick()) throw UsageError("--pick needs a terminal to ask on");
  return result;
}

ExitStatus runGet(const Arguments& arguments, Output& output) { return get(optionsFrom(arguments), output); }

}  // namespace

constexpr Command getCommand{"get", "find, download and place subtitles next to video files", getHelp,
                             getOptions, runGet};

}  // namespace caprion::tool
