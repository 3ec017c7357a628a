#include "comparison.hpp"

#include <caprion/caprion.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace caprion::bench {

namespace {

constexpr std::size_t blockSize = 65'536;

struct Video {
  std::string path;
  std::uint64_t size;
};

/// Files with a block of noise at both ends and nothing in between.
std::vector<Video> makeVideos(const std::string& name, std::size_t count, std::uint64_t size) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / name;
  std::filesystem::create_directory(folder);
  std::mt19937_64 random(count);
  std::vector<Video> videos;
  for (std::size_t i = 0; i < count; ++i) {
    videos.push_back({folder / (std::to_string(i) + ".mkv"), size});
    std::array<std::uint64_t, blockSize / 8> words{};
    for (std::uint64_t& word : words) word = random();
    std::ofstream file(videos.back().path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(words.data()), blockSize);
    file.seekp(static_cast<std::streamoff>(size - blockSize));
    file.write(reinterpret_cast<const char*>(words.data()), blockSize);
    check(file.flush().good(), "can't write " + videos.back().path);
  }
  return videos;
}

std::uint64_t bareHash(const Video& video) {
  std::array<std::uint64_t, 2 * blockSize / 8> words;
  auto* const bytes = reinterpret_cast<char*>(words.data());
  const int file = ::open(video.path.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t first = ::pread(file, bytes, blockSize, 0);
  const ssize_t last =
      ::pread(file, bytes + blockSize, blockSize, static_cast<off_t>(video.size - blockSize));
  ::close(file);
  check(first == blockSize && last == blockSize, "a bare read");
  std::uint64_t sum = video.size;
  for (const std::uint64_t word : words) sum += word;
  return sum;
}

/// As most programs have it.
std::uint64_t streamedHash(const Video& video) {
  std::ifstream file(video.path, std::ios::binary);
  file.seekg(0, std::ios::end);
  const std::streamoff size = file.tellg();
  auto sum = static_cast<std::uint64_t>(size);
  for (const std::streamoff begin : {std::streamoff(0), size - static_cast<std::streamoff>(blockSize)}) {
    file.seekg(begin);
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < blockSize / 8 && file.read(reinterpret_cast<char*>(&word), 8); ++i)
      sum += word;
  }
  return sum;
}

/// One video after the other.
Body hashing(const std::vector<Video>& videos, std::uint64_t hash(const Video&)) {
  return [videos, hash](benchmark::State& state) {
    check(hash(videos[0]) == bareHash(videos[0]), "a hash");
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(hash(videos[i++ % videos.size()]));
  };
}

Body hashingByCaprion(const std::vector<Video>& videos) {
  std::vector<URL> urls;
  for (const Video& video : videos) urls.push_back(URL::fileURLWithPath(video.path));
  return [videos, urls](benchmark::State& state) {
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016" PRIx64, bareHash(videos[0]));
    check(Caprion::hashFor(urls[0])->fileHash == digits, "the library's hash");
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(Caprion::hashFor(urls[i++ % urls.size()]));
  };
}

Case hashCase(const std::string& name, std::size_t count, std::uint64_t size) {
  const std::vector<Video> videos = makeVideos(name, count, size);
  return {.name = name,
          .aim = 1.10,
          .ours = hashingByCaprion(videos),
          .limit = hashing(videos, bareHash),
          .alternativeName = "std::ifstream",
          .alternative = hashing(videos, streamedHash),
          .alternativeAim = 12};
}

}  // namespace

std::vector<Case> hashCases() {
  return {hashCase("movie hash, 200 KiB", 1, 200 << 10),
          hashCase("movie hash, 6 GiB", 1, std::uint64_t{6} << 30),
          hashCase("movie hash, 1,000 files", 1000, 200 << 10)};
}

}  // namespace caprion::bench
