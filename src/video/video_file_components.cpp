#include "platform/error.hpp"
#include "platform/json.hpp"
#include "platform/made_once.hpp"
#include "platform/regular_expression.hpp"
#include "platform/text.hpp"

#include <caprion/video_file_components.hpp>

#include <array>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <new>
#include <utility>

namespace caprion {

namespace {

enum Key : std::size_t { titleKey, yearKey, seasonKey, episodeKey, resolutionKey };
constexpr std::array<std::string_view, 5> componentKeys{"title", "year", "season", "episode", "resolution"};

/// Word characters as defined by Unicode (UTS #18); PCRE2's \w differs.
constexpr std::string_view inAWord = R"([\p{Alphabetic}\p{M}\p{Nd}\p{Pc}\x{200C}\x{200D}])";

/// Never destroyed, as the host may parse names while it exits.
struct Markers {
  RegularExpression seasonAndEpisode{"(?:s([0-9]{1,2})|[0-9]{1,2})[ex]([0-9]{1,2})"};
  RegularExpression resolution{
      std::string("(?<!").append(inAWord).append(R"()\d{3,4}p(?!)").append(inAWord).append(")")};
  /// Without word boundaries: any run of digits may hold a year.
  RegularExpression year{R"((?:19|20)\d{2})"};
};

constinit MadeOnce<Markers> sharedMarkers;

/// Absent unless all digits are ASCII, which `\d` doesn't guarantee.
std::optional<std::int64_t> wholeNumber(std::string_view digits) {
  std::int64_t number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [parsed, error] = std::from_chars(digits.data(), end, number);
  if (error != std::errc() || parsed != end) return std::nullopt;
  return number;
}

/// The name without its extension, with spaces for separators, in well-formed UTF-8.
std::string nameOf(const URL& url) {
  std::string name = url.lastPathComponent();
  const std::size_t period = name.rfind('.');
  // A leading period is that of a hidden file.
  if (period != std::string::npos && period > 0) name.resize(period);
  for (char& c : name) {
    if (c == '.' || c == '_') c = ' ';
  }
  return repairedUTF8(std::move(name));
}

VideoFileComponents parse(const std::string& name) {
  VideoFileComponents components;
  const Markers& markers = sharedMarkers.get();
  // Each kind of marker is searched for in the whole name, and each match moves the end of the title.
  RegularExpression::Matches match(name);
  std::size_t titleEnd = name.size();
  for (match.of(markers.seasonAndEpisode); match.next();) {
    titleEnd = match.position();
    if (!match.text(1).empty()) components.season = wholeNumber(match.text(1));
    components.episode = wholeNumber(match.text(2));
  }
  for (match.of(markers.resolution); match.next();) {
    titleEnd = match.position();
    components.resolution = match.text();
  }
  for (match.of(markers.year); match.next();) {
    titleEnd = match.position();
    components.year = wholeNumber(match.text());
  }
  components.title = trimmed(std::string_view(name).substr(0, titleEnd));
  return components;
}

Result<VideoFileComponents> decoded(std::string_view json) {
  const auto view = JSONDecoder().decodeValue(json, componentKeys);
  if (!view) return view.error();
  if (auto error = view->notAnObject()) return *error;

  const auto title = view->text(titleKey);
  if (!title) return title.error();
  const auto year = view->optionalInteger(yearKey);
  if (!year) return year.error();
  const auto season = view->optionalInteger(seasonKey);
  if (!season) return season.error();
  const auto episode = view->optionalInteger(episodeKey);
  if (!episode) return episode.error();
  const auto resolution = view->optionalText(resolutionKey);
  if (!resolution) return resolution.error();
  return VideoFileComponents{std::string(*title), *year, *season, *episode,
                             std::optional<std::string>(*resolution)};
}

}  // namespace

VideoFileComponents VideoFileUtilities::componentsFrom(const URL& url) noexcept {
  try {
    return parse(nameOf(url));
  } catch (const std::bad_alloc&) {
    return {};
  }
}

std::string VideoFileComponents::searchString() const {
  if (season && episode) {
    std::array<char, 64> marker{};
    std::snprintf(marker.data(), marker.size(), " s%02" PRId64 "e%02" PRId64, *season, *episode);
    return title + marker.data();
  }
  if (year) return title + ' ' + std::to_string(*year);
  return title;
}

Result<VideoFileComponents> VideoFileComponents::decode(std::string_view json) noexcept {
  return orOutOfMemory([&] { return decoded(json); });
}

Result<std::string> VideoFileComponents::encode() const noexcept {
  return orOutOfMemory([&]() -> Result<std::string> {
    JSONObjectWriter writer;
    writer.text(componentKeys[titleKey], title);
    if (year) writer.integer(componentKeys[yearKey], *year);
    if (season) writer.integer(componentKeys[seasonKey], *season);
    if (episode) writer.integer(componentKeys[episodeKey], *episode);
    if (resolution) writer.text(componentKeys[resolutionKey], *resolution);
    return std::move(writer).finish();
  });
}

}  // namespace caprion
