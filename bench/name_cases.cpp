#include "comparison.hpp"

#include <caprion/video_file_components.hpp>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <array>
#include <string>
#include <string_view>

namespace caprion::bench {

namespace {

const std::vector<std::string> names{"The.Lighthouse.Keepers.S03E07.720p.BluRay.x264-MEADOW.mkv",
                                     "Night.of.the.Living.Dead.1968.1080p.BluRay.DTS.x264-MEADOW.mkv",
                                     "Le Voyage dans la Lune (1902) Restored.avi",
                                     "Harbour_Lights_2x05_HDTV_XviD.avi",
                                     "M\u00f8rketid.2019.NORWEGIAN.2160p.WEB-DL.DD5.1.H.265.mkv",
                                     "\u6708\u4e16\u754c\u65c5\u884c.1902.1080p.mkv",
                                     "home video.mp4",
                                     "Big.Buck.Bunny.2008.1080p.mkv"};

/// A name of so many bytes, with all markers at its end.
std::string nameOfSize(std::size_t size) {
  const std::string_view words = "the.light.on.the.long.way.down.to.the.harbour.";
  std::string name;
  while (name.size() < size) name += words;
  name.resize(size - 26);
  return name + ".2013.S03E07.1080p.web.mkv";
}

/// Parses one name after the other, `times` of them at each turn.
Body parsing(const std::vector<std::string>& texts, std::size_t times = 1) {
  std::vector<URL> urls;
  for (const std::string& text : texts) urls.push_back(URL::fileURLWithPath("/films/" + text));
  return [urls, times](benchmark::State& state) {
    const VideoFileComponents first = VideoFileUtilities::componentsFrom(urls[0]);
    check(first.season == 3 && first.episode == 7 && first.resolution.has_value(), "parsing a name");
    std::size_t i = 0;
    for (auto _ : state) {
      for (std::size_t n = 0; n < times; ++n)
        benchmark::DoNotOptimize(VideoFileUtilities::componentsFrom(urls[i++ % urls.size()]));
    }
  };
}

/// Finds all the markers in texts that are as the library makes them of the names, with nothing else around.
void searchByPCRE2(benchmark::State& state) {
  struct Pattern {
    pcre2_code* code;
    pcre2_match_data* data;
  };
  std::array<Pattern, 3> patterns{};
  const std::array<std::string_view, 3> expressions{"(?:s([0-9]{1,2})|[0-9]{1,2})[ex]([0-9]{1,2})",
                                                    R"(\b\d{3,4}p\b)", R"((?:19|20)\d{2})"};
  for (std::size_t i = 0; i < patterns.size(); ++i) {
    int error = 0;
    PCRE2_SIZE offset = 0;
    patterns[i].code =
        pcre2_compile(reinterpret_cast<PCRE2_SPTR>(expressions[i].data()), expressions[i].size(),
                      PCRE2_UTF | PCRE2_UCP | PCRE2_CASELESS, &error, &offset, nullptr);
    pcre2_jit_compile(patterns[i].code, PCRE2_JIT_COMPLETE);
    patterns[i].data = pcre2_match_data_create_from_pattern(patterns[i].code, nullptr);
  }
  std::vector<std::string> texts;
  for (const std::string& name : names) {
    texts.push_back(name.substr(0, name.rfind('.')));
    for (char& c : texts.back()) {
      if (c == '.' || c == '_') c = ' ';
    }
  }
  const auto search = [&](const std::string& text) {
    int found = 0;
    for (const auto& [code, data] : patterns) {
      PCRE2_SIZE begin = 0;
      while (pcre2_jit_match(code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), begin,
                             PCRE2_NO_UTF_CHECK, data, nullptr) > 0) {
        begin = pcre2_get_ovector_pointer(data)[1];
        ++found;
      }
    }
    return found;
  };

  check(search(texts[0]) == 2 && search(texts[1]) == 2, "a bare search");
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(search(texts[i++ % texts.size()]));
  for (const auto& [code, data] : patterns) {
    pcre2_match_data_free(data);
    pcre2_code_free(code);
  }
}

}  // namespace

std::vector<Case> nameCases() {
  return {{.name = "parse a name", .aim = 2, .ours = parsing(names), .limit = searchByPCRE2, .atMost = 2000},
          {.name = "parse 25,600 bytes, to 100 times 256",
           .aim = 1.2,
           .ours = parsing({nameOfSize(25'600)}),
           .limit = parsing({nameOfSize(256)}, 100)}};
}

}  // namespace caprion::bench
