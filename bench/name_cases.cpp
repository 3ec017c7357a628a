#include "comparison.hpp"

#include <caprion/video_file_components.hpp>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <string>
#include <string_view>
#include <vector>

namespace caprion::bench {

namespace {

const std::vector<std::string> names{"The.Lighthouse.Keepers.S03E07.720p.BluRay.x264-MEADOW.mkv",
                                     "Night.of.the.Living.Dead.1968.1080p.BluRay.DTS.x264-MEADOW.mkv",
                                     "Le Voyage dans la Lune (1902) Restored.avi",
                                     "Harbour_Lights_2x05_HDTV_XviD.avi",
                                     "\u6708\u4e16\u754c\u65c5\u884c.1902.1080p.mkv",
                                     "home video.mp4"};

/// One name after the other.
void parse(benchmark::State& state) {
  std::vector<URL> urls;
  for (const std::string& name : names) urls.push_back(URL::fileURLWithPath("/films/" + name));
  const VideoFileComponents first = VideoFileUtilities::componentsFrom(urls[0]);
  check(first.season == 3 && first.episode == 7 && first.resolution.has_value(), "parsing a name");
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(VideoFileUtilities::componentsFrom(urls[i++ % urls.size()]));
}

/// The three searches with PCRE2's machine code, in texts as the library makes them of the names.
void searchByPCRE2(benchmark::State& state) {
  std::vector<pcre2_code*> patterns;
  for (const std::string_view pattern :
       {"(?:s([0-9]{1,2})|[0-9]{1,2})[ex]([0-9]{1,2})", R"(\b\d{3,4}p\b)", R"((?:19|20)\d{2})"}) {
    int error = 0;
    PCRE2_SIZE offset = 0;
    patterns.push_back(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                                     PCRE2_UTF | PCRE2_UCP | PCRE2_CASELESS, &error, &offset, nullptr));
    pcre2_jit_compile(patterns.back(), PCRE2_JIT_COMPLETE);
  }
  pcre2_match_data* const data = pcre2_match_data_create_from_pattern(patterns[0], nullptr);
  std::vector<std::string> texts;
  for (const std::string& name : names) {
    texts.push_back(name.substr(0, name.rfind('.')));
    for (char& c : texts.back()) {
      if (c == '.' || c == '_') c = ' ';
    }
  }
  const auto search = [&](const std::string& text) {
    int found = 0;
    for (const pcre2_code* pattern : patterns) {
      for (PCRE2_SIZE begin = 0; pcre2_jit_match(pattern, reinterpret_cast<PCRE2_SPTR>(text.data()),
                                                 text.size(), begin, PCRE2_NO_UTF_CHECK, data, nullptr) > 0;
           ++found) {
        begin = pcre2_get_ovector_pointer(data)[1];
      }
    }
    return found;
  };
  check(search(texts[0]) == 2 && search(texts[1]) == 2, "a bare search");
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(search(texts[i++ % texts.size()]));
  pcre2_match_data_free(data);
  for (pcre2_code* pattern : patterns) pcre2_code_free(pattern);
}

}  // namespace

std::vector<Case> nameCases() {
  return {{.name = "parse a name", .aim = 2, .ours = parse, .baseline = searchByPCRE2}};
}

}  // namespace caprion::bench
