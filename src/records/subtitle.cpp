#include "platform/error.hpp"
#include "platform/json.hpp"
#include "records/subtitle_coding.hpp"

#include <caprion/subtitle.hpp>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <limits>

namespace caprion {

namespace {

constexpr std::array<std::string_view, 2> kinds{"movie", "episode"};

constexpr std::array<std::string_view, 17> codingKeys{
    "IDSubtitle",   "MatchedBy",     "SubFileName",     "SubLanguageID",   "LanguageName", "ISO639",
    "SubFormat",    "MovieName",     "MovieYear",       "MovieKind",       "IDMovieImdb",  "SeriesIMDBParent",
    "SeriesSeason", "SeriesEpisode", "ZipDownloadLink", "SubDownloadLink", "SubSumCD"};

/// The number that the whole text is in decimal, with or without a sign; 0 when it isn't one.
std::int64_t decimal(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [parsed, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && parsed == end ? number : 0;
}

}  // namespace

std::string_view rawValue(MovieKind kind) noexcept { return kinds[static_cast<std::size_t>(kind)]; }

std::optional<MovieKind> movieKindFrom(std::string_view rawValue) noexcept {
  if (rawValue == kinds[0]) return MovieKind::movie;
  if (rawValue == kinds[1]) return MovieKind::episode;
  return std::nullopt;
}

const CodingKeys SubtitleCoding::keys = codingKeys;

Result<std::shared_ptr<const Subtitle>> SubtitleCoding::decode(const KeyedView& view) {
  if (auto error = view.notAnObject()) return *error;
  struct Record : Subtitle {
    explicit Record(const Texts& texts) : Subtitle(texts) {}
  };
  Subtitle::Texts texts;
  std::uint64_t size = 0;
  for (std::size_t key = 0; key < keys.size(); ++key) {
    if (Subtitle::isLink(key)) {
      const auto link = view.optionalText(key);
      if (!link) return link.error();
      texts[key] = *link;
    } else {
      const auto text = view.text(key);
      if (!text) return text.error();
      texts[key] = *text;
    }
    if (key == Subtitle::movieKindKey && !movieKindFrom(*texts[key]))
      return view.error(DecodingErrorKind::dataCorrupted, key);
    size += texts[key].value_or("").size() + 1;
  }
  if (size > std::numeric_limits<std::uint32_t>::max()) return posixError(EOVERFLOW);
  return std::shared_ptr<const Subtitle>(std::make_shared<Record>(texts));
}

std::string_view SubtitleCoding::imdbIDMovie(const Subtitle& subtitle) noexcept {
  return subtitle.text(Subtitle::imdbIDMovieKey);
}

std::string_view SubtitleCoding::imdbIDSeries(const Subtitle& subtitle) noexcept {
  return subtitle.text(Subtitle::imdbIDSeriesKey);
}

Subtitle::Subtitle(const Texts& texts)
    : hasLink_{texts[zipDownloadLinkKey].has_value(), texts[subDownloadLinkKey].has_value()},
      movieKind_(*movieKindFrom(*texts[movieKindKey])) {
  std::size_t size = 0;
  for (const auto& text : texts) size += text.value_or("").size() + 1;
  texts_.reserve(size);
  for (std::size_t key = 0; key < keyCount; ++key) {
    texts_.append(texts[key].value_or("")).push_back('\0');
    begins_[key + 1] = static_cast<std::uint32_t>(texts_.size());
  }
}

Subtitle::~Subtitle() = default;

Result<std::shared_ptr<const Subtitle>> Subtitle::decode(std::string_view json) noexcept {
  return orOutOfMemory([&]() -> Result<std::shared_ptr<const Subtitle>> {
    const auto view = JSONDecoder().decodeValue(json, SubtitleCoding::keys);
    if (!view) return view.error();
    return SubtitleCoding::decode(*view);
  });
}

Result<std::string> Subtitle::encode() const noexcept {
  return orOutOfMemory([&]() -> Result<std::string> {
    JSONObjectWriter writer;
    for (std::size_t key = 0; key < keyCount; ++key) {
      if (!isLink(key) || hasLink_[key - zipDownloadLinkKey]) writer.text(codingKeys[key], text(key));
    }
    return std::move(writer).finish();
  });
}

std::optional<std::string> Subtitle::imdbID() const {
  const auto number = decimal(text(movieKind_ == MovieKind::movie ? imdbIDMovieKey : imdbIDSeriesKey));
  std::array<char, 32> id{};
  std::snprintf(id.data(), id.size(), "tt%07lld", static_cast<long long>(number));
  return id.data();
}

std::string Subtitle::detailString() const {
  std::string detail(movieName());
  detail.append(" (").append(movieYear());
  if (movieKind_ == MovieKind::movie) return detail.append(")");
  return detail.append("), season ").append(seriesSeason()).append(", episode ").append(seriesEpisode());
}

}  // namespace caprion
