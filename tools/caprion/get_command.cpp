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

Finds a subtitle for each video, downloads it, and places it beside the video as
STEM.LANG.FORMAT: movie.eng.srt for movie.mkv. PATH is a video, or a folder with
all videos in it and below. Takes the best hit that suits the video's name, found
by its content, else by its release name, else by its title.

What is there already stays as it is, and isn't asked for again.

  -l, --lang LANG    the languages, such as ger or pt-BR, with commas or several
                     times; that of the locale when not given. See
                     'caprion languages'.
  -o, --output FOLDER
                     place the subtitles in this folder, which has to exist, and
                     look there for those that are there already
  --force            replace subtitles that are there already
  -n, --dry-run      only tell what would be placed, and why
  -j, --jobs N       so many videos at a time; 6 when not given
  --pick             show the hits that suit, and ask which to take
  --keep-encoding    leave all texts as they come; else they become UTF-8
  --any              take named files for videos whatever they are called
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

constexpr Command getCommand{"get", "find, download and place subtitles beside video files", getHelp,
                             getOptions, runGet};

}  // namespace caprion::tool
