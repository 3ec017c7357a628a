#include "comparison.hpp"

#include <caprion/caprion.hpp>
#include <caprion/video_file_components.hpp>

#include <fcntl.h>
#include <simdjson.h>
#include <unistd.h>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <numeric>
#include <random>
#include <string_view>

namespace caprion::bench {

namespace {

// Movie hashes.

constexpr std::size_t blockSize = 65'536;
constexpr std::size_t videoSize = 200 << 10;

/// Makes a file of random bytes.
std::string makeVideo() {
  std::string path = std::filesystem::temp_directory_path() / "video.mkv", content;
  for (std::mt19937 random(1); content.size() < videoSize;) content += static_cast<char>(random());
  std::ofstream file(path, std::ios::binary);
  check((file << content).flush().good(), "can't write " + path);
  return path;
}

/// Two reads and a sum; the size is a constant.
std::uint64_t bareHash(const std::string& path) {
  std::array<std::uint64_t, 2 * blockSize / 8> words;
  auto* const bytes = reinterpret_cast<char*>(words.data());
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  check(::pread(file, bytes, blockSize, 0) == blockSize &&
            ::pread(file, bytes + blockSize, blockSize, videoSize - blockSize) == blockSize,
        "a bare read");
  ::close(file);
  return std::accumulate(words.begin(), words.end(), std::uint64_t{videoSize});
}

/// As in most programs.
std::uint64_t streamedHash(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::uint64_t sum = videoSize;
  for (const std::size_t begin : {std::size_t{0}, videoSize - blockSize}) {
    file.seekg(static_cast<std::streamoff>(begin));
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < blockSize / 8 && file.read(reinterpret_cast<char*>(&word), 8); ++i)
      sum += word;
  }
  return sum;
}

Body hashing(const std::string& path, std::uint64_t hash(const std::string&)) {
  return [path, hash](benchmark::State& state) {
    check(hash(path) == bareHash(path), "a hash");
    for (auto _ : state) benchmark::DoNotOptimize(hash(path));
  };
}

// Answers to searches.

constexpr std::array<const char*, 17> keys{
    "IDSubtitle",   "MatchedBy",     "SubFileName",     "SubLanguageID",   "LanguageName", "ISO639",
    "SubFormat",    "MovieName",     "MovieYear",       "MovieKind",       "IDMovieImdb",  "SeriesIMDBParent",
    "SeriesSeason", "SeriesEpisode", "ZipDownloadLink", "SubDownloadLink", "SubSumCD"};

/// A record like the library's, with all its texts in one buffer.
struct Record {
  explicit Record(const simdjson::dom::element& hit) {
    std::array<std::string_view, keys.size()> found;
    std::size_t size = 0;
    for (std::size_t key = 0; key < keys.size(); ++key) {
      found[key] = hit[keys[key]];
      size += found[key].size() + 1;
    }
    texts.reserve(size);
    for (std::size_t key = 0; key < keys.size(); ++key) {
      texts.append(found[key]).push_back('\0');
      ends[key] = static_cast<std::uint32_t>(texts.size());
    }
    kind = found[9] == "movie" ? MovieKind::movie : MovieKind::episode;
  }
  virtual ~Record() = default;

  std::string texts;
  std::array<std::uint32_t, keys.size()> ends;
  MovieKind kind;
};

/// Decodes an answer this many times, and keeps all the records.
Body decoding(const std::string& json, std::size_t times = 1) {
  return [=](benchmark::State& state) {
    std::vector<QueryResult> results(times);
    for (auto _ : state) {
      for (QueryResult& result : results) result = QueryResult::decode(json).value();
    }
  };
}

/// With simdjson's DOM, reusing all that can be reused.
void decodeBySimdjson(benchmark::State& state, const std::string& json) {
  const simdjson::padded_string padded(json);
  simdjson::dom::parser parser;
  const auto decode = [&] {
    std::vector<std::shared_ptr<const Record>> records;
    for (const simdjson::dom::element hit : simdjson::dom::array(parser.parse(padded)))
      records.push_back(std::make_shared<Record>(hit));
    return records;
  };
  const auto expected = QueryResult::decode(json).value().subtitles;
  const auto records = decode();
  for (std::size_t i = 0; i < expected.size(); ++i)
    check(records.at(i)->texts.starts_with(expected[i]->subtitleID()), "decoding");
  for (auto _ : state) benchmark::DoNotOptimize(decode());
}

// Names of video files.

const std::vector<std::string> names{"The.Lighthouse.Keepers.S03E07.720p.BluRay.x264-MEADOW.mkv",
                                     "Night.of.the.Living.Dead.1968.1080p.BluRay.DTS.x264-MEADOW.mkv",
                                     "Le Voyage dans la Lune (1902) Restored.avi",
                                     "Harbour_Lights_2x05_HDTV_XviD.avi",
                                     "\u6708\u4e16\u754c\u65c5\u884c.1902.1080p.mkv",
                                     "home video.mp4"};

/// Parses the names in turn.
void parse(benchmark::State& state) {
  std::vector<URL> urls;
  for (const std::string& name : names) urls.push_back(URL::fileURLWithPath("/films/" + name));
  const VideoFileComponents first = VideoFileUtilities::componentsFrom(urls[0]);
  check(first.season == 3 && first.episode == 7 && first.resolution.has_value(), "parsing a name");
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(VideoFileUtilities::componentsFrom(urls[i++ % urls.size()]));
}

/// The library's three searches with PCRE2's JIT, in texts prepared in the same way.
void searchByPCRE2(benchmark::State& state) {
  std::vector<pcre2_code*> patterns;  // never freed, as there are only a few
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
    std::ranges::replace_if(
        texts.back(), [](char c) { return c == '.' || c == '_'; }, ' ');
  }
  const auto search = [&](const std::string& text) {
    int found = 0;
    for (const pcre2_code* pattern : patterns) {
      const auto bytes = reinterpret_cast<PCRE2_SPTR>(text.data());
      PCRE2_SIZE begin = 0;
      for (; pcre2_jit_match(pattern, bytes, text.size(), begin, PCRE2_NO_UTF_CHECK, data, nullptr) > 0;
           ++found)
        begin = pcre2_get_ovector_pointer(data)[1];
    }
    return found;
  };
  check(search(texts[0]) == 2 && search(texts[1]) == 2, "a bare search");
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(search(texts[i++ % texts.size()]));
}

}  // namespace

std::vector<Case> computingCases() {
  const std::string video = makeVideo(), hits = answer(500);
  return {{.name = "movie hash",
           .aim = 1.1,
           .ours = hashing(video,
                           [](const std::string& path) -> std::uint64_t {
                             return std::stoull(Caprion::hashFor(URL::fileURLWithPath(path))->fileHash,
                                                nullptr, 16);
                           }),
           .baseline = hashing(video, bareHash),
           .informationName = "std::ifstream",
           .information = hashing(video, streamedHash)},
          {.name = "decode 500 hits",
           .aim = 1.1,
           .ours = decoding(hits),
           .baseline = [hits](auto& state) { decodeBySimdjson(state, hits); }},
          {.name = "decode 20,000 hits, to 40 times 500",
           .aim = 1.2,
           .ours = decoding(answer(20'000)),
           .baseline = decoding(hits, 40)},
          {.name = "parse a name", .aim = 2, .ours = parse, .baseline = searchByPCRE2}};
}

}  // namespace caprion::bench
