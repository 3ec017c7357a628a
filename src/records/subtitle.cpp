#include "platform/error.hpp"
#include "platform/json.hpp"
#include "records/subtitle_record.hpp"

#include <caprion/subtitle.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <new>

namespace CAPRION_NAMESPACE {

namespace {

constexpr std::array<std::string_view, 2> kinds{"movie", "episode"};

constexpr std::array<std::string_view, 17> codingKeys{
    "IDSubtitle",   "MatchedBy",     "SubFileName",     "SubLanguageID",   "LanguageName", "ISO639",
    "SubFormat",    "MovieName",     "MovieYear",       "MovieKind",       "IDMovieImdb",  "SeriesIMDBParent",
    "SeriesSeason", "SeriesEpisode", "ZipDownloadLink", "SubDownloadLink", "SubSumCD"};

/// The text as a decimal number, with or without a sign; 0 if it isn't one.
std::int64_t decimal(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [parsed, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && parsed == end ? number : 0;
}

std::string_view textOf(const Subtitle& subtitle, SubtitleRecord::Key key) noexcept {
  return SubtitleRecord::of(subtitle).text(key);
}

}  // namespace

std::string_view rawValue(MovieKind kind) noexcept { return kinds[static_cast<std::size_t>(kind)]; }

std::optional<MovieKind> movieKindFrom(std::string_view rawValue) noexcept {
  if (rawValue == kinds[0]) return MovieKind::movie;
  if (rawValue == kinds[1]) return MovieKind::episode;
  return std::nullopt;
}

const CodingKeys SubtitleRecord::keys = codingKeys;

Result<std::shared_ptr<const Subtitle>> SubtitleRecord::decode(const KeyedView& view) {
  if (auto error = view.notAnObject()) return *error;
  Texts texts;
  std::uint64_t size = 0;
  for (std::size_t key = 0; key < keyCount; ++key) {
    if (key == zipDownloadLinkKey || key == subDownloadLinkKey) {
      const auto link = view.optionalText(key);
      if (!link) return link.error();
      texts[key] = *link;
    } else {
      const auto text = view.text(key);
      if (!text) return text.error();
      texts[key] = *text;
    }
    if (key == movieKindKey && !movieKindFrom(*texts[key]))
      return view.error(DecodingErrorKind::dataCorrupted, key);
    size += texts[key].value_or("").size() + 1;
  }
  if (size > std::numeric_limits<std::uint32_t>::max()) return posixError(EOVERFLOW);

  // The record's destructor never runs; it isn't needed, as the record owns nothing.
  using Unit = std::max_align_t;
  const auto units = (sizeof(SubtitleRecord) + size + sizeof(Unit) - 1) / sizeof(Unit);
  const auto block = std::make_shared_for_overwrite<Unit[]>(static_cast<std::size_t>(units));
  return std::shared_ptr<const Subtitle>(block, new (block.get()) SubtitleRecord(texts));
}

SubtitleRecord::SubtitleRecord(const Texts& texts) noexcept
    : hasZipDownloadLink_(texts[zipDownloadLinkKey].has_value()),
      hasSubDownloadLink_(texts[subDownloadLinkKey].has_value()),
      kind_(*movieKindFrom(*texts[movieKindKey])) {
  char* end = reinterpret_cast<char*>(this + 1);
  const char* const begin = end;
  for (std::size_t key = 0; key < keyCount; ++key) {
    const auto text = texts[key].value_or("");
    end = std::copy(text.begin(), text.end(), end);
    *end++ = '\0';
    begins_[key + 1] = static_cast<std::uint32_t>(end - begin);
  }
}

Subtitle::~Subtitle() = default;

Result<std::shared_ptr<const Subtitle>> Subtitle::decode(std::string_view json) noexcept {
  return orOutOfMemory([&]() -> Result<std::shared_ptr<const Subtitle>> {
    return JSONDecoder().decodeValue(json, SubtitleRecord::keys).and_then(SubtitleRecord::decode);
  });
}

std::string_view Subtitle::subtitleID() const noexcept {
  return textOf(*this, SubtitleRecord::subtitleIDKey);
}
std::string_view Subtitle::matchedBy() const noexcept { return textOf(*this, SubtitleRecord::matchedByKey); }
std::string_view Subtitle::subFileName() const noexcept {
  return textOf(*this, SubtitleRecord::subFileNameKey);
}
std::string_view Subtitle::subLanguageID() const noexcept {
  return textOf(*this, SubtitleRecord::subLanguageIDKey);
}
std::string_view Subtitle::subFormat() const noexcept { return textOf(*this, SubtitleRecord::subFormatKey); }
std::string_view Subtitle::languageName() const noexcept {
  return textOf(*this, SubtitleRecord::languageNameKey);
}
std::string_view Subtitle::iso639() const noexcept { return textOf(*this, SubtitleRecord::iso639Key); }
std::string_view Subtitle::movieName() const noexcept { return textOf(*this, SubtitleRecord::movieNameKey); }
std::string_view Subtitle::movieYear() const noexcept { return textOf(*this, SubtitleRecord::movieYearKey); }
MovieKind Subtitle::movieKind() const noexcept { return SubtitleRecord::of(*this).kind(); }
std::string_view Subtitle::seriesSeason() const noexcept {
  return textOf(*this, SubtitleRecord::seriesSeasonKey);
}
std::string_view Subtitle::seriesEpisode() const noexcept {
  return textOf(*this, SubtitleRecord::seriesEpisodeKey);
}
std::optional<std::string_view> Subtitle::zipDownloadLink() const noexcept {
  return SubtitleRecord::of(*this).optionalText(SubtitleRecord::zipDownloadLinkKey);
}
std::optional<std::string_view> Subtitle::subDownloadLink() const noexcept {
  return SubtitleRecord::of(*this).optionalText(SubtitleRecord::subDownloadLinkKey);
}
std::string_view Subtitle::subSumCD() const noexcept { return textOf(*this, SubtitleRecord::subSumCDKey); }

Result<std::string> Subtitle::encode() const noexcept {
  return orOutOfMemory([&]() -> Result<std::string> {
    JSONObjectWriter writer;
    for (std::size_t key = 0; key < codingKeys.size(); ++key) {
      const auto text = SubtitleRecord::of(*this).optionalText(SubtitleRecord::Key{key});
      if (text) writer.text(codingKeys[key], *text);
    }
    return std::move(writer).finish();
  });
}

std::optional<std::string> Subtitle::imdbID() const {
  const auto number = decimal(movieKind() == MovieKind::movie ? SubtitleRecord::imdbIDMovie(*this)
                                                              : SubtitleRecord::imdbIDSeries(*this));
  std::array<char, 32> id{};
  std::snprintf(id.data(), id.size(), "tt%07lld", static_cast<long long>(number));
  return id.data();
}

std::string Subtitle::detailString() const {
  std::string detail(movieName());
  detail.append(" (").append(movieYear());
  if (movieKind() == MovieKind::movie) return detail.append(")");
  return detail.append("), season ").append(seriesSeason()).append(", episode ").append(seriesEpisode());
}

}  // namespace CAPRION_NAMESPACE
