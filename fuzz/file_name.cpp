// Parses any bytes as the path of a video file, as its URL, and as the JSON of its components.
#include "platform/text.hpp"

#include <caprion/video_file_components.hpp>

#include <algorithm>
#include <cassert>
#include <filesystem>
#include <regex>

using namespace caprion;

namespace {

/// The documented components of a name in ASCII, by an independent implementation.
VideoFileComponents expectedFor(const std::string& name) {
  static const auto flags = std::regex::ECMAScript | std::regex::icase;
  static const std::regex episode("(?:s([0-9]{1,2})|[0-9]{1,2})[ex]([0-9]{1,2})", flags);
  static const std::regex resolution("\\b[0-9]{3,4}p\\b", flags);
  static const std::regex year("19[0-9][0-9]|20[0-9][0-9]", flags);
  VideoFileComponents expected;
  std::ptrdiff_t end = std::ssize(name);
  const auto each = [&](const std::regex& marker, const auto& found) {
    for (std::sregex_iterator match(name.begin(), name.end(), marker), last; match != last; ++match) {
      end = match->position();
      found(*match);
    }
  };
  each(episode, [&](const auto& match) {
    if (match[1].matched) expected.season = std::stoi(match[1]);
    expected.episode = std::stoi(match[2]);
  });
  each(resolution, [&](const auto& match) { expected.resolution = match.str(); });
  each(year, [&](const auto& match) { expected.year = std::stoi(match.str()); });
  expected.title = trimmed(name.substr(0, static_cast<std::size_t>(end)));
  return expected;
}

void checkValue(const VideoFileComponents& components) {
  assert(*VideoFileComponents::decode(*components.encode()) == components);
  const auto& [title, year, season, episode, resolution] = components;
  const std::string marker = components.searchString().substr(title.size());
  static const std::regex pair(" s(-[0-9]+|[0-9]{2,})e(-[0-9]+|[0-9]{2,})");
  std::smatch match;
  assert(components.searchString().starts_with(title));
  assert((season && episode) || marker == (year ? ' ' + std::to_string(*year) : ""));
  if (!season || !episode) return;
  assert(std::regex_match(marker, match, pair));
  assert(std::stoll(match[1]) == *season && std::stoll(match[2]) == *episode);
}

void checkName(const URL& url) {
  const VideoFileComponents components = VideoFileUtilities::componentsFrom(url);
  const auto& [title, year, season, episode, resolution] = components;
  assert(!year || (*year >= 1900 && *year <= 2099));
  assert(!season || (*season >= 0 && *season <= 99 && episode));
  assert(!episode || (*episode >= 0 && *episode <= 99));
  checkValue(components);

  std::string name = url.lastPathComponent();
  if (const auto period = name.rfind('.'); period != std::string::npos && period > 0) name.resize(period);
  std::ranges::replace(name, '.', ' ');
  std::ranges::replace(name, '_', ' ');
  name = repairedUTF8(name);
  assert(trimmed(title) == title && trimmed(name).starts_with(title));
  assert(!resolution || name.find(*resolution) != std::string::npos);
  const bool isASCII = std::ranges::all_of(name, [](char c) { return (c & 0x80) == 0; });
  assert(!isASCII || components == expectedFor(name));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  const std::string input(data, size);
  const URL url = URL::fileURLWithPath(input);
  const std::string path = std::filesystem::current_path() / input;
  assert(url.path() == path && url.isFileURL() && url.host().empty());
  assert(URL::fromString(url.absoluteString()) == url);
  const auto end = path.find_last_not_of('/');
  const auto begin = path.find_last_of('/', end) + 1;
  assert(url.lastPathComponent() == (end == std::string::npos ? "/" : path.substr(begin, end + 1 - begin)));
  checkName(url);
  if (const auto other = URL::fromString(input)) checkName(*other);
  if (const auto components = VideoFileComponents::decode(input)) checkValue(*components);
  return 0;
}
