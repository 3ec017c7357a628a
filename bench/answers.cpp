#include "comparison.hpp"

#include <string_view>

namespace caprion::bench {

namespace {

// {n} is the number of the hit.
constexpr std::string_view hit =
    R"({"MatchedBy":"moviehash","IDSubMovieFile":"{n}","MovieHash":"18379ac9af039390","MovieByteSize":"366876694",)"
    R"("MovieTimeMS":"2625792","IDSubtitleFile":"{n}","SubFileName":"The.Lighthouse.Keepers.S03E07.720p.BluRay.x264-MEADOW.eng.srt",)"
    R"("SubActualCD":"1","SubSize":"41627","SubHash":"0c4b7f6ad1c28f0e4c28a3d2{n}","SubLastTS":"00:43:12",)"
    R"("SubTSGroup":"3","InfoReleaseGroup":"MEADOW","InfoFormat":"BluRay","InfoOther":"","IDSubtitle":"{n}",)"
    R"("UserID":"{n}","SubLanguageID":"eng","SubFormat":"srt","SubSumCD":"1",)"
    R"("SubAuthorComment":"Korrigiert, \"Staffel 3\"\r\nvon Hand \u00fcbersetzt","SubAddDate":"2014-05-11 20:31:07",)"
    R"("SubBad":"0","SubRating":"9.5","SubSumVotes":"4","SubDownloadsCnt":"{n}",)"
    R"("MovieReleaseName":"The.Lighthouse.Keepers.S03E07.720p.BluRay.x264-MEADOW","MovieFPS":"23.976","IDMovie":"{n}",)"
    R"("IDMovieImdb":"{n}","MovieName":"\"The.Lighthouse.Keepers\" Ein Abend in der Caf\u00e9-Bar am Leuchtturm","MovieNameEng":null,)"
    R"("MovieYear":"2013","MovieImdbRating":"8.1","SubFeatured":"0","UserNickName":"m\u00f8rketid",)"
    R"("SubTranslator":"m\u00f8rketid","ISO639":"en","LanguageName":"English","SubComments":"2",)"
    R"("SubHearingImpaired":"0","UserRank":"gold member","SeriesSeason":"3","SeriesEpisode":"7",)"
    R"("MovieKind":"episode","SeriesIMDBParent":"{n}","SubEncoding":"UTF-8",)"
    R"("SubDownloadLink":"https:\/\/dl.opensubtitles.org\/en\/download\/src-api\/vrf-19e00c5b\/filead\/{n}.gz",)"
    R"("ZipDownloadLink":"https:\/\/dl.opensubtitles.org\/en\/download\/src-api\/vrf-19b30c54\/sub\/{n}",)"
    R"("SubtitlesLink":"https:\/\/www.opensubtitles.org\/en\/subtitles\/{n}\/The.Lighthouse.Keepers-eng","Score":38.41176})";

}  // namespace

std::string answer(std::size_t hits) {
  std::string json = "[";
  for (std::size_t number = 0; number < hits; ++number) {
    if (number > 0) json += ',';
    const std::string digits = std::to_string(1'955'000'000 + number);
    std::string_view rest = hit;
    for (std::size_t at = 0; (at = rest.find("{n}")) != std::string_view::npos; rest.remove_prefix(at + 3)) {
      json.append(rest.substr(0, at)).append(digits);
    }
    json += rest;
  }
  return json + ']';
}

}  // namespace caprion::bench
